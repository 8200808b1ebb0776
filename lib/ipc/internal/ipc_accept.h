#pragma once

struct ipc_server;

// Who may connect to a server, and how many.

/// The listening socket of a server, bound with raised privileges; -1 after logging why there is none.
[[nodiscard]] int ipc_open_listener(const char *path);

/// A descriptor that can be given up when they run out; -1 when they have.
[[nodiscard]] int ipc_open_spare();

/// Waits for the next peer, or pauses when it cannot. Returns whether it waits.
bool ipc_accept_on(ipc_server &server);
