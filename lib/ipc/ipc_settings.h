#pragma once

#include "lib/base/local_socket.h"

#include <cstdint>

/// What the user and the group of a management process are to be while it holds no privileges. Null names and
/// a count of 0 are "none".
struct ipc_privs_settings {
    const char *user;
    const char *group;
    const char *vty_group;
    int32_t capabilities; // how many; they are not looked into
};

/// What the starting process decides about the IPC library. Filled before the first start call and only read
/// afterwards.
struct ipc_settings {
    bool log_general;                        // off: nothing that depends on a setting is logged
    bool log_detailed;                       // with log_general: the server's ordinary lines too
    bool greet_clients;                      // a hello of route 1 or 2 is answered with one-way command 59
    uint32_t route2_greeting;                // the value a route 2 client is greeted with
    const ipc_privs_settings *privs;         // null ends the starting process
    void (*on_route2_value)(uint32_t value); // takes what one-way command 20 of route 2 brings; may be null
    uint32_t client_queue_bytes;             // that may wait for a client that does not read
    uint32_t all_queues_bytes;               // that may wait for all clients of both servers
    uint32_t clients;                        // of each server; who comes when it is full is turned away
    gid_t socket_group = k_no_group;         // whose members may connect, beside this user and root
};

/// The settings of this process: both logging switches on, no greeting, no user, group or capabilities, 8 MiB
/// for a client, 32 MiB for all, 64 clients, and sockets for this user and root alone.
ipc_settings &ipc_get_settings();

/// Whether lines that need the general switch, and lines that need both, are logged.
inline bool ipc_logs() { return ipc_get_settings().log_general; }
inline bool ipc_logs_detailed() { return ipc_logs() && ipc_get_settings().log_detailed; }
