#include "tests/apps/scripted_server.h"

#include "lib/base/bytes.h"

#include <array>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

scripted_server::scripted_server(std::function<uint16_t(uint16_t)> value, std::function<void(reply &)> damage)
    : m_value(std::move(value)), m_damage(std::move(damage)),
      m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    EXPECT_EQ(0, ::bind(m_listener.get(), generic, size));
    EXPECT_EQ(0, ::listen(m_listener.get(), 1));
    EXPECT_EQ(0, ::getsockname(m_listener.get(), generic, &size));
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
}

scripted_server::~scripted_server() {
    ::shutdown(m_listener.get(), SHUT_RDWR); // ends a wait for a client that never came
    m_thread.join();
}

void scripted_server::serve() {
    const unique_fd client(::accept(m_listener.get(), nullptr, nullptr));
    std::array<uint8_t, 12> request;
    while (::recv(client.get(), request.data(), request.size(), MSG_WAITALL) == ssize_t{request.size()}) {
        const uint16_t count = get_be16(&request[10]);
        reply answer(request.begin(), request.begin() + 9);
        put_be16(&answer[4], static_cast<uint16_t>(3 + 2 * count));
        answer[8] = static_cast<uint8_t>(2 * count);
        for (uint16_t i = 0; i < count; i++) {
            const uint16_t word = m_value(static_cast<uint16_t>(get_be16(&request[8]) + 1 + i));
            answer.insert(answer.end(), {static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)});
        }
        if (m_damage) {
            m_damage(answer);
        }
        if (answer.empty() || ::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL) < 0) {
            return;
        }
    }
}
