#include "bench/load.h"

#include "apps/common/text_append.h"
#include "apps/mbshow/client.h"
#include "apps/mbshow/mbap.h"
#include "bench/server_cpu.h"
#include "lib/base/bytes.h"
#include "modbus/mbmap.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <vector>

namespace {

constexpr int k_silence_limit_s = 5;
constexpr int32_t k_any_value = -1;

struct connection {
    unique_fd fd;
    mbap_read read;
    uint64_t sent_ns;
    size_t have; // bytes of the reply
    std::array<uint8_t, k_mbap_adu_max> reply;
};

struct load {
    const load_options &options;
    load_result &result;
    std::vector<int32_t> expected; // values, or k_any_value
    std::vector<connection> connections;
    uint64_t end_ns = 0;
};

uint64_t now_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

bool fail(load &run, const char *what, int error) {
    text_append(run.result.complaint, "%s: %s", what, std::strerror(error));
    return false;
}

int32_t known_value(const mb_item &item) {
    switch (item.id) {
    case mb_item_id::device_type:
        return 0xD8ED;
    case mb_item_id::port_absent:
        return 0xFFFF;
    default:
        return k_any_value;
    }
}

/// What the map alone says that each register of a read holds, as far as it does. Goes from item to item as
/// the server does, since what a register within an item holds differs with where the read begins.
std::vector<int32_t> known_values(const load_options &options) {
    std::vector<int32_t> values(options.count, k_any_value);
    if (options.any_value) {
        return values;
    }
    if (options.function == k_mbap_read_holding) {
        values.assign(options.count, 0); // the connection's own, and it has not written to them
        return values;
    }
    const mb_block *block = mb_map_block_of(options.number);
    if (block == nullptr) {
        return values;
    }
    for (uint32_t i = 0; i < options.count;) {
        const mb_place place = mb_map_find(*block, static_cast<uint16_t>(options.number + i));
        if (place.item != nullptr) {
            values[i] = known_value(*place.item);
            i += place.item->count - (place.item->entry == mb_entry::whole ? 0U : place.index);
        } else if (block->gap == mb_gap::stop) {
            break;
        } else {
            values[i++] = 0;
        }
    }
    return values;
}

bool connect_one(load &run, connection &opened) {
    mb_client client;
    if (!mb_client_connect(client, run.options.host, run.options.port)) {
        run.result.complaint = client.error;
        return false;
    }
    opened.fd = std::move(client.socket);
    opened.read = {0, run.options.function, run.options.number, run.options.count};
    const int on = 1;
    const timeval limit = {k_silence_limit_s, 0};
    // Blocking: one connection waits in recv itself, more of them in epoll_wait.
    const int flags = fcntl(opened.fd.get(), F_GETFL);
    if (fcntl(opened.fd.get(), F_SETFL, flags & ~O_NONBLOCK) != 0 ||
        setsockopt(opened.fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0 ||
        setsockopt(opened.fd.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) {
        return fail(run, "socket option", errno);
    }
    return true;
}

bool send_next(load &run, connection &c) {
    c.read.transaction++;
    c.have = 0;
    const auto request = mbap_put_read(c.read);
    c.sent_ns = now_ns();
    if (send(c.fd.get(), request.data(), request.size(), MSG_NOSIGNAL) != ssize_t{request.size()}) {
        return fail(run, "send", errno);
    }
    return true;
}

const char *complaint_about(const load &run, const connection &c) {
    const auto adu = std::span(c.reply).first(c.have);
    const mbap_verdict verdict = mbap_check_reply(c.read, adu);
    if (verdict != mbap_verdict::good) {
        return mbap_verdict_text(verdict);
    }
    for (size_t i = 0; i < run.expected.size(); i++) {
        if (run.expected[i] != k_any_value &&
            run.expected[i] != get_be16(&c.reply[k_mbap_at_values + 2 * i])) {
            return "has another value than it must";
        }
    }
    return nullptr;
}

/// Takes what has arrived; a whole reply is judged and the next request sent. `*more` tells whether one is
/// under way, which ends with the time.
bool take(load &run, connection &c, bool *more) {
    const ssize_t got = recv(c.fd.get(), c.reply.data() + c.have, c.reply.size() - c.have, 0);
    if (got <= 0) {
        return got < 0 && errno == EINTR ? true : fail(run, "receive", got == 0 ? ECONNRESET : errno);
    }
    c.have += static_cast<size_t>(got);
    if (c.have < k_mbap_size) {
        return true;
    }
    const size_t size = mbap_reply_size(std::span(c.reply).first<k_mbap_size>());
    if (size > c.have) {
        return true;
    }
    const uint64_t now = now_ns();
    const char *complaint = complaint_about(run, c); // more bytes than announced are none of a good reply
    if (complaint == nullptr) {
        latency_add(run.result.latency, now - c.sent_ns);
    } else if (run.result.errors++ == 0) {
        run.result.complaint = std::string("a reply ") + complaint;
    }
    *more = now < run.end_ns;
    return !*more || send_next(run, c);
}

bool loop_one(load &run) {
    for (bool more = true; more;) {
        if (!take(run, run.connections[0], &more)) {
            return false;
        }
    }
    return true;
}

bool loop_many(load &run) {
    const unique_fd poll(epoll_create1(EPOLL_CLOEXEC));
    for (connection &c : run.connections) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = &c;
        if (epoll_ctl(poll.get(), EPOLL_CTL_ADD, c.fd.get(), &event) != 0) {
            return fail(run, "epoll", errno);
        }
    }
    std::array<epoll_event, 64> events;
    for (size_t open = run.connections.size(); open > 0;) {
        const int ready = epoll_wait(poll.get(), events.data(), int{events.size()}, k_silence_limit_s * 1000);
        if (ready == 0 || (ready < 0 && errno != EINTR)) {
            return fail(run, "receive", ready == 0 ? ETIMEDOUT : errno);
        }
        for (int i = 0; i < ready; i++) {
            bool more = true;
            if (!take(run, *static_cast<connection *>(events[static_cast<size_t>(i)].data.ptr), &more)) {
                return false;
            }
            open -= more ? 0 : 1;
        }
    }
    return true;
}

/// Keeps every connection busy for a time.
bool load_for(load &run, double seconds) {
    const uint64_t begin = now_ns();
    run.end_ns = begin + static_cast<uint64_t>(seconds * 1e9);
    for (connection &c : run.connections) {
        if (!send_next(run, c)) {
            return false;
        }
    }
    const bool done = run.connections.size() == 1 ? loop_one(run) : loop_many(run);
    run.result.seconds = static_cast<double>(now_ns() - begin) / 1e9;
    return done;
}

} // namespace

bool load_run(const load_options &options, load_result &result) {
    result = {};
    load run = {options, result, known_values(options), {}, 0};
    run.connections.resize(options.connections);
    for (connection &c : run.connections) {
        if (!connect_one(run, c)) {
            return false;
        }
    }
    if (!load_for(run, options.seconds / 10)) {
        return false;
    }
    result.latency = {}; // errors of the warm-up stay
    const uint64_t before = options.server != 0 ? server_cpu_ns(options.server) : 0;
    if (!load_for(run, options.seconds)) {
        return false;
    }
    result.server_ns = options.server != 0 ? server_cpu_ns(options.server) - before : 0;
    return true;
}
