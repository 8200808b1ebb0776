#pragma once

#include "lib/ipc/ipc_wire.h"

#include <cstdint>
#include <span>

struct ipc_client;

/// Does what a client's message asks for: a hello gives the client its route, a response completes a request,
/// a request is booked, and a one-way message goes to its handler. What is of no route, of no command or of
/// no use is dropped. On the thread of the client's server.
void ipc_dispatch(ipc_client *client, const ipc_header &header, std::span<const uint8_t> payload);
