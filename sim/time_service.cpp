#include "sim/time_service.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/time/sntp_record.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int32_t k_unknown_command = -1; // the service's own status code

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool bind_to(int fd, uint16_t port) {
    const sockaddr_in address = loopback(port);
    return ::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

template<typename T, size_t N> void store_all(T (&fields)[N], const T *values) {
    for (size_t i = 0; i < N; i++) {
        sim_store(fields[i], values[i]);
    }
}

void keep_server(sim_time &time, const sntp_record &record) {
    uint8_t name[sizeof time.server_name] = {};
    std::copy_n(record.host_name, k_sntp_host_name_size - 1, name);
    sim_store(time.server_kind, static_cast<uint32_t>(record.server_kind));
    sim_store(time.server_ipv4, record.ipv4);
    store_all(time.server_ipv6, record.ipv6);
    store_all(time.server_name, name);
}

/// The text runs on over the words after its field, to the record's end.
void put_text(sntp_record &record, const sim_time &time) {
    auto *bytes = reinterpret_cast<uint8_t *>(&record) + offsetof(sntp_record, text);
    for (size_t i = 0; i < k_sntp_text_length; i++) {
        bytes[i] = sim_load(time.text[i]);
    }
}

/// Does what a request says, and makes it the answer.
void answer(sim_time &time, sntp_record &record) {
    record.status = sim_load(time.status);
    record.reply1 = sim_load(time.reply1);
    record.reply2 = sim_load(time.reply2);
    switch (record.command) {
    case sntp_command::read_settings:
        std::transform(std::begin(time.settings), std::end(time.settings), record.words,
                       [](const uint32_t &word) { return sim_load(word); });
        break;
    case sntp_command::set_first_rule:
        store_all(time.rules[0], record.words);
        break;
    case sntp_command::set_second_rule:
        store_all(time.rules[1], record.words);
        break;
    case sntp_command::set_server_address:
        sim_store(time.address, record.ipv4);
        break;
    case sntp_command::set_server:
        keep_server(time, record);
        break;
    case sntp_command::read_text:
        put_text(record, time);
        break;
    default:
        record.status = k_unknown_command;
        break;
    }
}

/// The service's socket; its port is noted in the state.
unique_fd open_service(sim_state &state) {
    unique_fd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd.valid() || (!bind_to(fd.get(), k_sntp_port) && !bind_to(fd.get(), 0))) {
        return {};
    }
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr *>(&bound), &size) != 0) {
        return {};
    }
    sim_store(state.time.port, uint32_t{ntohs(bound.sin_port)});
    return fd;
}

/// Answers requests until the socket fails.
void serve(int fd, sim_state &state) {
    for (;;) {
        sntp_record record;
        sockaddr_in from{};
        socklen_t length = sizeof from;
        auto *client = reinterpret_cast<sockaddr *>(&from);
        const ssize_t size = ::recvfrom(fd, &record, sizeof record, 0, client, &length);
        if (size < 0 && errno != EINTR) {
            return;
        }
        if (size != sizeof record) {
            continue;
        }
        __atomic_fetch_add(&state.time.requests, 1, __ATOMIC_RELAXED);
        answer(state.time, record);
        sim_wait_ms(sim_load(state.faults.time_late_ms));
        const uint32_t bytes = sim_load(state.faults.time_size);
        if (bytes != k_sim_time_silent) {
            // A client that is gone is none of the service's business.
            ignore_result(::sendto(fd, &record, std::min<size_t>(bytes, sizeof record), 0, client, length));
        }
    }
}

} // namespace

pid_t sim_time_start(sim_state &state, int lock_fd) {
    const pid_t self = ::getpid();
    const unique_fd socket = open_service(state);
    const pid_t service = socket.valid() ? ::fork() : -1;
    if (service < 0) {
        sim_store(state.time.port, uint32_t{0});
    }
    if (service != 0) {
        return service;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    unique_fd(lock_fd).reset(); // or the switch would go on for a moment when its maker is killed
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, nullptr); // Ctrl-C is the program's business
    if (::getppid() == self) {
        serve(socket.get(), state);
    }
    ::_exit(0);
}

void sim_time_stop(pid_t service) {
    if (service > 0) {
        ::kill(service, SIGKILL);
        ::waitpid(service, nullptr, 0);
    }
}
