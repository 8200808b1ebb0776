#pragma once

#include "lib/base/bytes.h"
#include "lib/ipc/ipc_api.h"
#include "tests/support/private_mounts.h"
#include "tests/support/syslog_capture.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

// What the tests of the IPC servers share: clients over raw sockets, and requests of the process itself.

using octets = std::vector<uint8_t>;
using steady = std::chrono::steady_clock;

constexpr uint32_t k_greeting = 0x12345678;

inline octets message(const ipc_header &header, const octets &payload, uint8_t marker = 255,
                      uint8_t version = 1) {
    octets bytes(k_ipc_header_size);
    put_be16(&bytes[0], static_cast<uint16_t>(k_ipc_header_size + payload.size()));
    bytes[2] = marker;
    bytes[3] = version;
    bytes[4] = header.route;
    put_be16(&bytes[5], header.command);
    bytes[7] = header.kind;
    bytes[8] = static_cast<uint8_t>(header.status);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

/// A protocol daemon, as the server sees it.
class peer {
public:
    /// Connects and says hello for `route`; 0 says nothing.
    explicit peer(uint8_t route, const char *path = "/tmp/ipc_zop_serv_addr") {
        const timeval patience = {10, 0};
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        connect(path);
        if (route != 0) {
            send(message({route, k_ipc_command_hello, k_ipc_kind_one_way, 0}, {route}));
            // Its own message through the relay, or an answered request, comes after the hello: messages of
            // one client are taken in order. Senders wait 150 ms for a client, so no more needs waiting for.
        }
    }
    peer() = default;
    ~peer() { close(); }
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;

    void connect(const char *path) const {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::copy_n(path, std::strlen(path), address.sun_path);
        EXPECT_EQ(0, ::connect(m_fd, reinterpret_cast<const sockaddr *>(&address), sizeof address));
    }
    void close() {
        ::close(m_fd);
        m_fd = -1;
    }
    void send(const octets &bytes) const {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()), ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    /// The server may have turned this peer away.
    void send_quietly(const octets &bytes) const {
        EXPECT_LE(::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    /// What has arrived, or arrives within 5 ms.
    [[nodiscard]] octets receive_available() const {
        pollfd readable = {m_fd, POLLIN, 0};
        octets bytes(4096);
        const ssize_t got =
            ::poll(&readable, 1, 5) == 1 ? ::recv(m_fd, bytes.data(), bytes.size(), MSG_DONTWAIT) : 0;
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }
    [[nodiscard]] octets receive(size_t size) const {
        octets bytes(size);
        const ssize_t got = size == 0 ? 0 : ::recv(m_fd, bytes.data(), size, MSG_WAITALL);
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }
    /// One whole message; empty at the end of the connection.
    [[nodiscard]] octets receive_message() const {
        octets bytes = receive(k_ipc_header_size);
        if (bytes.size() == k_ipc_header_size) {
            const octets rest = receive(static_cast<size_t>(get_be16(&bytes[0]) - k_ipc_header_size));
            bytes.insert(bytes.end(), rest.begin(), rest.end());
        }
        return bytes;
    }

    /// Whether the server has closed the connection, or does within 10 s.
    [[nodiscard]] bool is_closed() const {
        uint8_t byte = 0;
        return ::recv(m_fd, &byte, 1, 0) == 0;
    }

private:
    int m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

class ipc_server_test : public testing::Test {
protected:
    ipc_server_test() {
        if (!with_empty_directories({"/tmp"})) {
            std::abort();
        }
        EXPECT_EQ(0, ipc_serv_start());
    }
};

/// Whether a line with this priority and part of a text is logged, within 10 s.
inline bool logged(const std::string &priority, const std::string &part) {
    static auto *s_seen = new std::vector<std::string>;
    const auto deadline = steady::now() + std::chrono::seconds(10);
    while (steady::now() < deadline) {
        for (std::string &text : syslog_take_texts()) {
            s_seen->push_back(std::move(text));
        }
        const bool found = std::any_of(s_seen->begin(), s_seen->end(), [&](const std::string &text) {
            return text.starts_with(priority) && text.find(part) != std::string::npos;
        });
        if (found) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

inline int32_t request(uint8_t route, uint16_t command, const octets &payload, octets &reply) {
    ipc_header header = {route, command, k_ipc_kind_request, k_ipc_status_unanswered};
    protoipc_send_request(&header, payload.data(), static_cast<int32_t>(payload.size()), reply.data(),
                          static_cast<int32_t>(reply.size()));
    return header.status;
}

inline int32_t request(uint8_t route, uint16_t command) {
    octets none;
    return request(route, command, {}, none);
}

inline void send_one_way(uint8_t route, uint16_t command, const octets &payload) {
    ipc_header header = {route, command, k_ipc_kind_one_way, 0};
    protoipc_send_request(&header, payload.data(), static_cast<int32_t>(payload.size()), nullptr, 0);
}

inline ipc_header response_to(uint8_t route, uint16_t command, int32_t status) {
    return {route, command, k_ipc_kind_response, status};
}

inline octets one_way(uint8_t route, uint16_t command, size_t size) {
    return message({route, command, k_ipc_kind_one_way, 0}, octets(size, 0x5A));
}

using IpcServer = ipc_server_test;
