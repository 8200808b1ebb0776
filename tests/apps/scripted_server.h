#pragma once

#include "lib/base/unique_fd.h"

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

/// Answers reads on one connection to 127.0.0.1 with a reply as it should be, `value(number)` in each
/// register, after `damage` had its way with it; an empty reply closes the connection.
class scripted_server {
public:
    using reply = std::vector<uint8_t>;
    explicit scripted_server(std::function<uint16_t(uint16_t)> value,
                             std::function<void(reply &)> damage = {});
    ~scripted_server();
    scripted_server(const scripted_server &) = delete;
    scripted_server &operator=(const scripted_server &) = delete;

    [[nodiscard]] uint16_t port() const { return m_port; }

private:
    void serve();

    std::function<uint16_t(uint16_t)> m_value;
    std::function<void(reply &)> m_damage;
    unique_fd m_listener;
    uint16_t m_port = 0;
    std::thread m_thread;
};
