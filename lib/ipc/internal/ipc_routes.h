#pragma once

#include <cstdint>

struct ipc_client;
struct ipc_server;

// Which server runs, and which of them has the client of a route.

/// Notes that a client serves a route from now on, and that it serves its route no longer: nobody waits for
/// its answers then. On the thread of its server.
void ipc_route_joined(ipc_client *client, uint8_t route);
void ipc_route_left(ipc_client *client);

/// Takes a server that runs into account: messages can be handed to it. The management server is the one for
/// routes without a client; without it, the other one.
void ipc_server_runs(ipc_server *server, bool management);

/// Whether there is a server to hand a message to.
bool ipc_any_server_started();

/// Whether the management server runs, so that one-way messages go to their handlers.
bool ipc_relays_started();

/// The server that has the client of a route: of two the one whose client came last. From any thread, once a
/// server runs.
ipc_server *ipc_server_of_route(uint8_t route);

/// The first client of a server that said hello for `route`, or null. On the thread of the server.
ipc_client *ipc_client_of_route(const ipc_server &server, uint8_t route);
