#pragma once

#include "lib/base/bytes.h"
#include "lib/base/local_socket.h"
#include "lib/base/unique_fd.h"
#include "lib/ipc/ipc_api.h"
#include "tests/support/eventually.h"
#include "tests/support/private_mounts.h"
#include "tests/support/syslog_capture.h"

#include <algorithm>
#include <cstdint>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

// What the tests of the IPC servers share: clients over raw sockets, and requests of the process itself.

using octets = std::vector<uint8_t>;

inline octets message(const ipc_header &header, const octets &payload, uint8_t marker = 255,
                      uint8_t version = 1) {
    octets bytes = {0, 0, marker, version, header.route, 0, 0, header.kind, uint8_t(header.status)};
    put_be16(&bytes[0], static_cast<uint16_t>(bytes.size() + payload.size()));
    put_be16(&bytes[5], header.command);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

inline octets hello(uint8_t route) {
    return message({route, k_ipc_command_hello, k_ipc_kind_one_way, 0}, {route});
}
inline octets asked(uint8_t route, uint16_t command, const octets &payload = {}) {
    return message({route, command, k_ipc_kind_request, k_ipc_status_unanswered}, payload);
}
inline octets response(uint8_t route, uint16_t command, int32_t status, const octets &payload = {}) {
    return message({route, command, k_ipc_kind_response, status}, payload);
}
inline octets one_way(uint8_t route, uint16_t command, size_t size) {
    return message({route, command, k_ipc_kind_one_way, 0}, octets(size, 0x5A));
}

/// A protocol daemon, as the server sees it.
class peer {
public:
    /// Connects and says hello for `route`; 0 says nothing. Receiving ends after `patience_ms`.
    explicit peer(uint8_t route, const char *path = k_ipc_serv_path, int patience_ms = 10000) {
        const timeval patience = {patience_ms / 1000, patience_ms % 1000 * 1000};
        ::setsockopt(m_fd.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        connect(path);
        if (route != 0) {
            send(hello(route));
            // Its own message through the relay, or an answered request, comes after the hello: messages of
            // one client are taken in order. Senders wait 150 ms for a client, so no more needs waiting for.
        }
    }
    peer() = default;

    void connect(const char *path) const {
        local_address at{};
        EXPECT_TRUE(local_address_of(path, &at));
        EXPECT_EQ(0, ::connect(m_fd.get(), reinterpret_cast<const sockaddr *>(&at.name), at.length));
    }
    void close() { m_fd.reset(); }
    void stop_reading() const { EXPECT_EQ(0, ::shutdown(m_fd.get(), SHUT_RD)); }
    void send(const octets &bytes) const { EXPECT_TRUE(try_send(bytes)); }
    /// False when the server has turned this peer away.
    [[nodiscard]] bool try_send(const octets &bytes) const {
        return ::send(m_fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == ssize_t(bytes.size());
    }
    /// One whole message; empty at the end of the connection.
    [[nodiscard]] octets receive() const {
        octets bytes = receive_bytes(k_ipc_header_size);
        if (bytes.size() == k_ipc_header_size) {
            const octets rest = receive_bytes(get_be16(&bytes[0]) - size_t{k_ipc_header_size});
            bytes.insert(bytes.end(), rest.begin(), rest.end());
        }
        return bytes;
    }
    [[nodiscard]] bool is_closed() const {
        uint8_t byte = 0;
        return ::recv(m_fd.get(), &byte, 1, 0) == 0;
    }

private:
    [[nodiscard]] octets receive_bytes(size_t size) const {
        octets bytes(size);
        const ssize_t got = size == 0 ? 0 : ::recv(m_fd.get(), bytes.data(), size, MSG_WAITALL);
        bytes.resize(size_t(std::max(got, ssize_t{0})));
        return bytes;
    }

    unique_fd m_fd{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

/// Sends from one client to that of route 1 or 5: by then the server has taken all that `from` sent before.
inline void relay(const peer &from, const peer &to, uint8_t route) {
    const octets bytes = route == 1 ? one_way(1, 258, 1) : one_way(5, 254, 44);
    from.send(bytes);
    EXPECT_EQ(bytes, to.receive());
}

/// Waits until the server has taken what any client has sent before; `client` is that of route 1 or 5.
inline void settle(const peer &client, uint8_t route) {
    relay(client, client, route); // in the pass that finds the others' bytes, or in a later one
    relay(client, client, route);
}

using answered = std::pair<int32_t, octets>; // status, and a reply buffer that was full of 0xEE

/// Sends a request of this process from a thread of its own.
inline std::future<answered> ask(uint8_t route, uint16_t command, const octets &payload = {},
                                 size_t reply_size = 0) {
    return std::async(std::launch::async, [=] {
        ipc_header header = {route, command, k_ipc_kind_request, k_ipc_status_unanswered};
        octets reply(reply_size, 0xEE);
        protoipc_send_request(&header, payload.data(), static_cast<int32_t>(payload.size()), reply.data(),
                              static_cast<int32_t>(reply.size()));
        return answered(header.status, reply);
    });
}
const answered k_unanswered = {k_ipc_status_unanswered, {}};
const answered k_done = {0, {}};

/// A message of this process that awaits no answer.
inline void send_out(const ipc_header &header, const octets &payload) {
    ipc_header sent = header;
    protoipc_send_request(&sent, payload.data(), static_cast<int32_t>(payload.size()), nullptr, 0);
}
inline void send_one_way(uint8_t route, uint16_t command, const octets &payload) {
    send_out({route, command, k_ipc_kind_one_way, 0}, payload);
}

/// Whether a line is logged: its priority, a blank, and part of its text.
inline bool logged(const std::string &line) {
    static auto *s_seen = new std::vector<std::string>;
    return eventually([&] {
        std::ranges::move(syslog_take_texts(), std::back_inserter(*s_seen));
        return std::ranges::any_of(*s_seen, [&](const std::string &text) {
            return text[0] == line[0] && text.find(line.substr(2)) != std::string::npos;
        });
    });
}

class IpcServer : public testing::Test {
protected:
    IpcServer() {
        if (!with_empty_directories({"/tmp"})) {
            std::abort();
        }
        EXPECT_EQ(0, ipc_serv_start());
    }
};
