// What a client of the IPC server may send, cut where the input says, through the server's reader: the
// connection ends exactly where a bad header ends it, and what comes out are whole one-way messages.

#include "lib/base/bytes.h"
#include "lib/ipc/ipc_pending.h"
#include "lib/ipc/ipc_server.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>
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

/// One end of a connection to the server.
class peer {
public:
    peer() {
        int ends[2];
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) == 0);
        m_fd = ends[0];
        ipc_client_add(s_server, ends[1]);
    }
    ~peer() { ::close(m_fd); }
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;

    void send(const uint8_t *bytes, size_t size) const {
        require(::send(m_fd, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size));
    }

    /// Reads what has come; false at the end of the connection.
    bool drain() {
        uint8_t bytes[4096];
        for (;;) {
            const ssize_t got = ::recv(m_fd, bytes, sizeof bytes, 0);
            if (got <= 0) {
                return got < 0 && errno == EAGAIN;
            }
            m_received.insert(m_received.end(), bytes, bytes + got);
            take_messages();
        }
    }

private:
    void take_messages() {
        while (m_received.size() >= k_ipc_header_size) {
            const size_t length = get_be16(&m_received[0]);
            require(length >= k_ipc_header_size && m_received[2] == k_ipc_marker &&
                    m_received[3] == k_ipc_version && ipc_route_valid(m_received[4]) &&
                    m_received[7] == k_ipc_kind_one_way);
            if (m_received.size() < length) {
                return;
            }
            m_received.erase(m_received.begin(), m_received.begin() + static_cast<ptrdiff_t>(length));
        }
    }

    int m_fd = -1;
    octets m_received;
};

bool s_pass_ended = false;
int note_end_of_pass(thread * /*task*/) {
    s_pass_ended = true;
    return 0;
}

/// Runs the server until nothing is left to do at this time.
void settle() {
    for (bool busy = true; busy;) {
        busy = false;
        s_pass_ended = false;
        require(thread_add_background(s_server.master, note_end_of_pass, nullptr, 0) != nullptr);
        while (!s_pass_ended) {
            thread task;
            require(thread_fetch_next(s_server.master, &task) != nullptr);
            busy = busy || task.func != note_end_of_pass;
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

bool set_up() {
    ipc_gate_init();
    ipc_pending_init();
    s_server.master = scheduler_master_create();
    s_server.wake_fd = -1;
    ipc_server_runs(&s_server, true);
    return s_server.master != nullptr;
}

} // namespace

extern "C" {

void __wrap_openlog(const char *, int, int) {}
void __wrap_closelog() {}
void __wrap_syslog(int, const char *, ...) {}

int __wrap_clock_gettime(clockid_t, timespec *now) {
    *now = {static_cast<time_t>(s_seconds), 0};
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool s_set_up = set_up();
    require(s_set_up);
    {
        peer destination;
        constexpr uint8_t k_hello[] = {0, 10, 255, 1, 1, 1, 69, 2, 0, 1};
        destination.send(k_hello, sizeof k_hello);
        settle();
        peer client;
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
            require(destination.drain());
            if (!open) {
                break;
            }
        }
    }
    settle();
    require(s_server.clients.count == 0);
    s_seconds++;
    settle(); // deferred messages are given up
    for (uint8_t route = k_ipc_route_min; route <= k_ipc_route_max; route++) {
        ipc_clear_proto_locks(route);
    }
    return 0;
}
}
