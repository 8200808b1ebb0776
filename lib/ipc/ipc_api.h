#pragma once

#include "lib/ipc/ipc_settings.h"
#include "lib/ipc/ipc_wire.h"

#include <cstdint>

// Messages between management processes. A server accepts protocol daemons as clients; each says hello for
// one route. A request of any thread blocks until the client of its route has answered it.

constexpr const char *k_ipc_serv_path = "/tmp/ipc_zop_serv_addr";
constexpr const char *k_ipc_web_path = "/tmp/ipc_web_gui_addr";

/// Starts the management server at k_ipc_serv_path, in a thread of its own. Tried once: 0 when it
/// runs (requests can be sent) and for every later call, -1 when the one try failed. ipc_get_settings() must
/// be filled. From one thread.
[[nodiscard]] int32_t ipc_serv_start();

/// The same for the web interface, at k_ipc_web_path.
[[nodiscard]] int32_t ipc_web_start();

/// Whether a client of a route is connected. From any thread, before a server was started too.
bool ipc_route_is_served(uint8_t route);

/// A number that is another one whenever a client has begun or ceased to serve a route since. From any
/// thread; 0 for what is no route.
uint32_t ipc_route_changes(uint8_t route);

/// Sends a message and, for a request, waits for its answer; from any thread. The result is in
/// `header->status`: what the responder set, or what it was before when nobody answered (callers set
/// k_ipc_status_unanswered). A message of any kind waits while another of its command is under way, and until
/// it is sent: 150 ms when there is no client for its route. From a server's own thread nothing waits. A
/// response's payload goes to `reply`, cut to `reply_length`; a null reply takes none. Refused at once, the
/// status unchanged: a null header, a negative length, a length without payload, a command above 325, a
/// request outside routes 1..6 and commands 1..325, a response nobody waits for, any call before a
/// server was started, and a request from a server's own thread, which would wait for itself.
void protoipc_send_request(ipc_header *header, const void *payload, int32_t payload_length, void *reply,
                           int32_t reply_length);
