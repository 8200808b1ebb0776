#pragma once

#include "lib/services/program.h"

#include <cstdint>

// Commands that go on beside the shell's server, as programs: what they print appears while they run, and
// their client is answered when they end. Ten at most, as many as there are clients.

/// Goes on with the line that is being run as a program, which becomes the jobs' own. Returns the handler's
/// result; where the program cannot be watched it is ended, and the user told.
int32_t cmds_jobs_take(const program &started);

/// Ends the program of a reply that was kept back: with SIGINT, and the second time with SIGKILL.
void cmds_jobs_give_up(int32_t ticket);

/// Ends all programs at once and answers their clients, as the process starts anew: they would be its
/// children again, and nobody would know of them.
void cmds_jobs_finish();

/// Ends all programs at once, as the process itself ends. Safe in a signal handler.
void cmds_jobs_end_all();
