#include "modbus/porttcp.h"

#include "lib/base/bytes.h"
#include "lib/base/invariant.h"
#include "lib/base/result.h"
#include "lib/base/retry.h"
#include "modbus/client_accounts.h"
#include "modbus/client_table.h"
#include "modbus/fdset.h"
#include "modbus/mbcounters.h"
#include "modbus/mbevent.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int k_backlog = 10;
constexpr time_t k_reap_interval_s = 5;
constexpr useconds_t k_pause_us = 10000; // between bursts of readiness, and after a read that came up short
constexpr useconds_t k_send_retry_us = 100;   // between tries to send
constexpr int32_t k_send_retry_budget = 1000; // microseconds of waiting for one reply

int s_listen_socket = -1;
int s_client_socket =
    -1; // -1: no client is held; a second poll thread keeps its hands off it, see s_listen_gate
// 0 only in a connection's child; atomic because a second poll thread looks too.
std::atomic<int32_t> s_fork_result = -1;
int32_t s_client_count = 0; // live children, as the listening process knows them
descriptor_set s_watched;   // filled by tcp_port_init

// The request in work and its reply: one buffer, so that the MBAP identifiers are echoed without a copy.
std::array<uint8_t, k_mb_adu_size> s_buffer;
uint16_t s_position = 0; // bytes of the request

// What has come and is not in work yet: a read takes all that is there, so the next requests may lie here
// too. They must not lie in s_buffer, whose bytes after a short request are served as they were left.
std::array<uint8_t, k_mb_adu_size> s_input;
uint16_t s_input_held = 0;

// Held for good by the one thread that is in the listening role: a second poll thread, which a loaded board
// can start, waits here instead of accepting over the same table. A child never takes it.
pthread_mutex_t s_listen_gate = PTHREAD_MUTEX_INITIALIZER;

bool is_child() { return s_fork_result == 0; }

void close_client() {
    ::close(s_client_socket);
    fdset_remove(s_watched, s_client_socket);
    s_client_socket = -1;
}

/// Ends the process, and with it the connection.
[[noreturn]] void end_child(mb_end how) {
    mb_count_end(how);
    std::exit(0);
}

/// The size that the header at the front of the input announces.
uint16_t announced_size() {
    const int32_t end = get_be16(&s_input[k_mbap_at_length]) + int32_t{k_mbap_length_end};
    if (end > static_cast<int32_t>(s_buffer.size())) {
        end_child(mb_end::bad_frame);
    }
    if (end < int32_t{k_mbap_size}) {
        mb_count_end(mb_end::bad_frame);
    }
    INVARIANT_AT(end >= int32_t{k_mbap_size}, "usTCPBufPos <= (6 + usLength)", "porttcp", 501,
                 "child_process");
    return static_cast<uint16_t>(end);
}

/// Puts the first request of the input in work when it is whole. Returns whether it was.
bool take_request() {
    if (s_input_held < k_mbap_size) {
        return false;
    }
    const uint16_t size = announced_size();
    if (s_input_held < size) {
        return false;
    }
    std::copy_n(s_input.begin(), size, s_buffer.begin());
    s_position = size;
    s_input_held = static_cast<uint16_t>(s_input_held - size);
    std::copy_n(s_input.begin() + size, s_input_held, s_input.begin());
    return true;
}

/// Waits for bytes of the client and takes what is there. Ends the process when the peer has gone or is
/// silent for too long.
void receive_input() {
    // Stopped and continued: a socket with a time-out is interrupted by that.
    const ssize_t got = retry_interrupted(
        [] { return ::recv(s_client_socket, &s_input[s_input_held], s_input.size() - s_input_held, 0); });
    if (got <= 0) {
        end_child(got < 0 && errno == EAGAIN ? mb_end::silence : mb_end::peer);
    }
    s_input_held = static_cast<uint16_t>(s_input_held + got);
}

/// Receives one ADU on the client socket and posts it. Ends the process when the peer has gone.
bool child_process() {
    bool whole = take_request();
    while (!whole) {
        receive_input();
        whole = take_request();
        if (!whole && s_input_held != k_mbap_size) { // a header alone is followed by the rest at once
            ::usleep(k_pause_us);                    // let the rest of a split request gather
        }
    }
    mb_event_post(k_mb_event_frame_received);
    return true;
}

/// A client that never sends, stops within an ADU or goes quiet after a reply ends its child by the receive
/// time-out. Without it the child still ends when the peer closes.
void limit_silence(int socket) {
    const timeval limit = {k_tcp_silence_limit_s, 0};
    ignore_result(::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit));
}

int64_t monotonic_ms() {
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

/// Waits until the client has room for more of a reply. `deadline_ms` belongs to the reply: 0 before its
/// first wait, which sets it. Returns false when it has passed.
bool wait_for_room(int64_t &deadline_ms) {
    const int64_t now = monotonic_ms();
    if (deadline_ms == 0) {
        deadline_ms = now + int64_t{k_tcp_silence_limit_s} * 1000;
    }
    pollfd room = {s_client_socket, POLLOUT, 0};
    return now < deadline_ms && ::poll(&room, 1, static_cast<int>(deadline_ms - now)) != 0;
}

void reap_children() {
    while (s_client_count > 0) {
        int status = 0;
        const pid_t pid = retry_interrupted([&] { return ::waitpid(-1, &status, WNOHANG); });
        if (pid <= 0) {
            break; // none has ended, or (ECHILD) there is none
        }
        client_account_close(pid, status);
        const int32_t socket = client_table_op(pid, -1, k_client_find);
        if (socket == -3) {
            continue;
        }
        s_client_count--;
        fdset_remove(s_watched, socket);
        client_table_op(pid, -1, k_client_remove_by_pid);
    }
}

/// Whether a ready descriptor has nothing behind it: at its end, or (other than the listening socket) without
/// a peer.
bool is_dead(int fd) {
    int pending = 0;
    if (::ioctl(fd, FIONREAD, &pending) == 0 && pending == 0) {
        return true;
    }
    sockaddr_storage peer = {};
    socklen_t size = sizeof peer;
    return fd != s_listen_socket && ::getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &size) != 0;
}

/// The eleventh peer sees its connection accepted and closed without a byte.
void refuse_client() {
    if (tcp_port_accept()) {
        close_client();
        s_client_count--;
        shared_count_add(mb_counters().refused);
    }
}

/// Accepts one client and forks its child. Returns true in the child.
bool serve_client() {
    if (!tcp_port_accept()) {
        return false; // nobody to serve: a child would end at once, and its end would lower a count that was
                      // never raised
    }
    std::fflush(stdout); // or the child prints it again when it exits
    const int32_t account = client_account_open(s_client_socket);
    s_fork_result = ::fork();
    if (is_child()) {
        mb_counters_enter(account);
        ::close(s_listen_socket);
        fdset_remove(s_watched, s_listen_socket);
        limit_silence(s_client_socket);
        return true;
    }
    client_table_op(s_fork_result, s_client_socket, k_client_add);
    client_account_name(account, s_fork_result);
    close_client();
    return false;
}

/// Handles everything select has found ready. Returns true in a new child.
bool scan_ready(const descriptor_set &ready) {
    for (int fd = 0; fd <= ready.highest; fd++) {
        if (!fdset_has(ready, fd)) {
            continue;
        }
        if (is_dead(fd)) {
            fdset_remove(s_watched, fd);
            client_table_op(-1, fd, k_client_remove_by_socket);
        } else if (fd != s_listen_socket) {
            fdset_remove(s_watched, fd); // standard input with something to read, which nobody here reads
        } else if (s_client_count >= k_tcp_clients_max) {
            refuse_client();
        } else if (serve_client()) {
            return true;
        }
    }
    return false;
}

void release_held_client() {
    if (s_client_socket != -1) {
        tcp_port_release();
    }
}

int wait_readable(descriptor_set &ready) {
    ready = s_watched;
    timeval limit = {k_reap_interval_s, 0};
    return ::select(ready.highest + 1, &ready.bits, nullptr, nullptr, &limit);
}

/// The listening process: returns in the child of each accepted connection only.
void listen_for_clients() {
    descriptor_set ready;
    for (;;) {
        reap_children();
        if (wait_readable(ready) > 0 && scan_ready(ready)) {
            return;
        }
        ::usleep(k_pause_us); // after a wait that failed, too: the next one may fail at once
    }
}

/// Says on standard error why nothing listens. Returns false.
bool cannot_listen(uint16_t port, const char *call, int error) {
    std::fprintf(stderr, "%s: can't listen on TCP port %d! %s: %s\r\n", "tcp_port_init", int{port}, call,
                 std::strerror(error));
    return false;
}

} // namespace

bool tcp_port_init(uint16_t port) {
    const uint16_t number = port == 0 ? k_modbus_port : port;
    s_listen_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (!fdset_can_hold(s_listen_socket)) { // a process that inherits so many would listen to nobody
        return cannot_listen(number, "socket", s_listen_socket < 0 ? errno : EMFILE);
    }
    const int on = 1;
    if (::setsockopt(s_listen_socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
        cannot_listen(number, "SO_REUSEADDR", errno);
        std::exit(1);
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(number);
    if (::bind(s_listen_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        return cannot_listen(number, "bind", errno);
    }
    if (::listen(s_listen_socket, k_backlog) != 0) {
        return cannot_listen(number, "listen", errno);
    }
    fdset_clear(s_watched);
    fdset_add(s_watched,
              STDIN_FILENO); // watched on purpose: a dead standard input leaves the set at the first scan
    fdset_add(s_watched, s_listen_socket);
    client_table_op(-1, -1, k_client_clear);
    return true;
}

bool tcp_port_poll() {
    if (!is_child()) {
        pthread_mutex_lock(&s_listen_gate);
        listen_for_clients();
    }
    return child_process();
}

bool tcp_port_accept() {
    if (s_client_socket != -1) {
        return false;
    }
    const int socket = ::accept4(s_listen_socket, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket == -1) {
        return false;
    }
    if (!fdset_can_hold(socket)) {
        ::close(socket);
        return false;
    }
    const int on = 1;
    // A reply is one small segment: waiting to merge it would only delay it.
    ignore_result(::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on));
    fdset_add(s_watched, socket);
    s_client_socket = socket;
    s_position = 0;
    s_input_held = 0;
    s_client_count++;
    return true;
}

void tcp_port_release() {
    ignore_result(::recv(s_client_socket, s_buffer.data(), s_buffer.size(), 0)); // drained, whatever it was
    s_input_held = 0;
    ::close(s_client_socket);
    s_client_socket = -1;
}

bool tcp_port_get_request(uint8_t **adu, uint16_t *length) {
    *adu = s_buffer.data();
    *length = s_position;
    s_position = 0;
    return true;
}

bool tcp_port_send_response(const uint8_t *data, uint16_t length) {
    size_t sent = 0;
    int32_t budget = k_send_retry_budget;
    int64_t deadline_ms = 0;
    bool failed = false;
    while (sent != length && !failed) {
        const ssize_t result =
            ::send(s_client_socket, data + sent, length - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (result > 0) {
            sent += static_cast<size_t>(result);
        } else if (result == 0) {
            tcp_port_release();
            failed = true;
        } else if (errno == EAGAIN) {
            if (!wait_for_room(deadline_ms)) {
                end_child(mb_end::silence);
            }
        } else if (budget > 0) {
            budget -= static_cast<int32_t>(k_send_retry_us);
            ::usleep(k_send_retry_us);
        } else {
            failed = true;
        }
    }
    return sent == length;
}

void tcp_port_close() {
    tcp_port_disable();
    if (s_listen_socket != -1) {
        ::close(s_listen_socket);
    }
}

void tcp_port_disable() {
    if (is_child()) {
        release_held_client();
        return;
    }
    // A second poll thread, which could not enable the stack, disables it all the same: the client that the
    // listening thread is just handing to a child is not its to drain and close.
    if (pthread_mutex_trylock(&s_listen_gate) == 0) {
        release_held_client();
        pthread_mutex_unlock(&s_listen_gate);
    }
}
