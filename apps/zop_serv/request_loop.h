#pragma once

// IPC requests to be watched from both ends: the client of a route is asked once a second.

/// Reads whom to ask for what: "ROUTE,COMMAND". Returns false when that is none.
[[nodiscard]] bool request_loop_parse(const char *what);

/// Asks from now on, in a thread of its own, and prints what comes of it. After ipc_serv_start. Returns false
/// when there is no thread to be had.
[[nodiscard]] bool request_loop_start();
