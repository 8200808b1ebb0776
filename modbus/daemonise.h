#pragma once

// What a process needs to detach itself and to log the signals that it then gets.

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
