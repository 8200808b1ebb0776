#pragma once

#include "lib/cli/cli_command.h"

#include <cstddef>
#include <cstdint>

// The shell's commands, declared once at start-up by the command modules, by the modes they stand in.

/// Installs a command in a mode. Returns 0, or -1 when the mode has a command of the same words and the same
/// pattern (none is not the same as none), when a word is longer than 127 characters, when there are more
/// than 20 of them, or when memory is out. `command` must live for ever.
[[nodiscard]] int32_t cli_install(int32_t mode_id, const cli_command *command);

/// How many commands are installed in a mode.
size_t cli_command_count(int32_t mode_id);

/// Prints the words of every mode as a tree, for debugging.
void cli_dump_tree();
