#include "lib/ipc/internal/ipc_routes.h"

#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_server.h"
#include "lib/ipc/ipc_api.h"

#include <array>
#include <atomic>

namespace {

// The server that a client of the route joined last, by route. Null: there was none.
std::array<std::atomic<ipc_server *>, k_ipc_route_max + 1> s_last_joined = {};
std::array<std::atomic<uint32_t>, k_ipc_route_max + 1> s_changes = {}; // clients that came or left, by route
std::atomic<ipc_server *> s_management = nullptr; // null, like the next one: does not run
std::atomic<ipc_server *> s_other = nullptr;

ipc_server *default_server() {
    ipc_server *management = s_management;
    return management != nullptr ? management : s_other.load();
}

} // namespace

void ipc_route_joined(ipc_client *client, uint8_t route) {
    client->route = route;
    s_changes[route]++; // first, so that whoever finds the route served has the number of this client
    client->server->clients_of[route]++;
    s_last_joined[route] = client->server;
}

void ipc_route_left(ipc_client *client) {
    if (client->route != 0) {
        s_changes[client->route]++;
        client->server->clients_of[client->route]--;
        ipc_clear_proto_locks(client->route);
    }
}

void ipc_server_runs(ipc_server *server, bool management) { (management ? s_management : s_other) = server; }

bool ipc_any_server_started() { return default_server() != nullptr; }

bool ipc_relays_started() { return s_management != nullptr; }

bool ipc_route_is_served(uint8_t route) {
    if (!ipc_route_valid(route)) {
        return false;
    }
    const auto serves = [=](const ipc_server *server) {
        return server != nullptr && server->clients_of[route] > 0;
    };
    return serves(s_management) || serves(s_other);
}

uint32_t ipc_route_changes(uint8_t route) { return ipc_route_valid(route) ? s_changes[route].load() : 0; }

ipc_server *ipc_server_of_route(uint8_t route) {
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

ipc_client *ipc_client_of_route(const ipc_server &server, uint8_t route) {
    for (const ipc_list_node *node = server.clients.head; node != nullptr; node = node->next) {
        auto *client = static_cast<ipc_client *>(node->data);
        if (route != 0 && client->route == route) {
            return client;
        }
    }
    return nullptr;
}
