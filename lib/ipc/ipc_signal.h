#pragma once

// Signals whose handlers run outside of signal context. A caught signal is only marked; its handler runs in
// the next pass of a scheduler (thread_fetch_next) or call of ipc_signal_process, in the thread that comes
// first, and may do what any code may. Several catches before that are one run. Whichever thread catches a
// signal, and however shortly before a scheduler sleeps, the schedulers wake up for it; but for one that
// sleeps since before the first ipc_signal_catch of the process, which only a signal to its own thread wakes.

/// Called with the signal's number.
using ipc_signal_handler = void(int signo);

/// Catches `signo` for `handler` from now on, in place of an earlier handler. Returns 0, or -1 with errno set
/// for a signal that does not exist or cannot be caught, for a null handler, and when there is no descriptor
/// for ipc_signal_fd.
[[nodiscard]] int ipc_signal_catch(int signo, ipc_signal_handler *handler);

/// Runs the handlers of the signals caught since the last call, lowest number first. Returns how many ran.
int ipc_signal_process();

/// The descriptor that is readable from a catch until its handler is about to run, to be waited for beside
/// others; below 1024. -1 until the first ipc_signal_catch. It stays the module's.
int ipc_signal_fd();

/// Makes the next ipc_signal_process look for caught signals. For who has found ipc_signal_fd readable: when
/// several threads process, a catch can leave it so after the last look.
void ipc_signal_found_readable();
