#pragma once

#include "lib/cli/cli_session.h"

#include <optional>
#include <string>
#include <vector>

// What the shell's client does with lines, wherever they come from.

/// What became of a line.
enum class line_result {
    done,
    failed,
    no_answer, // the command may still be at work; the session is as it was
    no_server,
    ended, // the session is over
};

/// The session, and how output is shown.
struct shell {
    cli_session session;  // as the server left it after the last line
    bool pager;           // a screen at a time
    bool for_people;      // standard output is a terminal: control characters are not passed on
    std::string question; // what the next line is the answer to, when it is one
};

/// Registers with the server, for a session that begins so. Returns done, or no_server after saying why.
[[nodiscard]] line_result shell_register(shell *sh, const cli_session &session);

/// Runs a line, shows its output, and says what is wrong with it when nothing fits, or an argument does not.
/// A line that ends in '?' is a question: what can stand there is listed.
line_result shell_run(shell *sh, const std::string &line);

/// Whether the next line is the answer to a question.
bool shell_is_asking(const shell &sh);

/// Asks the user at the terminal the question of the last command, without showing what is typed when that is
/// to be secret. Returns the answer; nothing when the user gives up (Ctrl-C, Ctrl-D): then the next line is a
/// command.
std::optional<std::string> shell_read_answer(shell *sh);

/// What the server lists for a line; `failure` says in words why it could not be asked, and
/// is null otherwise.
struct shell_listing {
    const char *failure;
    std::vector<std::string> lines;
};

/// The help listing for a line as it stands.
shell_listing shell_help(const shell &sh, const std::string &line);

/// What the last word of a line can be completed to, each word once.
shell_listing shell_completions(const shell &sh, const std::string &line);

/// Whether a history may keep a line: the server says that there is no secret in it.
bool shell_may_remember(const shell &sh, const std::string &line);

/// The seconds after which a session ends that nobody types at; 0 when it does not, or the server cannot be
/// asked.
int32_t shell_idle_seconds(const shell &sh);

/// The prompt: host name and mode.
std::string shell_prompt(const shell &sh);

/// Why a line is to be explained.
enum class trouble {
    no_match,       // no command fits the line
    wrong_argument, // one did, and refused it
    nothing_listed, // there is no help for it
};

/// What is wrong with a line in the session it was run in, with a marker under the word and what was expected
/// there; several lines of text, none when nothing is known of it. When the server cannot be
/// asked, the reason for that.
std::string shell_explain(const shell &sh, const std::string &line, trouble what);

/// Runs a command line that the server has for its client: telnet to an address; anything else is refused.
/// Returns whether it ended well, after saying why it was not run.
[[nodiscard]] bool shell_run_here(const std::string &line);

/// Writes text to standard output, a screen at a time where that is wanted. Returns false, after saying why,
/// when it cannot be written.
bool pager_show(const shell &sh, const std::string &text);

/// The same at once, without screens.
bool pager_show_at_once(const shell &sh, const std::string &text);

/// Reads lines from the terminal, with editing, history, help and completion, and runs them until the user
/// leaves or the server is gone.
line_result editor_run(shell *sh);

/// Runs lines one after the other, up to one that ends the session or is not answered, and says the numbers
/// of those that failed. Returns whether all were done.
[[nodiscard]] bool script_run(shell *sh, const std::vector<std::string> &lines);

/// The same with the lines of standard input, numbered as an editor does.
[[nodiscard]] bool script_run_input(shell *sh);
