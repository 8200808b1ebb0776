#include "lib/cmds/cmds_config.h"

#include "lib/base/result.h"
#include "lib/base/switch_ports.h"
#include "lib/base/take_piece.h"
#include "lib/cli/cli_config.h"
#include "lib/cli/cli_error.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cmds/cmds_modes.h"
#include "lib/cmds/cmds_session.h"
#include "lib/cmds/cmds_values.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

config_store *s_other = nullptr;                           // null: the running configuration
constexpr const char *k_wrong_argument = "wrong argument"; // as the parser says, which tells no reason
const char *s_refusal = k_wrong_argument;

// Lists of VLANs that sessions are in: the last ones chosen, of which each session has the number. More than
// there can be sessions, whose numbers are anything.
struct chosen_list {
    int32_t number; // 0: none
    std::string vlans;
};
std::array<chosen_list, 64> s_chosen = {};
int32_t s_last_chosen = 0;

config_store &running() {
    static config_store &s_running = *config_new();
    return s_running;
}

bool is_keyword(std::string_view pattern) {
    return pattern.front() != '<' && pattern.front() != '(' && !cli_is_type(pattern);
}

void append_word(std::string *text, std::string_view word) {
    text->append(text->empty() ? "" : " ").append(word);
}

/// The context of a mode that is about one thing, which its line ends in.
config_context context_of(int32_t mode_id, int32_t number) {
    const cmds_mode &mode = *cmds_find_mode(mode_id);
    const cmds_row &row = *cmds_entering_row(mode);
    const std::string key = std::to_string(number);
    const std::string line = std::string(row.command.words) + ' ' + key;
    return config_enter(cmds_store(), {cmds_rank(row), key, line, 0}, mode.stays);
}

std::vector<config_context> contexts_of_ports() {
    std::vector<config_context> contexts;
    const uint32_t ports = cmds_ports().value_or(0);
    for (int32_t port = 1; port <= k_switch_ports; port++) {
        if ((ports >> static_cast<uint32_t>(port) & 1U) != 0) {
            contexts.push_back(context_of(k_mode_interface, port));
        }
    }
    return contexts;
}

std::vector<int32_t> vlans_of(std::string_view list) {
    std::vector<cmds_span> spans;
    std::vector<int32_t> vlans;
    ignore_result(cmds_read_list(list, 1, k_vlan_max, &spans)); // it has been kept in its form
    for (const cmds_span &span : spans) {
        for (int32_t vlan = span.low; vlan <= span.high; vlan++) {
            vlans.push_back(vlan);
        }
    }
    return vlans;
}

config_context find_vlan(int32_t vlan) {
    const cmds_row &row = *cmds_entering_row(*cmds_find_mode(k_mode_vlan));
    return config_find_context(cmds_store(), cmds_rank(row), std::to_string(vlan));
}

/// The VLANs of the list that the session is in; none when one of them has gone, or many other lists have
/// been chosen since.
std::vector<config_context> contexts_of_list() {
    const int32_t number = cmds_context().value_or(0);
    const chosen_list &chosen = s_chosen[static_cast<size_t>(number) % s_chosen.size()];
    std::vector<config_context> contexts;
    for (const int32_t vlan : vlans_of(number > 0 && chosen.number == number ? chosen.vlans : "")) {
        contexts.push_back(find_vlan(vlan));
        if (contexts.back() == k_config_none) {
            return {};
        }
    }
    return contexts;
}

/// What the session's context is called by, if it is still there and one of the session's mode.
std::optional<config_place> place_of_session(const cmds_mode &mode) {
    const cmds_row *const row = cmds_entering_row(mode);
    config_place place = {};
    if (row == nullptr || !config_place_of(cmds_store(), cmds_context().value_or(k_config_none), &place) ||
        place.rank != cmds_rank(*row)) {
        return std::nullopt;
    }
    return place;
}

} // namespace

config_store &cmds_store() { return s_other != nullptr ? *s_other : running(); }
bool cmds_only_records() { return s_other != nullptr; }

int32_t cmds_read_config(const char *path, config_store &store, void (*failed)(int32_t line)) {
    s_other = &store;
    const int32_t result = cli_load_config(path, failed);
    s_other = nullptr;
    return result;
}

int32_t cmds_keep_line(const cmds_row &row, int32_t argc, const char *const *argv, cmds_kept *kept) {
    *kept = {};
    kept->line = row.command.words;
    if (!row.form->same.empty()) { // the other keywords are part of the value
        kept->value = kept->line.substr(std::min(row.form->same.size() + 1, kept->line.size()));
    }
    auto word = static_cast<uint32_t>(std::count(kept->line.begin(), kept->line.end(), ' ') + 1);
    int32_t arguments = 0;
    std::string_view pattern = row.command.pattern != nullptr ? row.command.pattern : "";
    for (int32_t i = 0; !pattern.empty(); i++, word++) {
        std::string value;
        const std::string_view wanted = take_piece(pattern);
        if (i >= argc) {
            return -1;
        }
        if (const char *const fault = cmds_keep_value(wanted, argv[i], row.form->longest, &value);
            fault != nullptr) {
            return cmds_refuse(fault);
        }
        const bool keyword = is_keyword(wanted);
        const bool of_key = arguments < row.form->keys; // a keyword after the last key is the value's
        arguments += keyword ? 0 : 1;
        append_word(of_key ? &kept->key : &kept->value, value);
        append_word(&kept->line, value);
        kept->arguments.push_back(value);
        kept->secret |= row.form->secret != 0 && arguments == row.form->secret && !keyword ? 1U << word : 0;
    }
    return config_line_fits(kept->line) ? 0 : cmds_fail("This line is too long to be kept");
}

bool cmds_choose_vlans(const std::string &list) {
    const std::vector<int32_t> vlans = vlans_of(list);
    const auto wanting = std::count_if(vlans.begin(), vlans.end(),
                                       [](int32_t vlan) { return find_vlan(vlan) == k_config_none; });
    if (config_room(cmds_store()) < static_cast<size_t>(wanting)) {
        return false;
    }
    for (const int32_t vlan : vlans) {
        context_of(k_mode_vlan, vlan);
    }
    s_last_chosen = s_last_chosen == INT32_MAX ? 1 : s_last_chosen + 1;
    s_chosen[static_cast<size_t>(s_last_chosen) % s_chosen.size()] = {s_last_chosen, list};
    cmds_set_context(s_last_chosen);
    return true;
}

std::vector<config_context> cmds_contexts() {
    const cmds_mode &mode = cmds_current_mode();
    std::vector<config_context> contexts;
    switch (mode.about) {
    case cmds_about::everything:
        return {k_config_global};
    case cmds_about::ports:
        contexts = contexts_of_ports();
        break;
    case cmds_about::context:
        if (place_of_session(mode)) {
            contexts = {*cmds_context()};
        }
        break;
    case cmds_about::vlans:
        contexts = contexts_of_list();
        break;
    }
    if (contexts.empty()) {
        cmds_fail("What was being configured has gone; leave by exit");
    } else if (std::find(contexts.begin(), contexts.end(), k_config_none) != contexts.end()) {
        cmds_fail(k_cmds_full); // a port's, or that of a VLAN of a list which has been removed meanwhile
        contexts.clear();
    }
    return contexts;
}

const char *cmds_take_refusal() { return std::exchange(s_refusal, k_wrong_argument); }

int32_t cmds_refuse(const char *reason) {
    cmds_fail(reason);
    return k_cli_invalid_value;
}

int32_t cmds_fail(const char *reason) {
    s_refusal = reason;
    if (!cmds_only_records()) { // whoever reads a file wants its lines, not what they would have said
        cli_print("%% %s\n", reason);
    }
    return k_cmds_failed;
}

int32_t cmds_fail_by_service(const std::string &reason) {
    cmds_fail(reason.c_str());
    s_refusal = "its service refused it";
    return k_cmds_failed;
}
