#include "lib/cmds/cmds_services.h"

#include "lib/base/log.h"
#include "lib/base/result.h"
#include "lib/base/take_piece.h"
#include "lib/cli/cli_config.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_status.h"
#include "lib/cmds/cmds_jobs.h"
#include "lib/cmds/cmds_session.h"
#include "lib/config/config_file.h"
#include "lib/services/services.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char *k_not_here = "Not supported here";

/// A service that carries settings out and can be had, as it was at a look.
struct seen {
    const service *who;
    uint32_t comings;
    bool operator==(const seen &) const = default;
};

const service *s_only = nullptr; // null: all services carry settings out
std::vector<seen> s_here;        // at the last look

using change_fn = service_answer (*service::*)(const service_call &call);

/// The service for a command, if it can be had and does such things.
const service *find_here(std::string_view words) {
    const service *const to = services_find(words);
    return to != nullptr && (to->is_here == nullptr || to->is_here()) ? to : nullptr;
}

service_answer change(const service &by, bool on, const service_call &call) {
    const auto function = on ? by.apply : by.withdraw;
    return function != nullptr ? function(call) : service_answer{service_outcome::not_supported};
}

/// The keywords of the form that a line of the setting at a rank was typed in: a setting may have several.
std::string_view keywords_of(std::string_view line, uint32_t rank) {
    const cmds_row &first = *cmds_row_at(rank);
    std::string_view found;
    for (const cmds_row &row : std::span(first.family->rows, first.family->count)) {
        const std::string_view words = row.command.words;
        const bool fits =
            line.starts_with(words) && (line.size() == words.size() || line[words.size()] == ' ');
        found = row.stem == first.stem && fits && words.size() > found.size() ? words : found;
    }
    return found;
}

std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> words;
    while (!text.empty()) {
        words.emplace_back(take_piece(text));
    }
    return words;
}

/// Makes a setting as the configuration has it, after another context has refused the change.
void restore(const service &by, const service_call &call, config_context context, uint32_t rank,
             const std::string &key) {
    const std::string *const found = config_find(cmds_store(), context, rank, key);
    const std::string_view line = found != nullptr ? *found : std::string_view();
    const std::string_view words = keywords_of(line, rank);
    if (words.empty() || words.starts_with("no ")) {
        change(by, false, {call.words, split(key), call.context});
    } else {
        const std::string_view rest = line.substr(std::min(words.size() + 1, line.size()));
        change(by, true, {words, split(rest), call.context});
    }
}

int32_t run_at_client(const std::string &command) {
    if (!cmds_can_ask()) {
        return cmds_fail("This needs a terminal");
    }
    cli_print("%s", command.c_str());
    cli_set_last_status(k_csh_status_at_client);
    return 0;
}

int32_t tell(const service_answer &answer, int32_t result_when_done) {
    switch (answer.outcome) {
    case service_outcome::running:
        return cmds_jobs_take(answer.job);
    case service_outcome::done:
        if (!answer.text.empty()) {
            cli_print("%s", answer.text.c_str());
        }
        return result_when_done;
    case service_outcome::at_client:
        return run_at_client(answer.text);
    case service_outcome::refused:
        return cmds_fail_by_service(answer.text);
    case service_outcome::not_supported:
        break;
    }
    return cmds_fail(k_not_here);
}

/// Has all settings made so that go to a service.
void carry_out_again(const service &back) {
    s_only = &back;
    ignore_result(cli_run_config(config_text(cmds_store()), [](int32_t line) {
        ipc_log_warn("line %d of the running configuration could not be carried out again", line);
    }));
    s_only = nullptr;
}

std::string_view without_first_word(std::string_view words) {
    take_piece(words);
    return words;
}

} // namespace

cmds_carried cmds_carry_out(bool on, std::string_view words, const cmds_kept &kept, uint32_t rank,
                            const std::vector<config_context> &contexts) {
    const service *const to = cmds_only_records() ? nullptr : find_here(words);
    if (to == nullptr || (s_only != nullptr && s_only != to)) {
        return cmds_carried::only_kept;
    }
    bool done = false;
    std::string text;
    for (size_t i = 0; i < contexts.size(); i++) {
        const auto call_in = [&](size_t j) {
            return service_call{words, kept.arguments, config_entering_line(cmds_store(), contexts[j])};
        };
        const service_answer answer = change(*to, on, call_in(i));
        if (answer.outcome == service_outcome::refused) {
            for (size_t j = 0; j < i; j++) {
                restore(*to, call_in(j), contexts[j], rank, kept.key);
            }
            tell(answer, 0);
            return cmds_carried::refused;
        }
        if (answer.outcome == service_outcome::done) {
            done = true;
            text = !answer.text.empty() ? answer.text : text; // one speaks for all contexts
        }
    }
    if (!text.empty() && !cli_is_loading()) {
        cli_print("%s", text.c_str());
    }
    return done ? cmds_carried::out : cmds_carried::only_kept;
}

int32_t cmds_show(const cmds_row &row, const cmds_kept &kept) {
    const std::string_view words = without_first_word(row.command.words);
    const service *const own = find_here(row.command.words);
    const service *const to = own != nullptr ? own : find_here(words);
    if (to == nullptr || to->show == nullptr) {
        return cmds_fail(k_not_here);
    }
    report shown;
    const service_answer answer = to->show({words, kept.arguments, ""}, shown);
    if (answer.outcome == service_outcome::done) {
        cmds_print_report(shown);
    }
    return tell(answer, 0);
}

int32_t cmds_act(const cmds_row &row, const cmds_kept &kept) {
    const service *const to = find_here(row.command.words);
    if (to == nullptr || to->act == nullptr) {
        return cmds_fail(k_not_here);
    }
    return tell(to->act({row.command.words, kept.arguments, ""}), 0);
}

void cmds_watch_services() {
    static bool s_looked = false;
    std::vector<seen> here;
    for (const service_route &route : services_routes()) {
        const service &to = *route.to;
        const bool known = std::any_of(here.begin(), here.end(), [&](const seen &s) { return s.who == &to; });
        if (!known && to.apply != nullptr && (to.is_here == nullptr || to.is_here())) {
            here.push_back({&to, to.comings != nullptr ? to.comings() : 0});
        }
    }
    const std::vector<seen> before = std::exchange(s_here, here);
    for (const seen &now : here) {
        if (s_looked && std::find(before.begin(), before.end(), now) == before.end()) {
            carry_out_again(*now.who);
        }
    }
    s_looked = true;
}

void cmds_print_report(const report &from) {
    cli_print("%s%s", (cmds_wants_json() ? report_json(from) : report_text(from)).c_str(),
              cmds_wants_json() ? "\n" : "");
}
