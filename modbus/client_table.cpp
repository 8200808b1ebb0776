#include "modbus/client_table.h"

#include <algorithm>
#include <array>

namespace {

struct client_entry {
    int32_t process_id; // -1: the entry is free
    int32_t socket;
};

constexpr client_entry k_free_entry = {-1, -1};

std::array<client_entry, k_tcp_clients_max> s_clients; // cleared by tcp_port_init

template<typename T> client_entry *find_by(T client_entry::*field, int32_t value) {
    const auto found = std::find_if(s_clients.begin(), s_clients.end(),
                                    [&](const client_entry &entry) { return entry.*field == value; });
    return found == s_clients.end() ? nullptr : &*found;
}

int32_t remove_entry(client_entry *entry) {
    if (entry == nullptr) {
        return -2;
    }
    *entry = k_free_entry;
    return 0;
}

int32_t add_entry(int32_t process_id, int32_t socket) {
    client_entry *entry = find_by(&client_entry::process_id, k_free_entry.process_id);
    if (entry == nullptr) {
        return -1;
    }
    *entry = {process_id, socket};
    return 0;
}

int32_t find_socket(int32_t process_id) {
    const client_entry *entry = find_by(&client_entry::process_id, process_id);
    return entry == nullptr ? -3 : entry->socket;
}

} // namespace

int32_t client_table_op(int32_t process_id, int32_t socket, int32_t operation) {
    switch (operation) {
    case k_client_add:
        return add_entry(process_id, socket);
    case k_client_remove_by_pid:
        return remove_entry(find_by(&client_entry::process_id, process_id));
    case k_client_remove_by_socket:
        return remove_entry(find_by(&client_entry::socket, socket));
    case k_client_find:
        return find_socket(process_id);
    case k_client_clear:
        s_clients.fill(k_free_entry);
        return 0;
    default:
        return 0;
    }
}
