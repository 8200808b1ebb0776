#include "lib/base/bytes.h"
#include "lib/base/log.h"
#include "lib/base/result.h"
#include "lib/ipc/ipc_names.h"
#include "lib/ipc/ipc_pending.h"
#include "lib/ipc/ipc_server.h"
#include "lib/ipc/ipc_settings.h"

#include <cstdlib>
#include <unistd.h>

namespace {

constexpr size_t k_stream_size = 65536;
constexpr uint16_t k_command_greeting = 59;

int proto_ipc_client_read(thread *task);

void read_on(ipc_client *client) {
    client->read_task = thread_add_read(client->server->master, proto_ipc_client_read, client, client->fd);
}

void greet(ipc_client *client) {
    ipc_header header = {client->route, k_command_greeting, k_ipc_kind_one_way, 0};
    uint8_t value[4];
    put_be32(value, ipc_get_settings().route2_greeting);
    const std::span<const uint8_t> payload =
        client->route == 2 ? std::span<const uint8_t>(value) : std::span<const uint8_t>();
    if (ipc_wire_build(client->output, header, payload)) {
        ignore_result(ipc_server_send_message(client)); // a client that cannot be written to is closing
    }
}

/// Nobody waits any longer for an answer of the client on the route it has served.
void leave_route(ipc_client *client) {
    if (client->route != 0) {
        ipc_route_left(client->route, client->server);
    }
    ipc_clear_proto_locks(client->route);
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
        leave_route(client);
        client->route = route;
        ipc_route_joined(route, client->server);
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

void dispatch(ipc_client *client, const ipc_header &header, std::span<const uint8_t> payload) {
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

enum class progress : uint8_t { complete, partial, closed };

/// Reads until `wanted` bytes are in the input stream, with one read. Nothing there is a short read when
/// `may_be_empty`.
progress fill_input(ipc_client *client, size_t wanted, bool may_be_empty) {
    const size_t held = stream_get_endp(client->input);
    if (held >= wanted) {
        return progress::complete;
    }
    const ssize_t got = stream_read_try(client->input, client->fd, wanted - held);
    if (got == -2 && may_be_empty) {
        return progress::partial;
    }
    if (got <= 0) {
        return progress::closed;
    }
    return held + static_cast<size_t>(got) == wanted ? progress::complete : progress::partial;
}

/// Whether a header can be served; logs why not.
bool header_is_good(const ipc_client *client, const ipc_wire_header &wire) {
    constexpr const char *k_function = "proto_ipc_client_read";
    if (wire.marker < k_ipc_marker || wire.version != k_ipc_version) {
        if (ipc_logs()) {
            ipc_log_err("%s: socket %d version mismatch, marker %d, version %d", k_function, client->fd,
                        wire.marker, wire.version);
        }
        return false;
    }
    if (wire.length < k_ipc_header_size) {
        if (ipc_logs()) {
            ipc_log_warn("%s: socket %d message length %u is less than header size %d", k_function,
                         client->fd, wire.length, k_ipc_header_size);
        }
        return false;
    }
    if (wire.length > stream_get_size(client->input)) {
        if (ipc_logs()) {
            ipc_log_warn("%s: socket %d message length %u exceeds buffer size %lu", k_function, client->fd,
                         wire.length, static_cast<unsigned long>(stream_get_size(client->input)));
        }
        return false;
    }
    return true;
}

int refuse(ipc_client *client) {
    ipc_client_close(client);
    return -1;
}

int wait_for_more(ipc_client *client) {
    read_on(client);
    return 0;
}

int proto_ipc_client_read(thread *task) {
    auto *client = static_cast<ipc_client *>(task->arg);
    client->read_task = nullptr;
    if (client->close_event != nullptr) {
        return -1;
    }
    const bool header_held = stream_get_endp(client->input) >= k_ipc_header_size;
    switch (fill_input(client, k_ipc_header_size, false)) {
    case progress::closed:
        if (ipc_logs_detailed()) {
            ipc_log_debug("connection closed socket [%d]", client->fd);
        }
        return refuse(client);
    case progress::partial:
        return wait_for_more(client);
    case progress::complete:
        break;
    }
    const ipc_wire_header wire = ipc_wire_parse(client->input);
    if (!header_is_good(client, wire)) {
        return refuse(client);
    }
    // The readable event was for the header, unless that was held before: the rest may not be there yet.
    switch (fill_input(client, wire.length, !header_held)) {
    case progress::closed:
        if (ipc_logs_detailed()) {
            ipc_log_debug("connection closed [%d] when reading proto_ipc data", client->fd);
        }
        return refuse(client);
    case progress::partial:
        return wait_for_more(client);
    case progress::complete:
        break;
    }
    dispatch(client, wire.header,
             {stream_pnt(client->input), static_cast<size_t>(wire.length - k_ipc_header_size)});
    if (client->close_event != nullptr) {
        return refuse(client);
    }
    stream_reset(client->input);
    return wait_for_more(client);
}

void free_parts(ipc_client *client) {
    stream_free(client->input);
    stream_free(client->output);
    buffer_free(client->out_buffer);
    std::free(client);
}

} // namespace

void ipc_client_add(ipc_server &server, int fd) {
    auto *client = static_cast<ipc_client *>(std::calloc(1, sizeof(ipc_client)));
    if (client != nullptr) {
        client->fd = fd;
        client->server = &server;
        client->input = stream_new(k_stream_size);
        client->output = stream_new(k_stream_size);
        client->out_buffer = buffer_new(0);
        if (client->input != nullptr && client->output != nullptr && client->out_buffer != nullptr &&
            ipc_list_add(&server.clients, client)) {
            read_on(client);
            return;
        }
        free_parts(client);
    }
    ipc_log_alloc_limit();
    ::close(fd);
}

void ipc_client_close(ipc_client *client) {
    leave_route(client);
    ipc_pending_drop_client(client);
    thread_cancel(client->read_task);
    ipc_client_end_output(client);
    ::close(client->fd);
    ipc_list_delete(&client->server->clients, client);
    free_parts(client);
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
