#pragma once

#include "sim/state.h"

#include <sys/types.h>

// The switch's local time service, played: it keeps what it is told in the simulated switch and answers with
// what is there (lib/time/sntp_record.h).

/// Plays the service in a child process that ends with this one, however that ends. It takes the service's
/// UDP port on 127.0.0.1, or a free one when that is taken: programs under the preloaded library find the one
/// as well as the other. The port is noted in the state. The child does not keep `lock_fd`. Returns its
/// process id, to be ended by sim_time_stop; or -1 with errno.
pid_t sim_time_start(sim_state &state, int lock_fd);

/// Ends the service; nothing for -1.
void sim_time_stop(pid_t service);
