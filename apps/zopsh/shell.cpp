#include "apps/zopsh/shell.h"

#include "apps/zopsh/filter.h"
#include "apps/zopsh/line.h"
#include "apps/zopsh/transport.h"
#include "lib/base/result.h"
#include "lib/cli/cli_error.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_status.h"
#include "lib/cmds/cmds_modes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

line_result complain(exchange_result what) {
    switch (what) {
    case exchange_result::no_reply:
        std::fputs("zopsh: no answer in time; the command may still be at work, and what it prints is lost\n",
                   stderr);
        return line_result::no_answer;
    case exchange_result::no_server:
    case exchange_result::forbidden:
    case exchange_result::foreign:
    case exchange_result::ended:
        std::fprintf(stderr, "zopsh: %s\n", transport_words(what));
        return line_result::no_server;
    default: // busy; or Ctrl-C, which the terminal has shown on the line of the cursor
        std::fprintf(stderr, "%szopsh: %s\n", what == exchange_result::interrupted ? "\n" : "",
                     transport_words(what));
        return line_result::failed;
    }
}

shell_listing query(const shell &sh, int32_t form, const std::string &line) {
    csh_message message{};
    message.flag = form;
    message.session = sh.session;
    const exchange_result what = transport_exchange(k_csh_query, line.c_str(), &message);
    if (what != exchange_result::done) {
        return {transport_words(what), {}};
    }
    const std::string text = transport_output();
    shell_listing listing = {nullptr, {}};
    for (size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        listing.lines.push_back(text.substr(at, end - at));
    }
    return listing;
}

bool can_be_sent(const std::string &line) {
    if (line.find('\0') != std::string::npos) {
        std::fputs("zopsh: a line cannot hold a NUL\n", stderr);
        return false;
    }
    if (line.size() >= k_csh_text_size) {
        std::fprintf(stderr, "zopsh: a line has at most %zu characters\n", k_csh_text_size - 1);
        return false;
    }
    return true;
}

line_result list_help(const shell &sh, const std::string &line) {
    const shell_listing help = shell_help(sh, line);
    if (help.failure != nullptr) {
        std::fprintf(stderr, "zopsh: %s\n", help.failure);
        return line_result::failed;
    }
    if (help.lines.empty()) {
        std::fputs(shell_explain(sh, line, trouble::nothing_listed).c_str(), stderr);
        return line_result::failed;
    }
    std::string text;
    for (const std::string &listed : help.lines) {
        text += listed + "\n";
    }
    return pager_show(sh, text) ? line_result::done : line_result::failed;
}

/// Shows what a line printed, but for the question that the next one answers. What a command says that failed
/// is shown whole.
bool show_output(shell *sh, const std::vector<filter> &filters) {
    std::string output = transport_output();
    sh->question.clear();
    if (shell_is_asking(*sh)) {
        const size_t begin = output.rfind('\n') + 1; // npos + 1 is 0
        sh->question = output.substr(begin);
        output.erase(begin);
    }
    const std::optional<std::string> left = filter_apply(filters, output);
    return left && pager_show(*sh, *left);
}

/// Says what was wrong with a command line, in the session that it was run in.
void explain(const shell &sh, const std::string &line, const csh_message &reply) {
    if (reply.result1 == k_cli_status_no_match && reply.result2 == -1) {
        std::fputs(shell_explain(sh, line, trouble::no_match).c_str(), stderr);
    } else if (reply.result1 == k_cli_status_done &&
               (reply.result2 == -1 || reply.result2 == k_cli_invalid_value)) {
        std::fputs(shell_explain(sh, line, trouble::wrong_argument).c_str(), stderr);
    }
}

void show_progress(const std::string &lines, void *with) {
    // When it cannot be written, the rest cannot either, and that is told.
    ignore_result(pager_show_at_once(*static_cast<const shell *>(with), lines));
}

line_result execute(shell *sh, const std::string &line, const std::vector<filter> &filters) {
    csh_message message{};
    message.session = sh->session;
    // What goes through filters is shown at the end.
    const transport_progress progress = {filters.empty() ? show_progress : nullptr, sh};
    const exchange_result what = transport_exchange(k_csh_execute, line.c_str(), &message, progress);
    if (what != exchange_result::done) {
        return complain(what);
    }
    const shell before = *sh;
    sh->session = message.session;
    if (message.result1 == k_csh_status_at_client) {
        return shell_run_here(transport_output()) ? line_result::done : line_result::failed;
    }
    const bool shown = show_output(sh, message.result2 == 0 ? filters : std::vector<filter>());
    if (message.result1 == k_csh_status_session_ended) {
        return line_result::ended;
    }
    const std::string text(message.text, ::strnlen(message.text, k_csh_text_size));
    if (!text.empty() && text != line) { // the server has something to say in its place
        std::printf("%s\n", text.c_str());
        std::fflush(stdout);
    }
    const bool is_command = !shell_is_asking(before);
    if (is_command && message.result1 == k_cli_status_no_match && line_is_separator(line)) {
        return line_result::done; // where it leads nowhere
    }
    if (is_command) {
        explain(before, line, message);
    }
    return message.result2 == 0 && shown ? line_result::done : line_result::failed;
}

} // namespace

line_result shell_register(shell *sh, const cli_session &session) {
    csh_message message{};
    sh->session = session;
    const exchange_result what = transport_exchange(k_csh_register, "", &message);
    if (what != exchange_result::done) {
        std::fprintf(stderr, "zopsh: %s\n", transport_words(what));
        return line_result::no_server;
    }
    return line_result::done;
}

bool shell_is_asking(const shell &sh) { return sh.session.node_kind != k_cli_node_command; }

line_result shell_run(shell *sh, const std::string &line) {
    if (shell_is_asking(*sh)) {
        return can_be_sent(line) ? execute(sh, line, {}) : line_result::failed;
    }
    if (line_is_empty(line)) {
        return line_result::done;
    }
    const std::optional<filtered_line> split = filter_split(line);
    if (!split || !can_be_sent(split->command)) {
        return line_result::failed;
    }
    const std::optional<std::string> question = line_question(split->command);
    return question ? list_help(*sh, *question) : execute(sh, split->command, split->filters);
}

shell_listing shell_help(const shell &sh, const std::string &line) {
    return query(sh, k_csh_query_help, line);
}

shell_listing shell_completions(const shell &sh, const std::string &line) {
    shell_listing listing = query(sh, k_csh_query_completions, line);
    // Patterns may have a choice in common.
    std::sort(listing.lines.begin(), listing.lines.end());
    listing.lines.erase(std::unique(listing.lines.begin(), listing.lines.end()), listing.lines.end());
    return listing;
}

bool shell_may_remember(const shell &sh, const std::string &line) {
    csh_message message{};
    message.flag = k_csh_query_secret;
    message.session = sh.session;
    return transport_exchange(k_csh_query, line.c_str(), &message) == exchange_result::done &&
           message.session.mode_mask == 0; // where the reply has the result
}

int32_t shell_idle_seconds(const shell &sh) {
    csh_message message{};
    message.flag = k_csh_query_idle;
    message.session = sh.session;
    constexpr int k_patience_s = 1; // keys are not read meanwhile
    return transport_exchange(k_csh_query, "", &message, {nullptr, nullptr}, k_patience_s) ==
                   exchange_result::done
               ? static_cast<int32_t>(message.session.mode_mask) // where the reply has the result
               : 0;
}

std::string shell_prompt(const shell &sh) {
    std::array<char, 65> host{};
    ::gethostname(host.data(), host.size() - 1);
    const cmds_mode *const mode = cmds_find_mode(sh.session.mode_id);
    const std::string where =
        mode != nullptr ? mode->prompt : "(mode " + std::to_string(sh.session.mode_id) + ")#";
    return host.data() + where + " ";
}
