#include "lib/ipc/internal/ipc_queue.h"

#include "lib/base/mutex_guard.h"
#include "lib/ipc/internal/ipc_delivery.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/internal/ipc_server.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <sys/eventfd.h>
#include <utility>

namespace {

ipc_message *take_all(ipc_queue &queue) {
    const mutex_guard guard(queue.mutex);
    queue.tail = nullptr;
    return std::exchange(queue.head, nullptr);
}

} // namespace

ipc_message *ipc_message_new(const ipc_header &header, std::span<const uint8_t> payload, ipc_ticket ticket) {
    if (payload.size() > k_ipc_payload_max) {
        return nullptr;
    }
    void *memory = std::malloc(sizeof(ipc_message) + payload.size());
    if (memory == nullptr) {
        return nullptr;
    }
    auto *message = new (memory) ipc_message{nullptr, nullptr, header, ticket, false, payload.size()};
    std::copy(payload.begin(), payload.end(), reinterpret_cast<uint8_t *>(message + 1));
    return message;
}

std::span<const uint8_t> ipc_message_payload(const ipc_message &message) {
    return {reinterpret_cast<const uint8_t *>(&message + 1), message.payload_length};
}

void ipc_message_hand_over(ipc_message *message) {
    ipc_server &server = *ipc_server_of_route(message->header.route);
    message->next = nullptr; // it may come from the other server's queue
    const mutex_guard guard(server.queue.mutex);
    (server.queue.tail != nullptr ? server.queue.tail->next : server.queue.head) = message;
    server.queue.tail = message;
    // Under the mutex, so that the thread finds the queue and the wake-up in step. It cannot fail: the
    // counter is far from full.
    ::eventfd_write(server.wake_fd, 1);
}

int ipc_take_messages(thread *task) {
    auto &server = *static_cast<ipc_server *>(task->arg);
    thread_add_read(server.master, ipc_take_messages, &server, server.wake_fd);
    eventfd_t count = 0;
    ::eventfd_read(server.wake_fd, &count);
    for (ipc_message *message = take_all(server.queue); message != nullptr;) {
        ipc_message *next = message->next;
        protoipc_pkt_create_send(server, message);
        message = next;
    }
    return 0;
}
