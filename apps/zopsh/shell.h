#pragma once

#include "lib/cli/cli_session.h"

#include <string>
#include <vector>

// What the shell's client does with lines, wherever they come from.

enum class line_result {
    done,
    failed,
    no_server, // or none that answers
    ended,     // the session is over
};

/// The session, and how output is shown.
struct shell {
    cli_session session; // as the server left it after the last line
    bool pager;          // a screen at a time
    bool for_people;     // standard output is a terminal: control characters are not passed on
};

/// Registers with the server. Returns done, or no_server after saying why.
[[nodiscard]] line_result shell_register(shell *sh);

/// Runs a line, shows its output, and says what is wrong with it when nothing fits.
line_result shell_run(shell *sh, const std::string &line);

/// What the server answers to a question about a line; `failure` says in words why it could not be asked, and
/// is null otherwise.
struct shell_answer {
    const char *failure;
    std::vector<std::string> lines;
};

/// The help listing for a line as it stands.
shell_answer shell_help(const shell &sh, const std::string &line);

/// What the last word of a line can be completed to, each word once.
shell_answer shell_completions(const shell &sh, const std::string &line);

/// The prompt: host name and mode.
std::string shell_prompt(const shell &sh);

/// Why no command fits a line, with a marker under the word; several lines of text. When the server
/// cannot be asked, the reason for that.
std::string shell_explain(const shell &sh, const std::string &line);

/// Writes text to standard output, a screen at a time where that is wanted. Returns false, after saying why,
/// when it cannot be written.
bool pager_show(const shell &sh, const std::string &text);

/// Reads lines from the terminal, with editing, history, help and completion, and runs them until the user
/// leaves or the server is gone.
line_result editor_run(shell *sh);
