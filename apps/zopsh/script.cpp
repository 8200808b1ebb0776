// Lines that nobody edits: of the command line, of a file, or of another program.

#include "apps/zopsh/shell.h"
#include "lib/base/result.h"
#include "lib/cli/csh_message.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

/// Lines run so far.
struct progress {
    int32_t number;
    bool all_done;
};

/// Runs the next line. Returns whether there can be another one: what is not answered may have changed the
/// mode, and the lines after it were not meant for any other.
bool run_next(shell *sh, const std::string &line, progress *script) {
    script->number++;
    const line_result result = shell_run(sh, line);
    if (result == line_result::done || result == line_result::ended) {
        return result == line_result::done;
    }
    script->all_done = false;
    const bool goes_on = result == line_result::failed;
    std::fprintf(stderr, "zopsh: line %d failed%s\n", script->number, goes_on ? "" : ", and no more are run");
    return goes_on;
}

/// A line of standard input; of one that is too long to be sent, enough to show that.
std::optional<std::string> read_line() {
    std::string line;
    int byte = 0;
    while ((byte = std::getc(stdin)) != EOF && byte != '\n') {
        if (line.size() < k_csh_text_size) {
            line += static_cast<char>(byte);
        }
    }
    return byte == EOF && line.empty() ? std::nullopt : std::optional(line);
}

/// The next line of standard input. A question is shown where its answer is typed.
std::optional<std::string> next_line(shell *sh) {
    if (shell_is_asking(*sh)) {
        if (::isatty(STDIN_FILENO) == 1) {
            return shell_read_answer(sh).value_or("");
        }
        ignore_result(pager_show(*sh, sh->question + "\n")); // it has told itself
    }
    return read_line();
}

} // namespace

bool script_run(shell *sh, const std::vector<std::string> &lines) {
    progress script = {0, true};
    for (const std::string &line : lines) {
        if (!run_next(sh, line, &script)) {
            break;
        }
    }
    return script.all_done;
}

bool script_run_input(shell *sh) {
    progress script = {0, true};
    for (std::optional<std::string> line; (line = next_line(sh)).has_value();) {
        if (!run_next(sh, *line, &script)) {
            return script.all_done;
        }
    }
    if (std::ferror(stdin) != 0) {
        std::fprintf(stderr, "zopsh: standard input: %s\n", std::strerror(errno));
        return false;
    }
    return script.all_done;
}
