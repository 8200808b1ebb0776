#include "lib/cli/evt_chan.h"

#include "lib/base/monotonic.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <span>
#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr int64_t k_wait_us = 1000000;
constexpr useconds_t k_failure_pause_us = 10000;

struct channel {
    int fd;
    evt_chan_fn callback;
};

std::array<channel, k_evt_chan_max> s_channels = {};
size_t s_count = 0; // of which are used

channel *find(int fd) {
    channel *const end = s_channels.data() + s_count;
    channel *const found = std::find_if(s_channels.data(), end, [=](const channel &c) { return c.fd == fd; });
    return found != end ? found : nullptr;
}

/// Waits until a channel is readable; a signal does not make it wait longer than a second in all. Results of
/// select.
int wait_readable(fd_set *readable) {
    const int64_t deadline = monotonic_us() + k_wait_us;
    for (int64_t left = k_wait_us;; left = std::max<int64_t>(0, deadline - monotonic_us())) {
        FD_ZERO(readable);
        int highest = -1;
        for (const channel &c : std::span(s_channels.data(), s_count)) {
            FD_SET(c.fd, readable);
            highest = std::max(highest, c.fd);
        }
        timeval timeout{};
        timeout.tv_sec = static_cast<time_t>(left / 1000000);
        timeout.tv_usec = static_cast<suseconds_t>(left % 1000000);
        const int result = ::select(highest + 1, readable, nullptr, nullptr, &timeout);
        if (result >= 0 || errno != EINTR) {
            return result;
        }
    }
}

void drop_closed() {
    channel *const begin = s_channels.data();
    channel *const end =
        std::remove_if(begin, begin + s_count, [](const channel &c) { return ::fcntl(c.fd, F_GETFD) < 0; });
    s_count = static_cast<size_t>(end - begin);
}

} // namespace

int32_t evtChanInit() {
    s_count = 0;
    return 0;
}

int32_t evtChanAdd(int fd, evt_chan_fn callback) {
    if (fd < 0 || fd >= FD_SETSIZE || s_count == k_evt_chan_max || find(fd) != nullptr) {
        return -1;
    }
    s_channels[s_count++] = {fd, callback};
    return 0;
}

void evtChanDel(int fd) {
    channel *const found = find(fd);
    if (found != nullptr) {
        std::copy(found + 1, s_channels.data() + s_count, found);
        s_count--;
    }
}

void evtChanWait() {
    fd_set readable;
    const int ready = wait_readable(&readable);
    if (ready < 0) {
        drop_closed();
        ::usleep(k_failure_pause_us); // it may fail again at once
    }
    if (ready <= 0) {
        return;
    }
    // Callbacks change the table: what was waited for is gone through, and what is left of it is called.
    const auto waited = s_channels;
    for (const channel &c : std::span(waited.data(), s_count)) {
        const channel *const left = FD_ISSET(c.fd, &readable) ? find(c.fd) : nullptr;
        if (left != nullptr && left->callback == c.callback) {
            c.callback(c.fd);
        }
    }
}
