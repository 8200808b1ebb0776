// What a client of the IPC server may send, cut where the input says, through the server's reader: the
// connection ends exactly where a bad header ends it, and what comes out are whole one-way messages.

#include "lib/base/bytes.h"
#include "lib/base/log.h"
#include "lib/ipc/internal/ipc_client.h"
#include "lib/ipc/internal/ipc_gate.h"
#include "lib/ipc/internal/ipc_pending.h"
#include "lib/ipc/internal/ipc_routes.h"
#include "lib/ipc/internal/ipc_server.h"
#include "lib/ipc/ipc_time.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>
#include <vector>

namespace {

using octets = std::vector<uint8_t>;

ipc_server s_server = {};
int64_t s_seconds = 1000; // the clock: deferred messages wait for no real time

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// A connection without a socket: the server's calls of its descriptor go to these bytes.
struct wire {
    octets to_server;
    size_t taken = 0; // of them
    octets from_server;
    bool client_gone = false;
    bool server_gone = false;
};

constexpr int k_first_fd = 200;
std::array<wire, 2> s_wires;

wire *wire_of(int fd) {
    const int place = fd - k_first_fd;
    return place >= 0 && place < static_cast<int>(s_wires.size()) ? &s_wires[static_cast<size_t>(place)]
                                                                  : nullptr;
}

/// One end of a connection to the server.
class peer {
public:
    explicit peer(size_t place) : m_wire(s_wires[place]) {
        m_wire = {};
        ipc_client_add(s_server, k_first_fd + static_cast<int>(place));
    }
    ~peer() { m_wire.client_gone = true; }
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;

    void send(const uint8_t *bytes, size_t size) const {
        m_wire.to_server.insert(m_wire.to_server.end(), bytes, bytes + size);
    }

    /// Reads what has come; false at the end of the connection.
    [[nodiscard]] bool drain() const {
        take_messages();
        return !m_wire.server_gone;
    }

private:
    void take_messages() const {
        octets &received = m_wire.from_server;
        size_t at = 0;
        while (received.size() - at >= k_ipc_header_size) {
            const size_t length = get_be16(&received[at]);
            require(length >= k_ipc_header_size && received[at + 2] == k_ipc_marker &&
                    received[at + 3] == k_ipc_version && ipc_route_valid(received[at + 4]) &&
                    received[at + 7] == k_ipc_kind_one_way);
            if (received.size() - at < length) {
                break;
            }
            at += length;
        }
        received.erase(received.begin(), received.begin() + static_cast<ptrdiff_t>(at));
    }

    wire &m_wire;
};

bool s_pass_ended = false;
int note_end_of_pass(thread * /*task*/) {
    s_pass_ended = true;
    return 0;
}

bool is_readable(const wire &w) { return w.taken < w.to_server.size() || w.client_gone; }

bool is_due(const thread_list &list) {
    const timeval now = {static_cast<time_t>(s_seconds), 0};
    return list.head != nullptr && timeval_compare(now, list.head->u.sands) >= 0;
}

/// Whether another pass would find something to do: looked up, since an empty pass takes as long as a full
/// one.
bool is_busy(const scheduler_master &m) {
    bool readable = false;
    for (size_t place = 0; place < s_wires.size(); place++) {
        const int fd = k_first_fd + static_cast<int>(place);
        readable = readable || (FD_ISSET(fd, &m.readfd) && is_readable(s_wires[place]));
    }
    return readable || m.write.head != nullptr || m.event.head != nullptr || m.ready.head != nullptr ||
           is_due(m.timer) || is_due(m.background);
}

/// Runs the server until nothing is left to do at this time.
void settle() {
    while (is_busy(*s_server.master)) {
        s_pass_ended = false;
        require(thread_add_background(s_server.master, note_end_of_pass, nullptr, 0) != nullptr);
        while (!s_pass_ended) {
            thread task;
            require(thread_fetch_next(s_server.master, &task) != nullptr);
            thread_invoke(&task);
        }
    }
}

/// Whether a bad header is within what was sent: at a border of messages, the first one found.
bool ends_connection(const octets &sent) {
    size_t at = 0;
    while (sent.size() - at >= k_ipc_header_size) {
        const size_t length = get_be16(&sent[at]);
        if (sent[at + 2] != k_ipc_marker || sent[at + 3] != k_ipc_version || length < k_ipc_header_size) {
            return true;
        }
        if (length > sent.size() - at) {
            return false;
        }
        at += length;
    }
    return false;
}

/// Where one-way messages go, in every run.
const peer &destination() {
    static const peer s_destination(0);
    return s_destination;
}

bool set_up() {
    ipc_gate_init();
    ipc_pending_init();
    s_server.master = scheduler_master_create();
    s_server.wake_fd = -1;
    ipc_server_runs(&s_server, true);
    require(s_server.master != nullptr);
    constexpr uint8_t k_hello[] = {0, 10, 255, 1, 1, 1, 69, 2, 0, 1};
    destination().send(k_hello, sizeof k_hello);
    settle();
    return true;
}

} // namespace

extern "C" {

// A stream has 64 KiB: as many as the usual 256 MiB hold would all be fetched from the system anew.
const char *__asan_default_options() { return "quarantine_size_mb=1"; }

// Log lines are formatted, and lost: no thread is to write them.
#define FORMAT_ONLY(name)                                                                                    \
    [[gnu::format(printf, 1, 2)]] void name(const char *format, ...) {                                       \
        char text[k_ipc_log_line];                                                                           \
        va_list args;                                                                                        \
        va_start(args, format);                                                                              \
        std::vsnprintf(text, sizeof text, format, args);                                                     \
        va_end(args);                                                                                        \
    }
FORMAT_ONLY(__wrap__Z11ipc_log_errPKcz)
FORMAT_ONLY(__wrap__Z12ipc_log_warnPKcz)
FORMAT_ONLY(__wrap__Z14ipc_log_noticePKcz)
FORMAT_ONLY(__wrap__Z12ipc_log_infoPKcz)
FORMAT_ONLY(__wrap__Z13ipc_log_debugPKcz)

ssize_t __real_read(int, void *, size_t);
ssize_t __wrap_read(int fd, void *buffer, size_t size) {
    wire *const from = wire_of(fd);
    if (from == nullptr) {
        return __real_read(fd, buffer, size);
    }
    const size_t left = from->to_server.size() - from->taken;
    if (left == 0 && !from->client_gone) {
        errno = EAGAIN;
        return -1;
    }
    const size_t count = std::min(size, left);
    std::copy_n(from->to_server.begin() + static_cast<ptrdiff_t>(from->taken), count,
                static_cast<uint8_t *>(buffer));
    from->taken += count;
    return static_cast<ssize_t>(count);
}

ssize_t __real_write(int, const void *, size_t);
ssize_t __wrap_write(int fd, const void *bytes, size_t size) {
    wire *const to = wire_of(fd);
    if (to == nullptr) {
        return __real_write(fd, bytes, size);
    }
    const auto *from = static_cast<const uint8_t *>(bytes);
    to->from_server.insert(to->from_server.end(), from, from + size);
    return static_cast<ssize_t>(size);
}

int __real_close(int);
int __wrap_close(int fd) {
    if (wire *const ended = wire_of(fd)) {
        ended->server_gone = true;
        return 0;
    }
    return __real_close(fd);
}

/// Ready is what has bytes or its end to give; nobody waits.
int __wrap_select(int /*count*/, fd_set *read, fd_set *write, fd_set * /*except*/, timeval * /*limit*/) {
    int ready = 0;
    for (size_t place = 0; place < s_wires.size(); place++) {
        const int fd = k_first_fd + static_cast<int>(place);
        const wire &w = s_wires[place];
        if (FD_ISSET(fd, read) && !is_readable(w)) {
            FD_CLR(fd, read);
        }
        ready += FD_ISSET(fd, read) ? 1 : 0;
        ready += FD_ISSET(fd, write) ? 1 : 0;
    }
    return ready;
}

int __wrap_getrusage(int, rusage *used) {
    *used = {};
    return 0;
}

int __wrap_clock_gettime(clockid_t, timespec *now) {
    *now = {static_cast<time_t>(s_seconds), 0};
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool s_set_up = set_up();
    require(s_set_up);
    {
        peer client(1);
        octets sent;
        for (const uint8_t *at = data, *end = data + size; at < end;) {
            const size_t wanted = *at++ + size_t{1};
            const size_t piece = std::min(wanted, static_cast<size_t>(end - at));
            client.send(at, piece);
            sent.insert(sent.end(), at, at + piece);
            at += piece;
            settle();
            const bool open = client.drain();
            require(open != ends_connection(sent));
            require(destination().drain());
            if (!open) {
                break;
            }
        }
    }
    settle();
    require(s_server.clients.count == 1);
    s_seconds++;
    settle(); // deferred messages are given up
    for (uint8_t route = k_ipc_route_min; route <= k_ipc_route_max; route++) {
        ipc_clear_proto_locks(route);
    }
    return 0;
}
}
