#pragma once

#include "lib/cli/cli_command.h"
#include "lib/cli/cli_session.h"

#include <cstddef>
#include <cstdint>
#include <optional>

// The shell's commands, declared once at start-up by the command modules, and the way of a typed line through
// them. All of it runs on the thread of the shell server.

// The status of the last line.
constexpr int32_t k_cli_status_done = 0;           // a handler was chosen
constexpr int32_t k_cli_status_no_match = 0x10001; // no command, or more than one, fits the line

/// Installs a command in a mode. Returns 0, or -1 when the mode has a command of the same words and the same
/// pattern (none is not the same as none), when a word is longer than 127 characters, when there are more
/// than 20 of them, or when memory is out. `command` must live for ever.
[[nodiscard]] int32_t cli_install(int32_t mode_id, const cli_command *command);

/// Runs a line in a session: a command line, "!" (back from a sub-mode of the configuration to it) or, by the
/// node kind, an answer to a prompt. Changes that the handler makes to the session are in `session`
/// afterwards. Returns the handler's result; -1 when none was called or the arguments are wrong, which the
/// user is told. A handler may run further lines.
int32_t cli_session_execute(cli_session *session, const char *line);

// The session of the line that is being run, for handlers. A client sends whatever words it likes as its
// session, so that handlers see none of them but through these.

/// The mode the session is in; any number.
int32_t cli_session_mode();

/// Moves the session to a mode, with the commands of a mask.
void cli_session_enter(int32_t mode_id, uint32_t mode_mask);

/// The value at `place`, 0 to 2, when it is within `low` to `high`; nothing otherwise.
std::optional<int32_t> cli_session_number(size_t place, int32_t low, int32_t high);

/// The value at `place`, 0 to 2, as a set of bits, when there is at least one and none that is not in
/// `allowed`; nothing otherwise.
std::optional<uint32_t> cli_session_bits(size_t place, uint32_t allowed);

/// Sets the value at `place`, 0 to 2.
void cli_session_set(size_t place, int32_t value);

/// Makes the next line of the session one of `node_kind`, and so each one until this is called again. The
/// handler prints the question without a line feed behind it.
void cli_session_expect(int32_t node_kind);

/// Status of the last line that was run. A handler that leaves more to say sets it itself.
int32_t cli_last_status();
void cli_set_last_status(int32_t status);

/// Takes the answers of one kind, k_cli_node_answer or k_cli_node_secret, instead of the command tree;
/// results as a handler's. Null takes them away again, and such a line fails.
using cli_prompt_fn = int32_t (*)(const char *line);
void cli_set_prompt_handler(int32_t node_kind, cli_prompt_fn handler);

/// Replays a saved configuration: commands, one a line, in the global configuration mode at first. A line
/// that begins with "!" goes back to it. Returns 0, -1 when the file cannot be opened, -301 when at least one
/// line failed, which goes to the system log by its number; the lines behind it are run all the same. May be
/// called by a handler.
int32_t cli_load_config(const char *path);
constexpr int32_t k_cli_load_failed_lines = -301;

/// Lists, for the mode of `session`, what can stand at position `count` + `offset` - 1 of a line (counted
/// from 0) behind the `count` words typed: 1 is the next word, 0 the last one typed itself. A line each for
/// every word, with its help text, or the description of the complete command. Commands that a typed word is
/// only the beginning of a word of are left out. Returns the number of lines.
int32_t cli_list_next_words(const cli_session &session, int32_t offset, int32_t count,
                            const char *const *words);

/// Prints the help for an unfinished line as it is being typed: what can stand behind it when it ends in a
/// blank or is empty, else the words that its last word is the beginning of. Words before may be
/// abbreviated. Returns the number of lines.
int32_t cli_help_line(const cli_session &session, const char *line);

/// Prints what the last word of the line can be completed to, one a line; keywords and alternatives only,
/// the choices of each pattern word once. Returns the number of lines.
int32_t cli_complete_line(const cli_session &session, const char *line);

/// Prints the words of every mode as a tree, for debugging.
void cli_dump_tree();

/// How many commands are installed in a mode.
size_t cli_command_count(int32_t mode_id);
