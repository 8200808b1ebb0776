#pragma once

#include <cstdint>
#include <span>

// One call a command. Each returns the final status, k_ipc_status_unanswered when nobody answered.

/// Route 5, command 244: no payload; the 16-byte reply's first byte and the 16-bit value at its third.
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
