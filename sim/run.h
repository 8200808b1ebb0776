#pragma once

#include "lib/base/mbap.h"
#include "sim/scenario.h"

#include <string>

struct sim_run_options {
    std::string state_path;
    std::string library;
    uint16_t port = k_modbus_port;
    std::vector<sim_step> steps;
    char *const *program = nullptr; // arguments, the program's name first, null at the end
};

/// Exit status of `run` when it is not the program's: the switch could not be made. As env and timeout have
/// it, 126 is a program that could not be started and 127 one that was not found.
inline constexpr int k_sim_run_failed = 125;

/// Makes the switch, runs the program on it and makes the steps of the scenario meanwhile. SIGINT, SIGTERM
/// and SIGHUP are handed to the program. When it has ended, ends what it left running, and removes the
/// switch. Returns the program's exit status, or 128 plus the signal that ended it. Errors are told on
/// standard error.
int sim_run(sim_run_options &options);

/// Becomes the program, on a switch that runs already. Returns when that cannot be, like sim_run; the steps
/// count for nothing.
int sim_join(const sim_run_options &options);
