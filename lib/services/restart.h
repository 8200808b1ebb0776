#pragma once

// Another start: of the machine, or on a desk of this program alone. Asked for by a command, and carried out
// once its client has been answered.

/// Whether a start can be asked for here.
[[nodiscard]] bool restart_is_possible();

/// Asks for a start.
void restart_ask();

/// Whether one has been asked for since this was called before.
[[nodiscard]] bool restart_take();

/// Has the machine restarted by the system's program. Returns whether that took it on; then this process is
/// ended soon.
[[nodiscard]] bool restart_machine();
