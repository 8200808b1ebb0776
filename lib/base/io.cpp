#include "lib/base/io.h"

#include "lib/base/log.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

ssize_t read_full(int fd, void *buf, size_t n) {
    auto *bytes = static_cast<uint8_t *>(buf);
    size_t done = 0;
    while (done < n) {
        const ssize_t got = read(fd, bytes + done, n - done);
        if (got < 0) {
            return got;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

ssize_t write_full(int fd, const void *buf, size_t n) {
    const auto *bytes = static_cast<const uint8_t *>(buf);
    size_t done = 0;
    while (done < n) {
        const ssize_t put = write(fd, bytes + done, n - done);
        if (put <= 0) {
            return put;
        }
        done += static_cast<size_t>(put);
    }
    return static_cast<ssize_t>(n);
}

int fd_set_nonblocking(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0) {
        ipc_log_warn("fcntl(F_GETFL) failed for fd %d: %s", fd, safe_strerror(errno));
        return -1;
    }
    if (fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
        ipc_log_warn("fcntl failed setting fd %d non-blocking: %s", fd, safe_strerror(errno));
        return -1;
    }
    return 0;
}
