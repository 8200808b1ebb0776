#pragma once

#include <cstdint>

// The daemon around the stack: the run state, the poll thread, and what a process needs to detach itself.

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
/// created, and sleeps while one runs; until the stop flag is set, and nothing sets it.
void supervise_poll_thread();

/// Detaches the process: forks, and in the child starts a session, closes every descriptor, changes to
/// "/var/run", writes and locks "modbus.pid" there, ignores job-control signals and logs SIGHUP and SIGTERM.
/// Does nothing when the parent is process 1. The parent returns too: its caller ends it. Failures are
/// printed on standard output: "fork error.", "Can't open.", "Can't lock.". To be called before mb_tcp_init,
/// whose socket it would close; and since SIGCHLD is then ignored, ended clients are never counted off: after
/// ten the listener refuses all that come.
void daemonise();

/// Appends `text` and a newline to the file `path`, which it creates; does nothing when that cannot be
/// opened, is a link, or is no plain file of one name. Safe in a signal handler.
void log_line(const char *path, const char *text);

/// Handler of SIGHUP (logs it) and SIGTERM (logs it and exits with 0).
void on_signal(int signal_number);

/// Whether the low 8 bits of a character are 0 or a printable ASCII character.
bool is_printable(int character);
