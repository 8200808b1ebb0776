#pragma once

#include "sim/state.h"

/// Runs `command` as system() does, without the preloaded library in the shell's environment: the shell need
/// not be of the program's own machine. Returns what system() returns.
int sim_shell_run(const char *command);

/// Whether `command` calls the boot loader's environment tool.
bool sim_shell_wants_printenv(const char *command);

/// Runs such a command with a stand-in for the tool that knows the switch's `serial#`; arguments and
/// redirections stay the shell's work. Returns what system() returns.
int sim_shell_printenv(const sim_state &state, const char *command);
