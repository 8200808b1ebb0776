#include "apps/zopsh/shell.h"

#include "apps/zopsh/transport.h"
#include "lib/cli/cli_parser.h"
#include "lib/cmds/cmds_modes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr int32_t k_help = 1;
constexpr int32_t k_completions = 0;
constexpr int32_t k_status_session_ended = 0x1012e;

line_result complain(answer what) {
    std::fprintf(stderr, "zopsh: %s\n", transport_words(what));
    const bool gone = what == answer::no_server || what == answer::forbidden || what == answer::ended ||
                      what == answer::no_reply || what == answer::full;
    return gone ? line_result::no_server : line_result::failed;
}

shell_answer query(const shell &sh, int32_t form, const std::string &line) {
    csh_message message{};
    message.flag = form;
    message.session = sh.session;
    const answer what = transport_exchange(k_csh_query, line.c_str(), &message);
    if (what != answer::done) {
        return {transport_words(what), {}};
    }
    const std::string text = transport_output();
    shell_answer answered = {nullptr, {}};
    for (size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        answered.lines.push_back(text.substr(at, end - at));
    }
    return answered;
}

} // namespace

line_result shell_register(shell *sh) {
    csh_message message{};
    cmds_enter_mode(&sh->session, k_mode_exec);
    const answer what = transport_exchange(k_csh_register, "", &message);
    if (what != answer::done) {
        complain(what);
        return line_result::no_server;
    }
    return line_result::done;
}

line_result shell_run(shell *sh, const std::string &line) {
    const size_t begin = line.find_first_not_of(" \t\r\n\v\f");
    const bool is_command_line = sh->session.node_kind == 0; // and no answer to a prompt
    if (is_command_line && (begin == std::string::npos || line[begin] == ';')) {
        return line_result::done; // nothing, or a comment
    }
    if (line.find('\0') != std::string::npos) {
        std::fputs("zopsh: a line cannot hold a NUL\n", stderr);
        return line_result::failed;
    }
    if (line.size() >= k_csh_text_size) {
        std::fprintf(stderr, "zopsh: a line has at most %zu characters\n", k_csh_text_size - 1);
        return line_result::failed;
    }
    csh_message message{};
    message.session = sh->session;
    const answer what = transport_exchange(k_csh_execute, line.c_str(), &message);
    if (what != answer::done) {
        return complain(what);
    }
    const bool shown = pager_show(*sh, transport_output());
    const std::string text(message.text, ::strnlen(message.text, k_csh_text_size));
    const bool told = !text.empty() && text != line; // the server has something to say in place of the line;
    sh->session = message.session;
    if (message.result1 == k_status_session_ended) {
        return line_result::ended;
    }
    if (told) {
        std::printf("%s\n", text.c_str());
    }
    if (message.result1 == k_cli_status_no_match && message.result2 == -1) {
        std::fputs(shell_explain(*sh, line).c_str(), stderr);
    }
    return message.result2 == 0 && shown ? line_result::done : line_result::failed;
}

shell_answer shell_help(const shell &sh, const std::string &line) { return query(sh, k_help, line); }

shell_answer shell_completions(const shell &sh, const std::string &line) {
    shell_answer answered = query(sh, k_completions, line);
    // Patterns may have a choice in common.
    std::sort(answered.lines.begin(), answered.lines.end());
    answered.lines.erase(std::unique(answered.lines.begin(), answered.lines.end()), answered.lines.end());
    return answered;
}

std::string shell_prompt(const shell &sh) {
    std::array<char, 65> host{};
    ::gethostname(host.data(), host.size() - 1);
    const cmds_mode *const mode = cmds_find_mode(sh.session.mode_id);
    const std::string where =
        mode != nullptr ? mode->prompt : "(mode " + std::to_string(sh.session.mode_id) + ")#";
    return host.data() + where + " ";
}
