#pragma once

#include <cstdint>

// Which child process serves which connection, as the listening process knows it.

/// Connections served at a time; one more is accepted and closed at once.
inline constexpr int32_t k_tcp_clients_max = 10;

/// What client_table_op does; `client` is a process id and a socket.
enum client_table_operation : int32_t {
    k_client_add = 0,              // 0, or -1 when the table is full
    k_client_remove_by_pid = 1,    // 0, or -2 when not found
    k_client_remove_by_socket = 2, // 0, or -2 when not found
    k_client_find = 3,             // the socket of a process id, or -3 when not found
    k_client_clear = 4,            // 0
};

/// The table of the at most 10 connection children; the first match in index order counts. Another operation
/// does nothing and returns 0.
int32_t client_table_op(int32_t process_id, int32_t socket, int32_t operation);
