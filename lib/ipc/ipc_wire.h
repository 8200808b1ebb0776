#pragma once

#include "lib/ipc/ipc_stream.h"

#include <cstddef>
#include <cstdint>
#include <span>

// The message header of the IPC sockets: 9 bytes in front of every payload, all fields high byte first.

constexpr uint16_t k_ipc_header_size = 9;
constexpr size_t k_ipc_payload_max = 65535 - k_ipc_header_size; // the length has 16 bits
constexpr uint8_t k_ipc_marker = 255;
constexpr uint8_t k_ipc_version = 1;

constexpr uint8_t k_ipc_route_min = 1;
constexpr uint8_t k_ipc_route_max = 6;
constexpr uint16_t k_ipc_command_hello = 325;
constexpr uint16_t k_ipc_command_max = 325;

constexpr uint8_t k_ipc_kind_request = 0;
constexpr uint8_t k_ipc_kind_response = 1;
constexpr uint8_t k_ipc_kind_one_way = 2;

/// What a request's status is before it is answered, and still is when it never was. A responder's 0 is
/// success.
constexpr int32_t k_ipc_status_unanswered = 3;

/// A message's header as programs hold it.
struct ipc_header {
    uint8_t route;    // the protocol it is for, 1..6
    uint16_t command; // 1..325
    uint8_t kind;
    int32_t status; // only its low 8 bits travel
};

/// A header as it came over a socket.
struct ipc_wire_header {
    uint16_t length; // of the whole message, header included
    uint8_t marker;
    uint8_t version;
    ipc_header header;
};

constexpr bool ipc_route_valid(uint8_t route) { return route >= k_ipc_route_min && route <= k_ipc_route_max; }
constexpr bool ipc_command_valid(uint16_t command) { return command >= 1 && command <= k_ipc_command_max; }

/// Reads the header from the first 9 bytes written to `s`, whatever the read cursor, which is left after it.
ipc_wire_header ipc_wire_parse(stream *s);

/// Builds a whole message in `s` in place of what was there. Returns false, and leaves `s` empty, when it
/// does not fit the stream or the payload is longer than k_ipc_payload_max.
[[nodiscard]] bool ipc_wire_build(stream *s, const ipc_header &header, std::span<const uint8_t> payload);
