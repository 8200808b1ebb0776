#pragma once

#include <cstddef>
#include <cstdint>

// Lines for the system log, under the ident "zop_serv" and the facility of the log daemon itself unless the
// program chooses otherwise. A call puts one finished text into a queue and returns: a log service that is
// slow, or stopped, holds up nobody but the log's own thread, which begins with the first line. That opens
// the log for each line, writes it and closes the log again, in the order of the calls: up to 50 lines at
// once, and no more than 500 in any second. What finds the queue full is left out, and the log is told how
// many lines that were. A line is cut behind k_ipc_log_line - 1 characters. errno is left as it was. Not for
// signal handlers. A forked child writes its own lines only, its parent's are the parent's; one forked while
// a line of its parent is being written may lose its own.

/// What lines are logged under where the program has not chosen.
constexpr const char *k_ipc_log_ident = "zop_serv";

/// Chooses what the lines are logged under, as openlog() takes it; `ident` must last. For the start of a
/// program, before its first line and its threads.
void ipc_log_open_as(const char *ident, int options, int facility);

/// Room for one line, its NUL included.
constexpr size_t k_ipc_log_line = 2048;

/// How long the end of a process waits for its last lines.
constexpr int32_t k_ipc_log_patience_ms = 200;

/// Waits until the lines of all calls that have returned are in the log, `milliseconds` at most. Returns
/// whether they are. For who ends the process; exit() does it for k_ipc_log_patience_ms. Also for signal
/// handlers.
bool ipc_log_flush(int32_t milliseconds);

/// Says that what the calling thread logs from now on is provoked by clients: its lines take three quarters
/// of the queue at most, so that they do not crowd out those of the others.
void ipc_log_for_clients();

/// Writes a line at error priority.
[[gnu::format(printf, 1, 2)]] void ipc_log_err(const char *format, ...);

/// Writes a line at warning priority.
[[gnu::format(printf, 1, 2)]] void ipc_log_warn(const char *format, ...);

/// Writes a line at notice priority.
[[gnu::format(printf, 1, 2)]] void ipc_log_notice(const char *format, ...);

/// Writes a line at info priority.
[[gnu::format(printf, 1, 2)]] void ipc_log_info(const char *format, ...);

/// Writes a line at debug priority.
[[gnu::format(printf, 1, 2)]] void ipc_log_debug(const char *format, ...);

/// Writes "Dynamic allocation limit crossed, it may be a memory leak in the daemon\n" at debug priority.
void ipc_log_alloc_limit();

/// The system's English text for an error number, or "Unknown error" where the system has none. Never null;
/// the text is static. Safe in any thread.
const char *safe_strerror(int error_number);
