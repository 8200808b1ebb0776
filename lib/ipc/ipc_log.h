#pragma once

#include <cstddef>

// Lines for the system log, under the ident "zop_serv" and the facility of the log daemon itself. Every call
// opens the log, writes one finished text and closes the log again; calls of several threads follow each
// other. A line is cut behind k_ipc_log_line - 1 characters. errno is left as it was. Not for signal
// handlers.

/// What every line is logged under.
constexpr const char *k_ipc_log_ident = "zop_serv";

/// Room for one line, its NUL included.
constexpr size_t k_ipc_log_line = 2048;

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
