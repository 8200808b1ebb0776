#include "lib/ipc/ipc_pending.h"
#include "lib/ipc/ipc_server.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr int32_t k_retry_ms = 150;
constexpr uint32_t k_relays_waiting_max = 1024;

// The server that a client of the route joined last, by route. Null: there was none.
std::array<std::atomic<ipc_server *>, k_ipc_route_max + 1> s_last_joined = {};
std::atomic<ipc_server *> s_management = nullptr; // null, like the next one: does not run
std::atomic<ipc_server *> s_other = nullptr;

ipc_server *default_server() {
    ipc_server *management = s_management;
    return management != nullptr ? management : s_other.load();
}

/// The server that has the client of a route: of two the one that was joined last.
ipc_server *server_of(uint8_t route) {
    if (!ipc_route_valid(route)) {
        return default_server();
    }
    for (ipc_server *server : {s_last_joined[route].load(), s_management.load(), s_other.load()}) {
        if (server != nullptr && server->clients_of[route] > 0) {
            return server;
        }
    }
    return default_server();
}

uint8_t *payload_behind(ipc_message *message) { return reinterpret_cast<uint8_t *>(message + 1); }

/// Wakes whoever waits for a message that reaches nobody, or that nobody answers.
void give_up(const ipc_message &message) {
    if (message.ticket == 0) {
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
void send_to(ipc_client *client, ipc_message &message) {
    if (!is_still_wanted(message)) {
        return;
    }
    const std::span<const uint8_t> payload(payload_behind(&message), message.payload_length);
    const bool sent =
        ipc_wire_build(client->output, message.header, payload) && ipc_server_send_message(client) == 0;
    if (!sent || message.header.kind != k_ipc_kind_request) {
        give_up(message);
    }
}

bool is_relayed(const ipc_message &message) { return message.ticket == 0; }

/// The client may have come to the other server meanwhile.
int ipc_client_access_work_around(thread *task) {
    auto *message = static_cast<ipc_message *>(task->arg);
    message->retried = true;
    message->server->relays_waiting -= is_relayed(*message) ? 1 : 0;
    ipc_message_pass_on(*message->server, message);
    return 0;
}

ipc_message *take_queue(ipc_server &server) {
    pthread_mutex_lock(&server.queue_mutex);
    ipc_message *first = server.queue_head;
    server.queue_head = nullptr;
    server.queue_tail = nullptr;
    pthread_mutex_unlock(&server.queue_mutex);
    return first;
}

} // namespace

ipc_message *ipc_message_new(const ipc_header &header, std::span<const uint8_t> payload, ipc_ticket ticket) {
    void *memory = std::malloc(sizeof(ipc_message) + payload.size());
    if (memory == nullptr) {
        return nullptr;
    }
    auto *message = new (memory) ipc_message{nullptr, nullptr, header, ticket, false, payload.size()};
    std::copy(payload.begin(), payload.end(), payload_behind(message));
    return message;
}

void ipc_message_hand_over(ipc_message *message) {
    ipc_server &server = *server_of(message->header.route);
    message->next = nullptr; // it may come from the other server's queue
    pthread_mutex_lock(&server.queue_mutex);
    if (server.queue_tail == nullptr) {
        server.queue_head = message;
    } else {
        server.queue_tail->next = message;
    }
    server.queue_tail = message;
    // Under the mutex, so that the thread finds the queue and the wake-up in step. It cannot fail: the
    // counter is far from full.
    ::eventfd_write(server.wake_fd, 1);
    pthread_mutex_unlock(&server.queue_mutex);
}

void ipc_route_joined(uint8_t route, ipc_server *server) {
    server->clients_of[route]++;
    s_last_joined[route] = server;
}

void ipc_route_left(uint8_t route, ipc_server *server) { server->clients_of[route]--; }

void ipc_server_runs(ipc_server *server, bool management) { (management ? s_management : s_other) = server; }

bool ipc_any_server_started() { return default_server() != nullptr; }

bool ipc_relays_started() { return s_management != nullptr; }

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
    if (server_of(message->header.route) == &here) {
        protoipc_pkt_create_send(here, message);
    } else {
        ipc_message_hand_over(message);
    }
}

int ipc_take_messages(thread *task) {
    auto &server = *static_cast<ipc_server *>(task->arg);
    thread_add_read(server.master, ipc_take_messages, &server, server.wake_fd);
    eventfd_t count = 0;
    ::eventfd_read(server.wake_fd, &count);
    for (ipc_message *message = take_queue(server); message != nullptr;) {
        ipc_message *next = message->next;
        protoipc_pkt_create_send(server, message);
        message = next;
    }
    return 0;
}
