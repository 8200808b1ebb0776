#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>

/// A slave in a process group of its own on a free port, prepared by `prepare` between enable and the first
/// poll; it serves only if that has found nothing wrong. All of the group is ended with the object.
class slave_process {
public:
    explicit slave_process(const std::function<void()> &prepare = [] {});
    ~slave_process();
    slave_process(const slave_process &) = delete;
    slave_process &operator=(const slave_process &) = delete;

    [[nodiscard]] uint16_t port() const { return m_port; }
    [[nodiscard]] pid_t pid() const { return m_pid; }
    /// The next line the slave or a child of it writes to standard error; empty after 10 s without one.
    std::string read_error_line();

private:
    uint16_t m_port;
    int m_errors = -1; // read end of the pipe that is its standard error
    pid_t m_pid;
};
