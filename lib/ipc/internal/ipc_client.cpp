#include "lib/ipc/internal/ipc_client.h"

#include "lib/base/log.h"
#include "lib/base/unique_fd.h"
#include "lib/ipc/internal/ipc_client_input.h"
#include "lib/ipc/internal/ipc_client_output.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/internal/ipc_server.h"

#include <cstdlib>
#include <malloc.h>

namespace {

constexpr size_t k_stream_size = 65536;

void free_client(ipc_client *client) {
    stream_free(client->input);
    stream_free(client->output);
    buffer_free(client->out_buffer);
    std::free(client);
}

} // namespace

void ipc_client_add(ipc_server &server, int fd) {
    unique_fd owned(fd);
    auto *client = static_cast<ipc_client *>(std::calloc(1, sizeof(ipc_client)));
    if (client != nullptr) {
        client->fd = fd;
        client->server = &server;
        client->input = stream_new(k_stream_size);
        client->output = stream_new(k_stream_size);
        client->out_buffer = buffer_new(0);
        if (client->input != nullptr && client->output != nullptr && client->out_buffer != nullptr &&
            ipc_client_read_on(client) && ipc_list_add(&server.clients, client)) {
            owned.release();
            return;
        }
        thread_cancel(client->read_task);
        free_client(client);
    }
    ipc_log_alloc_limit();
}

void ipc_client_close(ipc_client *client) {
    ipc_route_left(client);
    ipc_pending_drop_client(client);
    thread_cancel(client->read_task);
    ipc_client_end_output(client);
    ::close(client->fd);
    ipc_list &clients = client->server->clients;
    ipc_list_delete(&clients, client);
    free_client(client);
    if (clients.count == 0) {
        ::malloc_trim(0); // what many clients took lies scattered, and would stay
    }
}
