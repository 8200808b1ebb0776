#include "lib/ipc/internal/ipc_client_output.h"

#include "lib/base/log.h"
#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_server.h"
#include "lib/ipc/ipc_settings.h"

#include <atomic>
#include <malloc.h>
#include <sys/socket.h>

namespace {

// From here on a queue's memory goes back to the system once it is empty: whatever was allocated meanwhile
// lies above it, and free alone does not shrink the heap below that.
constexpr size_t k_large_queue = 1U << 20;

std::atomic<size_t> s_queued_for_all = 0; // bytes, of both servers' clients

/// Brings the counts up to date with the client's buffer.
void count_queued(ipc_client *client) {
    const size_t queued = buffer_queued(client->out_buffer);
    s_queued_for_all += queued - client->queued; // wraps when there are fewer, and the sum wraps back
    client->queued = queued;
    if (queued > k_large_queue) {
        client->was_large = true;
    } else if (queued == 0 && client->was_large) {
        client->was_large = false;
        ::malloc_trim(0);
    }
}

int ipc_serv_delayed_close(thread *task) {
    auto *client = static_cast<ipc_client *>(task->arg);
    client->close_event = nullptr;
    ipc_client_close(client);
    return 0;
}

/// Closes a client in the next pass, when nobody holds it any more. What waits for it is freed now: it may be
/// closed for the memory.
void close_soon(ipc_client *client) {
    buffer_reset(client->out_buffer);
    count_queued(client);
    client->close_event = thread_add_event(client->server->master, ipc_serv_delayed_close, client, 0);
    if (client->close_event == nullptr) {
        ::shutdown(client->fd, SHUT_RDWR); // its reader finds the end of the connection
    }
}

void close_over_limit(ipc_client *client, uint32_t limit) {
    if (ipc_logs()) {
        ipc_log_warn("more than %u bytes wait to be read, of them %zu by ipc_serv client fd %d, closing",
                     limit, client->queued, client->fd);
    }
    close_soon(client);
}

ipc_client *with_most_queued(const ipc_server &server) {
    ipc_client *most = nullptr;
    for (const ipc_list_node *node = server.clients.head; node != nullptr; node = node->next) {
        auto *client = static_cast<ipc_client *>(node->data);
        if (most == nullptr || client->queued > most->queued) {
            most = client;
        }
    }
    return most;
}

/// Holds the limits, `client` being one that bytes wait for. Returns false when it is being closed for them.
bool keep_limits(ipc_client *client) {
    const ipc_settings &settings = ipc_get_settings();
    if (client->queued > settings.client_queue_bytes) {
        close_over_limit(client, settings.client_queue_bytes);
        return false;
    }
    while (s_queued_for_all > settings.all_queues_bytes) {
        ipc_client *most = with_most_queued(*client->server);
        close_over_limit(most, settings.all_queues_bytes);
        if (most == client) {
            return false;
        }
    }
    return true;
}

int ipc_serv_flush_data(thread *task);

void flush_later(ipc_client *client) {
    if (client->write_task == nullptr) {
        client->write_task =
            thread_add_write(client->server->master, ipc_serv_flush_data, client, client->fd);
    }
}

int ipc_serv_flush_data(thread *task) {
    auto *client = static_cast<ipc_client *>(task->arg);
    client->write_task = nullptr;
    if (client->close_event != nullptr) {
        ipc_client_close(client);
        return -1;
    }
    const int32_t result = buffer_flush_available(client->out_buffer, client->fd);
    count_queued(client);
    if (result == k_buffer_error) {
        if (ipc_logs()) {
            ipc_log_warn("%s: buffer_flush_available failed on ipc_serv client fd %d, closing", __func__,
                         client->fd);
        }
        ipc_client_close(client);
        return -1;
    }
    if (result == k_buffer_pending) {
        flush_later(client);
    }
    return 0;
}

void cancel(thread *&task) {
    thread_cancel(task);
    task = nullptr;
}

} // namespace

int32_t ipc_server_send_message(ipc_client *client) {
    if (client->close_event != nullptr) {
        return -1;
    }
    const int32_t result = buffer_write(client->out_buffer, client->fd, stream_pnt(client->output),
                                        stream_get_endp(client->output));
    count_queued(client);
    if (result == k_buffer_empty) {
        cancel(client->write_task);
        return 0;
    }
    if (result == k_buffer_pending) {
        flush_later(client);
        return keep_limits(client) ? 0 : -1;
    }
    if (ipc_logs()) {
        ipc_log_warn("%s: buffer_write failed to ipc_serv client fd %d, closing", __func__, client->fd);
    }
    close_soon(client);
    return -1;
}

void ipc_client_end_output(ipc_client *client) {
    cancel(client->write_task);
    cancel(client->close_event);
    buffer_reset(client->out_buffer);
    count_queued(client);
}
