#pragma once

struct ipc_client;

/// Reads from a client as it sends, on its server's thread: every whole message goes to ipc_dispatch. One
/// that is no message, and the end of the connection, close the client. Returns false when its descriptor
/// cannot be waited for, or memory is out.
bool ipc_client_read_on(ipc_client *client);
