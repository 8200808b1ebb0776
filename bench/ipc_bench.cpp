#include "lib/base/bytes.h"
#include "lib/ipc/ipc_api.h"
#include "tests/support/private_mounts.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Requests and their responses through the IPC server, by several senders at once, beside a bare message
// there and back over a socket pair. The answers come from another process, as they do on the switch.

namespace {

constexpr uint8_t k_route = 5;
constexpr uint16_t k_first_command = 200;
constexpr size_t k_payload = 16;
constexpr size_t k_message = k_ipc_header_size + k_payload;

using message = std::array<uint8_t, k_message>;

bool receive(int fd, message &bytes) {
    return ::recv(fd, bytes.data(), bytes.size(), MSG_WAITALL) == static_cast<ssize_t>(bytes.size());
}

bool send(int fd, const message &bytes) {
    return ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

/// Answers every message with itself, made a good response.
[[noreturn]] void answer_all(int fd) {
    message bytes;
    while (receive(fd, bytes)) {
        bytes[7] = k_ipc_kind_response;
        bytes[8] = 0;
        if (!send(fd, bytes)) {
            break;
        }
    }
    std::_Exit(0);
}

[[noreturn]] void be_client() {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", k_ipc_serv_path);
    while (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        ::usleep(1000);
    }
    constexpr uint8_t k_hello[] = {0, 10, 255, 1, k_route, 1, 69, 2, 0, k_route};
    if (::send(fd, k_hello, sizeof k_hello, 0) != sizeof k_hello) {
        std::_Exit(1);
    }
    answer_all(fd);
}

/// Forked before any thread is there.
template<typename F> pid_t in_a_child(F run) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        run();
    }
    return pid;
}

int s_echo = -1; // the other end answers

/// Times every call; reports the median and the 99th percentile, averaged over the threads.
template<typename Operation> void measure(benchmark::State &state, Operation operation) {
    std::vector<double> times;
    for ([[maybe_unused]] auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (!operation()) {
            std::abort();
        }
        times.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    state.SetItemsProcessed(state.iterations());
    state.counters["median_us"] =
        benchmark::Counter(times[times.size() / 2], benchmark::Counter::kAvgThreads);
    state.counters["p99_us"] =
        benchmark::Counter(times[times.size() * 99 / 100], benchmark::Counter::kAvgThreads);
}

void pair_there_and_back(benchmark::State &state) {
    message bytes = {};
    measure(state, [&] { return send(s_echo, bytes) && receive(s_echo, bytes); });
}

void request_and_response(benchmark::State &state) {
    const auto command = static_cast<uint16_t>(k_first_command + state.thread_index());
    std::array<uint8_t, k_payload> payload = {};
    std::array<uint8_t, k_payload> reply = {};
    measure(state, [&] {
        ipc_header header = {k_route, command, k_ipc_kind_request, k_ipc_status_unanswered};
        protoipc_send_request(&header, payload.data(), payload.size(), reply.data(), reply.size());
        return header.status == 0;
    });
}

} // namespace

BENCHMARK(pair_there_and_back)->UseRealTime();
BENCHMARK(request_and_response)->UseRealTime()->Threads(1)->Threads(4)->Threads(16);

int main(int argc, char **argv) {
    int ends[2];
    // So that a management process that runs on this machine is left alone.
    if (!with_empty_directories({"/tmp"}) || ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        std::fprintf(stderr, "bench_ipc: no private mounts on this machine\n");
        return 1;
    }
    s_echo = ends[0];
    const pid_t echo = in_a_child([&] {
        ::close(ends[0]);
        answer_all(ends[1]);
    });
    const pid_t client = in_a_child(be_client);
    // Otherwise there is a line in the system log for every response, and its price is that of the log.
    ipc_get_settings().log_detailed = false;
    if (ipc_serv_start() != 0) {
        std::fprintf(stderr, "bench_ipc: the server does not start\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    ::kill(echo, SIGKILL);
    ::kill(client, SIGKILL);
    while (::wait(nullptr) > 0) {
    }
}
