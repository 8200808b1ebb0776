#pragma once

#include "lib/cli/cli_command.h"
#include "lib/cli/cli_session.h"

#include <cstddef>
#include <cstdint>
#include <optional>

// The way of a typed line through the installed commands, and what its handler sees of the session. All of it
// runs on the thread of the shell server.

// The status of the last line.
constexpr int32_t k_cli_status_done = 0;           // a handler was chosen
constexpr int32_t k_cli_status_no_match = 0x10001; // no command, or more than one, fits the line

/// Runs a line in a session: a command line, "!" (back from a sub-mode of the configuration to it) or, by the
/// node kind, an answer to a prompt. Changes that the handler makes to the session are in `session`
/// afterwards. Returns the handler's result; -1 when none was called or the arguments are wrong, which the
/// user is told. A handler may run further lines.
int32_t cli_session_execute(cli_session *session, const char *line);

// The session of the line that is being run, for handlers. A client sends whatever words it likes as its
// session, so that handlers see none of them but through these.

/// The mode the session is in; any number.
int32_t cli_session_mode();

/// The groups of commands that the session may type; any bits.
uint32_t cli_session_mask();

/// Moves the session to a mode, with the commands of a mask.
void cli_session_enter(int32_t mode_id, uint32_t mode_mask);

/// The command whose handler is being called; null outside.
const cli_command *cli_running_command();

/// The value at `place`, 0 to 2, when it is within `low` to `high`; nothing otherwise.
std::optional<int32_t> cli_session_number(size_t place, int32_t low, int32_t high);

/// The value at `place`, 0 to 2, as a set of bits, when there is at least one and none that is not in
/// `allowed`; nothing otherwise.
std::optional<uint32_t> cli_session_bits(size_t place, uint32_t allowed);

/// Sets the value at `place`, 0 to 2.
void cli_session_set(size_t place, int32_t value);

/// Makes the next line of the session one of `node_kind`, and so each one until this is called again. The
/// handler prints the question without a line feed after it.
void cli_session_expect(int32_t node_kind);

/// Status of the last line that was run. A handler that leaves more to say sets it itself.
int32_t cli_last_status();
void cli_set_last_status(int32_t status);

/// Takes the answers of one kind, k_cli_node_answer or k_cli_node_secret, instead of the command tree;
/// results as a handler's. Null takes them away again, and such a line fails.
using cli_prompt_fn = int32_t (*)(const char *line);
void cli_set_prompt_handler(int32_t node_kind, cli_prompt_fn handler);
