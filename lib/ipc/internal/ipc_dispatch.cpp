#include "lib/ipc/internal/ipc_dispatch.h"

#include "lib/base/bytes.h"
#include "lib/base/log.h"
#include "lib/base/result.h"
#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_client_output.h"
#include "lib/ipc/internal/ipc_handlers.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/internal/ipc_server.h"
#include "lib/ipc/ipc_names.h"
#include "lib/ipc/ipc_settings.h"

namespace {

constexpr uint16_t k_command_greeting = 59;

void greet(ipc_client *client) {
    uint8_t value[4];
    put_be32(value, ipc_get_settings().route2_greeting);
    const std::span<const uint8_t> payload =
        client->route == 2 ? std::span<const uint8_t>(value) : std::span<const uint8_t>();
    if (ipc_wire_build(client->output, {client->route, k_command_greeting, k_ipc_kind_one_way, 0}, payload)) {
        ignore_result(ipc_server_send_message(client)); // a client that cannot be written to is closing
    }
}

/// The first payload byte is the route the client serves; without one it is 0, which no client can serve.
void take_hello(ipc_client *client, std::span<const uint8_t> payload) {
    const uint8_t route = payload.empty() ? 0 : payload[0];
    if (!ipc_route_valid(route)) {
        if (ipc_logs()) {
            ipc_log_notice("client %d says hello with non exist protocol id \"%d\".", client->fd, route);
        }
        return;
    }
    if (ipc_logs()) {
        ipc_log_notice("client %d says hello and bids fair to configure %s protocol.", client->fd,
                       ipc_route_name(route));
    }
    if (route != client->route) {
        ipc_route_left(client);
        ipc_route_joined(client, route);
    }
    if (ipc_get_settings().greet_clients && route <= 2) {
        greet(client);
    }
}

/// Books what is not for a handler: a response completes a request, a request waits on its route.
void book(const ipc_client *client, const ipc_header &header, std::span<const uint8_t> payload) {
    if (ipc_logs_detailed()) {
        ipc_log_debug(
            "proto_ipc message received a packet with command [%s] from protocol[%s] with length %d",
            ipc_command_name(header.command), ipc_route_name(header.route), static_cast<int>(payload.size()));
    }
    if (header.kind == k_ipc_kind_response) {
        ignore_result(process_ipc_response(header, payload)); // nobody waits any more: dropped
    } else if (header.kind == k_ipc_kind_request) {
        ignore_result(ipc_pending_book_of_client(header, client)); // refused: not booked, and not answered
    }
}

} // namespace

void ipc_dispatch(ipc_client *client, const ipc_header &header, std::span<const uint8_t> payload) {
    if (!ipc_route_valid(header.route) || !ipc_command_valid(header.command)) {
        if (ipc_logs()) {
            ipc_log_info("Protocol IPC mechanism received unknown proto %d and/or command %d", header.route,
                         header.command);
        }
        return;
    }
    if (header.command == k_ipc_command_hello) {
        return take_hello(client, payload);
    }
    if (header.kind == k_ipc_kind_one_way && ipc_relays_started() &&
        ipc_handler_exists(header.route, header.command)) {
        return ipc_handler_run(*client->server, header, payload);
    }
    book(client, header, payload);
}
