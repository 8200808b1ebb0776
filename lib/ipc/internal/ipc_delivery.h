#pragma once

struct ipc_message;
struct ipc_server;

// The last leg of a message: from the thread of a server to the client of its route.

/// Sends a message to the connected client of its route, or tries again once after 150 ms, at the server that
/// has the client then, and gives it up. Of messages that nobody waits for, which clients have sent, 1024 can
/// wait so; those beyond are given up at once. Owns `message`. On the thread of `server`.
void protoipc_pkt_create_send(ipc_server &server, ipc_message *message);

/// Sends a message that the thread of `here` has to the client of its route, whichever server has that. Owns
/// `message`. On the thread of `here`.
void ipc_message_pass_on(ipc_server &here, ipc_message *message);
