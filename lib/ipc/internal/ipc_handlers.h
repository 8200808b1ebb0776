#pragma once

#include "lib/ipc/ipc_wire.h"

#include <cstdint>
#include <span>

struct ipc_server;

// What is done with the one-way messages of clients.

/// Whether a one-way message has a handler.
bool ipc_handler_exists(uint8_t route, uint16_t command);

/// Runs the handler of a one-way message: a relay sends the payload on to the client of the message's route,
/// if it has exactly the expected size.
void ipc_handler_run(ipc_server &server, const ipc_header &header, std::span<const uint8_t> payload);
