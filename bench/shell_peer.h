#pragma once

#include "lib/cli/csh_message.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// Servers of datagrams for benchmarks.

inline sockaddr_un address_of(const char *path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    return address;
}

inline int bound_socket(const char *path) {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = address_of(path);
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        std::perror(path);
        std::exit(1);
    }
    return fd;
}

/// A server in a process of its own, and a client's socket connected to it.
class peer {
public:
    peer(void (*serve)(const char *path), const char *path) : m_pid(::fork()) {
        if (m_pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            serve(path);
        }
        char own[64];
        std::snprintf(own, sizeof own, k_csh_client_format, ::getpid());
        ::unlink(own);
        fd = bound_socket(own);
        const sockaddr_un address = address_of(path);
        while (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~peer() {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        ::close(fd);
    }
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;

    void exchange(csh_message *message) const {
        if (::send(fd, message, sizeof *message, 0) != sizeof *message ||
            ::recv(fd, message, sizeof *message, 0) != sizeof *message) {
            std::abort();
        }
    }

    [[nodiscard]] pid_t server() const { return m_pid; }

    int fd;

private:
    pid_t m_pid;
};
