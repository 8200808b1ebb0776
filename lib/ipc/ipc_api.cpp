#include "lib/ipc/ipc_api.h"

#include "lib/base/result.h"
#include "lib/ipc/internal/ipc_gate.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_queue.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/internal/ipc_server.h"

#include <algorithm>
#include <cstdlib>
#include <span>

namespace {

/// Whether the exchange can go on. A response has then been given to its request.
bool book(const ipc_request &request, std::span<const uint8_t> payload, ipc_ticket ticket) {
    switch (request.header->kind) {
    case k_ipc_kind_request:
        return process_ipc_request(request, ticket) == 0;
    case k_ipc_kind_response:
        return process_ipc_response(*request.header, payload) == 0;
    default:
        return true;
    }
}

/// Books and hands over, for the owner of `ticket`. Returns whether it will be answered from elsewhere. The
/// message is made first: from the booking on, a response may write to the caller's header.
bool exchange(const ipc_request &request, std::span<const uint8_t> payload, ipc_ticket ticket) {
    ipc_message *message = ipc_message_new(*request.header, payload, ticket);
    if (message == nullptr) {
        return false;
    }
    if (!book(request, payload, ticket)) {
        std::free(message);
        return false;
    }
    ipc_message_hand_over(message);
    return true;
}

} // namespace

void protoipc_send_request(ipc_header *header, const void *payload, int32_t payload_length, void *reply,
                           int32_t reply_length) {
    if (header == nullptr || payload_length < 0 || (payload_length > 0 && payload == nullptr) ||
        header->command > k_ipc_command_max || !ipc_any_server_started()) {
        return;
    }
    const std::span<const uint8_t> bytes(static_cast<const uint8_t *>(payload),
                                         static_cast<size_t>(payload_length));
    const size_t room = reply == nullptr ? 0 : static_cast<size_t>(std::max(reply_length, 0));
    const ipc_request request = {header, {static_cast<uint8_t *>(reply), room}};
    if (ipc_on_server_thread()) {
        // It must not wait for an answer that only it can bring; what awaits none goes out by the queue.
        if (header->kind != k_ipc_kind_request) {
            ignore_result(exchange(request, bytes, 0));
        }
        return;
    }
    const uint16_t command = header->command;
    const ipc_ticket ticket = ipc_gate_enter(command);
    if (!exchange(request, bytes, ticket)) {
        ipc_gate_answer(command, ticket);
    }
    ipc_gate_leave(command);
}
