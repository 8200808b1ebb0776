#pragma once

#include "lib/base/unique_fd.h"

#include <cstdint>
#include <span>
#include <string>

/// A Modbus TCP client with one connection and one request at a time. After a call that failed, `error` says
/// why in words for the user and the connection is closed.
struct mb_client {
    unique_fd socket;
    uint16_t transaction = 0;  // of the last request
    int32_t timeout_ms = 5000; // for a connection to be made, and for a reply to be whole
    std::string error;
};

/// Connects to a host name or an IPv4 or IPv6 address, trying all addresses of the name in turn.
[[nodiscard]] bool mb_client_connect(mb_client &client, const char *host, uint16_t port);

/// Reads values.size() input registers from register `number` on.
[[nodiscard]] bool mb_client_read_input(mb_client &client, uint16_t number, std::span<uint16_t> values);
