#pragma once

// Signals whose handlers run outside of signal context. A caught signal is only marked; its handler runs in
// the next pass of a scheduler (thread_fetch_next) or call of ipc_signal_process, in the thread that comes
// first, and may do what any code may. Several catches before that are one run. A signal caught just before
// the scheduler sleeps does not wake it, nor does one that another thread catches: its handler waits for the
// next task or signal. A process with more threads blocks these signals in all but the scheduler's.

/// Called with the signal's number.
using ipc_signal_handler = void(int signo);

/// Catches `signo` for `handler` from now on, in place of an earlier handler. Returns 0, or -1 with errno set
/// for a signal that does not exist or cannot be caught, and for a null handler.
[[nodiscard]] int ipc_signal_catch(int signo, ipc_signal_handler *handler);

/// Runs the handlers of the signals caught since the last call, lowest number first. Returns how many ran.
int ipc_signal_process();
