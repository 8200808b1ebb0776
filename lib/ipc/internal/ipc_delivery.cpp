#include "lib/ipc/internal/ipc_delivery.h"

#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_client_output.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_queue.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/internal/ipc_server.h"

#include <cstdlib>

namespace {

constexpr int32_t k_retry_ms = 150;
constexpr uint32_t k_relays_waiting_max = 1024;

bool is_relayed(const ipc_message &message) { return message.ticket == 0; }

/// Wakes whoever waits for a message that reaches nobody, or that nobody answers.
void give_up(const ipc_message &message) {
    if (is_relayed(message)) {
        return;
    }
    if (message.header.kind == k_ipc_kind_request) {
        ipc_pending_give_up(message.header.route, message.header.command, message.ticket);
    } else {
        ipc_gate_answer(message.header.command, message.ticket);
    }
}

/// A request that was given up while its message waited must not be sent: the answer would be taken for that
/// of the next request of its command. Only a client that leaves the other server at this very moment can
/// give it up unseen.
bool is_still_wanted(const ipc_message &message) {
    return message.header.kind != k_ipc_kind_request ||
           ipc_pending_waits(message.header.route, message.header.command, message.ticket);
}

/// Sends to a client that was found. The requester is woken by the response, or here if there will be none.
void send_to(ipc_client *client, const ipc_message &message) {
    if (!is_still_wanted(message)) {
        return;
    }
    const bool sent = ipc_wire_build(client->output, message.header, ipc_message_payload(message)) &&
                      ipc_server_send_message(client) == 0;
    if (!sent || message.header.kind != k_ipc_kind_request) {
        give_up(message);
    }
}

/// The client may have come to the other server meanwhile.
int ipc_client_access_work_around(thread *task) {
    auto *message = static_cast<ipc_message *>(task->arg);
    message->retried = true;
    message->server->relays_waiting -= is_relayed(*message) ? 1 : 0;
    ipc_message_pass_on(*message->server, message);
    return 0;
}

} // namespace

void protoipc_pkt_create_send(ipc_server &server, ipc_message *message) {
    message->server = &server;
    ipc_client *client = ipc_client_of_route(server, message->header.route);
    if (client != nullptr) {
        send_to(client, *message);
        std::free(message);
        return;
    }
    const bool fits = !is_relayed(*message) || server.relays_waiting < k_relays_waiting_max;
    if (message->retried || !fits ||
        thread_add_timer_msec(server.master, ipc_client_access_work_around, message, k_retry_ms) == nullptr) {
        give_up(*message);
        std::free(message);
        return;
    }
    server.relays_waiting += is_relayed(*message) ? 1 : 0;
}

void ipc_message_pass_on(ipc_server &here, ipc_message *message) {
    if (ipc_server_of_route(message->header.route) == &here) {
        protoipc_pkt_create_send(here, message);
    } else {
        ipc_message_hand_over(message);
    }
}
