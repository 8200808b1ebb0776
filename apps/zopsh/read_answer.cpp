// The answers to a command's questions. They are read apart from the editor, so that no history holds them
// and no key has a meaning of its own.

#include "apps/zopsh/idle.h"
#include "apps/zopsh/shell.h"
#include "apps/zopsh/terminal.h"
#include "lib/base/result.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

/// A line of the terminal; nothing when `end` ends it, or nothing more comes. Read a byte at a time: what
/// came while the editor had the terminal, pasted perhaps, comes with all the lines after the answer at
/// once.
std::optional<std::string> read_line(char end) {
    std::string line;
    for (char c = 0; idle_wait() && ::read(STDIN_FILENO, &c, 1) == 1 && c != end;) {
        if (c == '\n') {
            return line;
        }
        line += c;
    }
    return std::nullopt;
}

std::optional<std::string> ask(const shell &sh) {
    const bool secret = sh.session.node_kind == k_cli_node_secret;
    const terminal_guard guard(secret ? terminal_keys::secret : terminal_keys::answer);
    if (secret && !guard.is_good()) {
        std::fprintf(stderr, "zopsh: what is typed cannot be hidden: %s\n", std::strerror(errno));
        return std::nullopt;
    }
    ignore_result(pager_show(sh, sh.question)); // it has told itself
    return read_line(guard.interrupt());
}

} // namespace

std::optional<std::string> shell_read_answer(shell *sh) {
    std::optional<std::string> answer = ask(*sh);
    if (!answer) {
        std::fputs("\n", stdout); // the next prompt is to begin a line
        std::fflush(stdout);
        sh->session.node_kind = k_cli_node_command;
    }
    return answer;
}
