#pragma once

#include "apps/zopsh/shell.h"

// The end of a session that nobody types at.

/// Begins to look after a session at a terminal; it outlives the looking.
void idle_begin(const shell &sh);

/// Waits until standard input has something, for as long as the switch lets a session be idle. The switch is
/// asked every few seconds: the time may be changed meanwhile. Returns false when the time is over,
/// and from then on at once. Without idle_begin it returns true at once.
[[nodiscard]] bool idle_wait();

/// Whether the session has ended so; says it once.
bool idle_is_over();
