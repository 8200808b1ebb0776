#pragma once

#include "sim/state.h"

/// Whether `command` is the `date` command as the switch's programs run it: with a date to set, or to tell
/// the date into a file. The machine's own date is neither set nor told.
bool sim_date_wants(const char *command);

/// Runs such a command on the switch's clock. Returns what system() returns: exit status 1 for a date that is
/// none.
int sim_date_run(sim_state &state, const char *command);
