#include "lib/ipc/internal/ipc_client_input.h"

#include "lib/base/log.h"
#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_dispatch.h"
#include "lib/ipc/internal/ipc_server.h"
#include "lib/ipc/ipc_settings.h"

namespace {

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

progress read_message(ipc_client *client, ipc_wire_header *wire) {
    // The readable event was for the header, unless that was held before: the rest may not be there yet.
    const bool rest_may_be_missing = stream_get_endp(client->input) < k_ipc_header_size;
    const progress header = fill_input(client, k_ipc_header_size, false);
    if (header != progress::complete) {
        if (header == progress::closed && ipc_logs_detailed()) {
            ipc_log_debug("connection closed socket [%d]", client->fd);
        }
        return header;
    }
    *wire = ipc_wire_parse(client->input);
    if (!header_is_good(client, *wire)) {
        return progress::closed;
    }
    const progress rest = fill_input(client, wire->length, rest_may_be_missing);
    if (rest == progress::closed && ipc_logs_detailed()) {
        ipc_log_debug("connection closed [%d] when reading proto_ipc data", client->fd);
    }
    return rest;
}

int proto_ipc_client_read(thread *task) {
    auto *client = static_cast<ipc_client *>(task->arg);
    client->read_task = nullptr;
    if (client->close_event != nullptr) {
        return -1;
    }
    ipc_wire_header wire = {};
    const progress got = read_message(client, &wire);
    if (got == progress::complete) {
        ipc_dispatch(client, wire.header,
                     {stream_pnt(client->input), static_cast<size_t>(wire.length - k_ipc_header_size)});
        stream_reset(client->input);
    }
    if (got == progress::closed || client->close_event != nullptr) {
        ipc_client_close(client);
        return -1;
    }
    ipc_client_read_on(client);
    return 0;
}

} // namespace

bool ipc_client_read_on(ipc_client *client) {
    client->read_task = thread_add_read(client->server->master, proto_ipc_client_read, client, client->fd);
    return client->read_task != nullptr;
}
