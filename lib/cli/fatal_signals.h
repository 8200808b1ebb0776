#pragma once

// What the process says when a signal ends it.

/// Catches the signals whose default is to end the process, unless the process ignores or handles them
/// already.
///
/// One that ends it quietly logs "exiting..." and leaves through _exit with status 128 + its number. One of a
/// fault, or an abort, logs "aborting..." and aborts. The line goes to the system log and to standard error,
/// by calls that are safe in a handler. A handler that cannot be installed is logged, and the others are
/// installed all the same.
void fatal_signals_install();
