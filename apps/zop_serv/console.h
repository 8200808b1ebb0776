#pragma once

// Standard output and standard error of a program that may be watched by nobody, or by a pager that stands
// still: writing there never waits.

/// Puts a pipe in the place of each, and a thread behind the pipe that passes on what comes. What the pipe
/// has no room for, 64 KiB as a rule, is lost. The descriptors that were there are written to, and no flag of
/// theirs is changed: they are the caller's terminal, perhaps. Programs that are started from now on write
/// into the pipes as well. Returns false when there is no descriptor or thread to be had; what could be made
/// then stays. Once.
[[nodiscard]] bool console_start();

/// Puts back what was there before. What is written then goes there at once; threads and pipes stay.
void console_end();

/// Waits until all that has been written has been passed on, a third of a second at most. Safe in a signal
/// handler.
void console_settle();
