#include "lib/ipc/internal/ipc_pending.h"

#include "lib/base/mutex_guard.h"
#include "lib/ipc/ipc_list.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <pthread.h>

namespace {

struct pending_request {
    ipc_request request;
    ipc_ticket ticket;
    const ipc_client *client; // who sent it; null: this process
    ipc_header own_header;    // of a request that a client sent
};

/// The spin lock is the route's own and guards one booking against another. It may be released by who does
/// not hold it: the clearing of a route does so, before and after its walk. What keeps the list whole is the
/// mutex.
struct route_slot {
    ipc_list requests;
    std::atomic<bool> locked;
    pthread_mutex_t list_mutex;
};

std::array<route_slot, k_ipc_route_max + 1> s_routes = {}; // by route; slot 0 is not used

void spin_release(route_slot &slot) { slot.locked.store(false, std::memory_order_release); }

/// Holds a route for a booking or a match.
class [[nodiscard]] booking_guard {
public:
    explicit booking_guard(route_slot &slot) : m_slot(slot) {
        while (slot.locked.exchange(true, std::memory_order_acquire)) {
        }
        pthread_mutex_lock(&slot.list_mutex);
    }
    booking_guard(const booking_guard &) = delete;
    booking_guard &operator=(const booking_guard &) = delete;
    ~booking_guard() {
        pthread_mutex_unlock(&m_slot.list_mutex);
        spin_release(m_slot);
    }

private:
    route_slot &m_slot;
};

template<typename F> pending_request *find(const route_slot &slot, F matches) {
    for (ipc_list_node *node = slot.requests.head; node != nullptr; node = node->next) {
        auto *pending = static_cast<pending_request *>(node->data);
        if (matches(*pending)) {
            return pending;
        }
    }
    return nullptr;
}

pending_request *find_command(const route_slot &slot, uint16_t command) {
    return find(slot, [=](const pending_request &p) { return p.request.header->command == command; });
}

pending_request *find_ticket(const route_slot &slot, uint16_t command, ipc_ticket ticket) {
    return find(slot, [=](const pending_request &p) {
        return p.request.header->command == command && p.ticket == ticket;
    });
}

bool in_range(const ipc_header &header) {
    return ipc_route_valid(header.route) && ipc_command_valid(header.command);
}

/// Takes a record off its route and frees it.
void drop_record(route_slot &slot, pending_request *record) {
    ipc_list_delete(&slot.requests, record);
    std::free(record);
}

/// The same, and wakes the sender: last, since a record's pointers are good only until then.
void release_record(route_slot &slot, pending_request *record) {
    const uint16_t command = record->request.header->command;
    const ipc_ticket ticket = record->ticket;
    drop_record(slot, record);
    ipc_gate_answer(command, ticket);
}

pending_request *make_record(const pending_request &content) {
    auto *record = static_cast<pending_request *>(std::malloc(sizeof(pending_request)));
    if (record != nullptr) {
        *record = content;
        if (content.client != nullptr) {
            record->request.header = &record->own_header;
        }
    }
    return record;
}

int32_t book_locked(route_slot &slot, const pending_request &content) {
    pending_request *earlier = find_command(slot, content.request.header->command);
    if (earlier != nullptr && (content.client != nullptr || earlier->client == nullptr)) {
        return -1;
    }
    pending_request *record = make_record(content);
    if (record == nullptr || !ipc_list_add(&slot.requests, record)) {
        std::free(record);
        return -1;
    }
    if (earlier != nullptr) {
        drop_record(slot, earlier);
    }
    return 0;
}

int32_t book(const pending_request &content) {
    if (!in_range(*content.request.header)) {
        return -1;
    }
    route_slot &slot = s_routes[content.request.header->route];
    const booking_guard guard(slot);
    return book_locked(slot, content);
}

void take_reply(std::span<uint8_t> reply, std::span<const uint8_t> payload) {
    std::ranges::copy(payload.first(std::min(reply.size(), payload.size())), reply.begin());
}

} // namespace

void ipc_pending_init() {
    for (route_slot &slot : s_routes) {
        pthread_mutex_init(&slot.list_mutex, nullptr);
        spin_release(slot);
    }
}

int32_t process_ipc_request(const ipc_request &request, ipc_ticket ticket) {
    return book({request, ticket, nullptr, {}});
}

int32_t ipc_pending_book_of_client(const ipc_header &header, const ipc_client *client) {
    ipc_header own = header;
    return book({{&own, {}}, 0, client, header});
}

void ipc_pending_drop_client(const ipc_client *client) {
    const auto is_its_own = [=](const pending_request &p) { return p.client == client; };
    for (route_slot &slot : s_routes) {
        const mutex_guard guard(slot.list_mutex);
        while (pending_request *record = find(slot, is_its_own)) {
            drop_record(slot, record);
        }
    }
}

int32_t process_ipc_response(const ipc_header &header, std::span<const uint8_t> payload) {
    if (!in_range(header)) {
        return -1;
    }
    route_slot &slot = s_routes[header.route];
    const booking_guard guard(slot);
    pending_request *record = find_command(slot, header.command);
    if (record == nullptr) {
        return -1;
    }
    record->request.header->status = header.status;
    if (header.status == 0) {
        take_reply(record->request.reply, payload);
    }
    release_record(slot, record);
    return 0;
}

bool ipc_pending_waits(uint8_t route, uint16_t command, ipc_ticket ticket) {
    route_slot &slot = s_routes[route];
    const mutex_guard guard(slot.list_mutex);
    return find_ticket(slot, command, ticket) != nullptr;
}

void ipc_pending_give_up(uint8_t route, uint16_t command, ipc_ticket ticket) {
    route_slot &slot = s_routes[route];
    const mutex_guard guard(slot.list_mutex);
    pending_request *record = find_ticket(slot, command, ticket);
    if (record != nullptr) {
        release_record(slot, record);
    }
}

void ipc_clear_proto_locks(uint8_t route) {
    if (!ipc_route_valid(route)) {
        return;
    }
    route_slot &slot = s_routes[route];
    spin_release(slot);
    {
        const mutex_guard guard(slot.list_mutex);
        while (slot.requests.head != nullptr) {
            release_record(slot, static_cast<pending_request *>(slot.requests.head->data));
        }
    }
    spin_release(slot);
}
