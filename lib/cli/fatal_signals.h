#pragma once

// What the process says when a signal ends it.

/// Catches the signals whose default is to end the process, unless the process ignores or handles them
/// already.
///
/// One that ends it quietly logs "exiting..." and leaves through _exit with status 128 + its number. One of a
/// fault, or an abort, logs "aborting..." and aborts. The line goes to the system log, after those that are
/// on their way there (see ipc_log_flush), and to standard error, by calls that are safe in a handler. A
/// handler that cannot be installed is logged, and the others are installed all the same. `settle`, unless it
/// is null, is called between the last words and the end: it sees them out and tidies up, by calls that are
/// safe in a handler.
void fatal_signals_install(void (*settle)() = nullptr);
