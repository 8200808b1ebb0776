#pragma once

#include <unistd.h>
#include <utility>

/// Owns one file descriptor and closes it at the end of its scope; -1 owns nothing.
class unique_fd {
public:
    unique_fd() = default;
    explicit unique_fd(int fd) : m_fd(fd) {}
    unique_fd(unique_fd &&other) noexcept : m_fd(other.release()) {}
    unique_fd &operator=(unique_fd &&other) noexcept {
        reset(other.release());
        return *this;
    }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;
    ~unique_fd() { reset(); }

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool valid() const { return m_fd >= 0; }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = fd;
    }

private:
    int m_fd = -1;
};
