#pragma once

#include <cstdint>

struct ipc_client;

// What goes out to a client, how much may wait for one that does not read, and how it is closed for that.

/// Writes the client's output stream, or what the descriptor takes of it, and queues the rest. Returns 0, or
/// -1 when the client is closing, when its descriptor failed, or when it has left more unread than the
/// settings allow: both close it soon, and what waited for it is gone. Where too much waits for all clients,
/// the one of this server that most waits for is closed so, which may be another.
[[nodiscard]] int32_t ipc_server_send_message(ipc_client *client);

/// Takes back the client's tasks and frees its output.
void ipc_client_end_output(ipc_client *client);
