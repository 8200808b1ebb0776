#pragma once

#include "lib/ipc/ipc_gate.h"
#include "lib/ipc/ipc_wire.h"

#include <cstdint>
#include <span>

// The requests that wait for a response, by route.

/// One request as its sender describes it. All pointers stay the sender's and good until it is answered.
struct ipc_request {
    ipc_header *header;
    const void *payload;
    int32_t payload_length;
    void *reply; // null: none is wanted
    int32_t reply_length;
};

/// Makes the route slots ready; once.
void ipc_pending_init();

/// Books a request on its route, to be answered as `ticket`; with ticket 0, one that a client sent, of which
/// the record keeps a header of its own. Returns 0, or -1 when the route is outside 1..6, the command is 0 or
/// above 325, one of this command waits on the route already, or memory is out.
[[nodiscard]] int32_t process_ipc_request(const ipc_request &request, ipc_ticket ticket);

/// Gives a response to the first request of its route and command: its status, and, when that is 0 and a
/// reply is wanted, as much of the payload as the reply has room for. Removes the request and answers its
/// sender. Returns 0, or -1 when none waits or the route or command is out of range.
[[nodiscard]] int32_t process_ipc_response(const ipc_header &header, std::span<const uint8_t> payload);

/// Whether a request is still booked.
[[nodiscard]] bool ipc_pending_waits(uint8_t route, uint16_t command, ipc_ticket ticket);

/// Gives a request up: removes it and answers its sender, whose status stays 3. Without effect on one
/// that has been answered.
void ipc_pending_give_up(uint8_t route, uint16_t command, ipc_ticket ticket);

/// Gives up every request of a route; any route outside 1..6 is ignored.
void ipc_clear_proto_locks(uint8_t route);
