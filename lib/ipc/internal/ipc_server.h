#pragma once

#include "lib/ipc/internal/ipc_queue.h"
#include "lib/ipc/ipc_list.h"
#include "lib/ipc/ipc_thread.h"
#include "lib/ipc/ipc_wire.h"

#include <array>
#include <atomic>
#include <cstdint>

/// One IPC server. Everything but its queue and `clients_of` belongs to its own thread.
struct ipc_server {
    const char *path = nullptr;
    bool started = false; // the start was tried
    scheduler_master *master = nullptr;
    thread *accept_task = nullptr; // null while nobody can be accepted, for want of descriptors or memory
    int listen_fd = -1;
    int spare_fd = -1; // given up for a moment when descriptors run out, to turn a waiting peer away
    int wake_fd = -1;  // readable while the queue holds messages
    ipc_list clients = {};
    ipc_queue queue = {};
    std::array<std::atomic<int32_t>, k_ipc_route_max + 1> clients_of = {}; // by the route of their hello
    uint32_t relays_waiting = 0; // messages of clients that have found no client of their route yet
};

/// Whether the calling thread is that of a server.
bool ipc_on_server_thread();
