#pragma once

#include <cstdint>

// The thread that polls the stack, and the run state by which it and its supervisor know of each other.

inline constexpr int32_t k_run_idle = 0;    // no poll thread
inline constexpr int32_t k_run_polling = 1; // a poll thread is running
inline constexpr int32_t k_run_stop = 2;    // the poll thread is asked to end

/// The run state, under its mutex.
int32_t get_run_state();
void set_run_state(int32_t value);

/// Creates the poll thread when the run state is idle. Returns whether one was created. The new thread itself
/// leaves the idle state, so a second call before it has run creates a second one.
bool start_poll_thread();

/// Starts a poll thread whenever there is none, tries again a millisecond after one that could not be
/// created, and sleeps while one runs or is yet to run; until the stop flag is set, and nothing sets it.
void supervise_poll_thread();
