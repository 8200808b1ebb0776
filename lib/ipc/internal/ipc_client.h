#pragma once

#include "lib/cli/buffer.h"
#include "lib/ipc/ipc_stream.h"
#include "lib/ipc/ipc_thread.h"

#include <cstddef>
#include <cstdint>

struct ipc_server;

/// One accepted connection. Belongs to the thread of its server.
struct ipc_client {
    int fd;
    uint8_t route; // 0 until its hello
    stream *input;
    stream *output;
    buffer *out_buffer;
    size_t queued;  // bytes in it, as they are counted for all clients
    bool was_large; // it has held much since it was last empty
    thread *read_task;
    thread *write_task;
    thread *close_event; // not null: it is closing, and nothing more is sent to it
    ipc_server *server;
};

/// Makes a client of an accepted descriptor and reads from it. Closes the descriptor when memory is out
/// or the scheduler cannot wait for it.
void ipc_client_add(ipc_server &server, int fd);

/// Gives up the requests of its route, drops what it booked itself, closes and frees it.
void ipc_client_close(ipc_client *client);
