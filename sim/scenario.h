#pragma once

#include "sim/settings.h"

// Scenario files: one "NAME VALUE" a line, as `switchsim set` takes them; "#" begins a comment. What stands
// above the first step is set at the start. A step begins with "after SECONDS", "every SECONDS" or "after
// SECONDS every SECONDS" and is made at that time from the start, and again in that interval.

struct sim_step {
    uint64_t due_ns;    // from the start
    uint64_t period_ns; // 0: once
    std::vector<sim_change> changes;
};

/// A healthy switch of 12 ports, as a scenario.
extern const std::string_view k_sim_healthy;

/// Reads a scenario. Its first step is what is set at the start. On failure returns false and says in `error`
/// what is wrong, with `file` and the line's number.
[[nodiscard]] bool sim_scenario_parse(std::string_view text, const std::string &file,
                                      std::vector<sim_step> &steps, std::string &error);

/// Sets a new switch as it is at the start: healthy, and what the first step of `steps`, if there is one,
/// says.
void sim_scenario_begin(sim_state &state, std::vector<sim_step> &steps);

/// Applies every step that is due at `elapsed_ns` from the start, in the order of their times, and returns
/// when the next one is; UINT64_MAX when none is left. Repetitions that were missed are made once.
uint64_t sim_scenario_apply(sim_state &state, std::vector<sim_step> &steps, uint64_t elapsed_ns);
