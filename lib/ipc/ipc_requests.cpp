#include "lib/ipc/ipc_requests.h"

#include "lib/base/bytes.h"
#include "lib/ipc/ipc_api.h"

#include <array>

namespace {

using block16 = std::array<uint8_t, 16>;

// Places in the 16-byte block that the clients of route 5 exchange. Its value lies there high byte first, as
// every integer of a message.
constexpr size_t k_at_first = 0;
constexpr size_t k_at_second = 1;
constexpr size_t k_at_value = 2;

constexpr uint8_t k_route_requests = 5;
constexpr uint8_t k_route_blocks = 1;

int32_t exchange(uint8_t route, uint16_t command, uint8_t kind, std::span<const uint8_t> payload,
                 std::span<uint8_t> reply) {
    ipc_header header = {route, command, kind, k_ipc_status_unanswered};
    protoipc_send_request(&header, payload.data(), static_cast<int32_t>(payload.size()), reply.data(),
                          static_cast<int32_t>(reply.size()));
    return header.status;
}

block16 block_with(uint16_t value) {
    block16 block = {};
    put_be16(&block[k_at_value], value);
    return block;
}

int32_t request_value(uint16_t command, uint16_t value, std::span<uint8_t> reply) {
    const block16 block = block_with(value);
    return exchange(k_route_requests, command, k_ipc_kind_request, block, reply);
}

int32_t request_two_bytes(uint16_t command, uint16_t value, uint8_t *first, uint8_t *second) {
    block16 block = block_with(value);
    const int32_t status = exchange(k_route_requests, command, k_ipc_kind_request, block, block);
    *first = block[k_at_first];
    *second = block[k_at_second];
    return status;
}

int32_t send(uint16_t command, std::span<const uint8_t> bytes) {
    return exchange(k_route_requests, command, k_ipc_kind_one_way, bytes, {});
}

} // namespace

int32_t ipc_request_244(uint8_t *first, uint16_t *value) {
    block16 block = {};
    const int32_t status = exchange(k_route_requests, 244, k_ipc_kind_request, {}, block);
    *first = block[k_at_first];
    *value = get_be16(&block[k_at_value]);
    return status;
}

int32_t ipc_request_245(uint16_t value, std::span<uint8_t, 16> reply) {
    return request_value(245, value, reply);
}
int32_t ipc_request_246(uint16_t value, std::span<uint8_t> reply) { return request_value(246, value, reply); }
int32_t ipc_request_247(uint16_t value, std::span<uint8_t> reply) { return request_value(247, value, reply); }
int32_t ipc_request_248(uint16_t value, std::span<uint8_t> reply) { return request_value(248, value, reply); }
int32_t ipc_request_249(uint16_t value, std::span<uint8_t> reply) { return request_value(249, value, reply); }
int32_t ipc_request_250(uint16_t value, std::span<uint8_t> reply) { return request_value(250, value, reply); }

int32_t ipc_request_251(uint16_t value, uint8_t *first, uint8_t *second) {
    return request_two_bytes(251, value, first, second);
}
int32_t ipc_request_252(uint16_t value, uint8_t *first, uint8_t *second) {
    return request_two_bytes(252, value, first, second);
}

int32_t ipc_request_267(std::span<uint8_t, 36> block) {
    return exchange(k_route_blocks, 267, k_ipc_kind_request, block, block);
}
int32_t ipc_request_268(std::span<uint8_t, 36> block) {
    return exchange(k_route_blocks, 268, k_ipc_kind_request, block, block);
}

int32_t ipc_send_256(uint8_t value) { return send(256, {&value, 1}); }
int32_t ipc_send_257(uint8_t value) { return send(257, {&value, 1}); }
int32_t ipc_send_265(std::span<const uint8_t, 2> bytes) { return send(265, bytes); }
int32_t ipc_send_266(std::span<const uint8_t, 4> bytes) { return send(266, bytes); }
