#pragma once

#include "lib/ipc/internal/ipc_gate.h"
#include "lib/ipc/ipc_wire.h"

#include <cstdint>
#include <span>

// The requests that wait for a response, by route.

struct ipc_client;

/// What the answer to a request is written to: the sender's, and good until it is answered.
struct ipc_request {
    ipc_header *header;
    std::span<uint8_t> reply; // empty: none is wanted
};

/// Makes the route slots ready; once.
void ipc_pending_init();

/// Books a request of this process on its route, to be answered as `ticket`, in place of one of its command
/// that a client booked. Returns 0, or -1 when the route is outside 1..6, the command is 0 or above 325, the
/// process has booked one of this command on the route already, or memory is out.
[[nodiscard]] int32_t process_ipc_request(const ipc_request &request, ipc_ticket ticket);

/// Books a request that a client sent; nobody is woken by its answer. Returns 0, or -1 as above and when
/// anybody has booked one of this command on the route already.
[[nodiscard]] int32_t ipc_pending_book_of_client(const ipc_header &header, const ipc_client *client);

/// Drops what a client has booked, on every route.
void ipc_pending_drop_client(const ipc_client *client);

/// Gives a response to the first request of its route and command: its status, and, when that is 0 and a
/// reply is wanted, as much of the payload as the reply has room for. Removes the request and answers its
/// sender. Returns 0, or -1 when none waits or the route or command is out of range.
[[nodiscard]] int32_t process_ipc_response(const ipc_header &header, std::span<const uint8_t> payload);

/// Whether a request is still booked. `route` is 1..6.
[[nodiscard]] bool ipc_pending_waits(uint8_t route, uint16_t command, ipc_ticket ticket);

/// Gives a request up: removes it and answers its sender, whose status stays 3. Without effect on one
/// that has been answered. `route` is 1..6.
void ipc_pending_give_up(uint8_t route, uint16_t command, ipc_ticket ticket);

/// Gives up every request of a route; any route outside 1..6 is ignored.
void ipc_clear_proto_locks(uint8_t route);
