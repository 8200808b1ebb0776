#pragma once

#include "lib/ipc/ipc_pending.h"
#include "lib/ipc/ipc_settings.h"
#include "lib/ipc/ipc_wire.h"

#include <cstdint>
#include <span>

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

/// Sends a message and, for a request, waits for its answer; from any thread. The result is in
/// `header->status`: what the responder set, or what it was before when nobody answered (callers set
/// k_ipc_status_unanswered). A message of any kind waits while another of its command is under way, and until
/// it is sent: 150 ms when there is no client for its route. From a server's own thread nothing waits. A
/// response's payload goes to `reply`, cut to `reply_length`; a null reply takes none. Refused at once, the
/// status unchanged: a null header, a negative length, a length without payload, a command above 325, a
/// request that cannot be booked (see process_ipc_request), a response nobody waits for, any call before a
/// server was started, and a request from a server's own thread, which would wait for itself.
void protoipc_send_request(ipc_header *header, const void *payload, int32_t payload_length, void *reply,
                           int32_t reply_length);

// One call a command. Each returns the final status, k_ipc_status_unanswered when nobody answered.

/// Route 5, command 244: no payload; the 16-byte reply's first byte and the 16-bit value behind it.
int32_t ipc_request_244(uint8_t *first, uint16_t *value);
/// Route 5, command 245: the value goes in a 16-byte block, and the block that comes back is copied to
/// `reply`.
int32_t ipc_request_245(uint16_t value, std::span<uint8_t, 16> reply);
/// Route 5, commands 246..250: the value goes in a 16-byte block; the reply goes to `reply`.
int32_t ipc_request_246(uint16_t value, std::span<uint8_t> reply);
int32_t ipc_request_247(uint16_t value, std::span<uint8_t> reply);
int32_t ipc_request_248(uint16_t value, std::span<uint8_t> reply);
int32_t ipc_request_249(uint16_t value, std::span<uint8_t> reply);
int32_t ipc_request_250(uint16_t value, std::span<uint8_t> reply);
/// Route 5, commands 251 and 252: the value goes in a 16-byte block, whose first two bytes come back.
int32_t ipc_request_251(uint16_t value, uint8_t *first, uint8_t *second);
int32_t ipc_request_252(uint16_t value, uint8_t *first, uint8_t *second);
/// Route 1, commands 267 and 268: the block goes there and comes back.
int32_t ipc_request_267(std::span<uint8_t, 36> block);
int32_t ipc_request_268(std::span<uint8_t, 36> block);
/// Route 5, one way: the bytes go to the client, and no answer is awaited.
int32_t ipc_send_256(uint8_t value);
int32_t ipc_send_257(uint8_t value);
int32_t ipc_send_265(std::span<const uint8_t, 2> bytes);
int32_t ipc_send_266(std::span<const uint8_t, 4> bytes);
