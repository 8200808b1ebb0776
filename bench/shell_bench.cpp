#include "bench/shell_peer.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_server.h"
#include "tests/support/private_mounts.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

// The shell with as many commands as a switch has, made up: what the parser needs for a line and for a
// listing, and a line on its whole way through sockets and output file, beside a bare datagram there and
// back. The commands of the switch are in commands_bench.cpp.

namespace {

constexpr int32_t k_modes = 25;
constexpr int32_t k_first_mode = 105; // apart from those of the switch
constexpr int32_t k_commands_per_mode = 40;
constexpr uint32_t k_mask = 0x4;

bool s_prints = false; // whether commands do; the parser alone is measured without

int32_t run(int32_t /*argc*/, const char *const * /*argv*/) {
    return s_prints && cli_print("%s\n", "done") != 5 ? 1 : 0;
}

/// The commands of a mode, and a line for each. For ever, as the parser wants them.
struct vocabulary {
    std::vector<std::string> words;
    std::vector<cli_command> commands;
    std::vector<std::string> lines;
};

vocabulary make_vocabulary() {
    constexpr std::array<const char *, 8> k_verbs = {"show",  "no",       "snmp-server",   "ip",
                                                     "clear", "mac-auth", "spanning-tree", "ring"};
    constexpr std::array<std::array<const char *, 2>, 5> k_arguments = {{
        {"<1-4094> (enable|disable)", "17 enable"},
        {"IPADDR IPADDR", "10.0.0.1 255.255.255.0"},
        {"VLANID MACADDR interface IFNAME", "12 00:11:22:33:44:55 interface gi1/0/3"},
        {"STRINGS", "text"},
        {nullptr, ""},
    }};
    vocabulary all;
    for (int32_t i = 0; i < k_commands_per_mode; i++) {
        all.words.push_back(std::string(k_verbs[static_cast<size_t>(i) % 8]) + " feature" +
                            std::to_string(i / 8) + " setting");
    }
    for (size_t i = 0; i < all.words.size(); i++) {
        const auto &[pattern, arguments] = k_arguments[i % 5];
        all.commands.push_back({all.words[i].c_str(),
                                k_mask,
                                0,
                                pattern,
                                run,
                                {"First.", "Second.", "Third.", "Fourth.", "Fifth."}});
        all.lines.push_back(all.words[i] + " " + arguments);
    }
    return all;
}

/// Installs it in all modes, once in a process.
const vocabulary &installed() {
    static const vocabulary s_all = [] {
        vocabulary all = make_vocabulary();
        for (int32_t mode = k_first_mode; mode < k_first_mode + k_modes; mode++) {
            for (const cli_command &command : all.commands) {
                if (cli_install(mode, &command) != 0) {
                    std::abort();
                }
            }
        }
        return all;
    }();
    return s_all;
}

cli_session in_mode(int32_t mode) {
    cli_session session = {};
    session.mode_mask = k_mask;
    session.mode_id = mode;
    return session;
}

void execute_line(benchmark::State &state) {
    const vocabulary &all = installed();
    cli_session session = in_mode(k_first_mode + k_modes - 1);
    size_t i = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (cli_session_execute(&session, all.lines[i].c_str()) != 0) {
            std::abort();
        }
        i = (i + 1) % all.lines.size();
    }
}

void list_help(benchmark::State &state) {
    installed();
    const cli_session session = in_mode(k_first_mode + k_modes - 1);
    for ([[maybe_unused]] auto _ : state) {
        if (cli_list_next_words(session, 1, 0, nullptr) != 8) {
            std::abort();
        }
    }
}

// ---- through sockets

[[noreturn]] void serve_echo(const char *path) {
    const int fd = bound_socket(path);
    for (;;) {
        csh_message message;
        sockaddr_un client{};
        socklen_t length = sizeof client;
        auto *const to = reinterpret_cast<sockaddr *>(&client);
        if (::recvfrom(fd, &message, sizeof message, 0, to, &length) < 0 ||
            ::sendto(fd, &message, sizeof message, 0, to, length) < 0) {
            std::exit(1);
        }
    }
}

[[noreturn]] void serve_shell(const char * /*path*/) {
    csh_startup startup = {};
    startup.skip_interface = true;
    startup.init_modules = [] { installed(); };
    s_prints = true;
    std::exit(csh_server_start(startup)); // it had no socket
}

/// Times each call, and reports the median.
template<typename Operation> void measure_median(benchmark::State &state, Operation operation) {
    std::vector<double> times;
    for ([[maybe_unused]] auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        operation();
        times.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + static_cast<ptrdiff_t>(times.size() / 2), times.end());
    state.counters["median_us"] = times[times.size() / 2];
}

void datagram_there_and_back(benchmark::State &state) {
    const peer echo(serve_echo, "/tmp/echo");
    csh_message message{};
    measure_median(state, [&] { echo.exchange(&message); });
    ::unlink("/tmp/echo");
}

void line_through_the_server(benchmark::State &state) {
    const peer server(serve_shell, k_csh_server_path);
    char output[64];
    std::snprintf(output, sizeof output, k_csh_output_format, ::getpid());
    const std::vector<std::string> lines = make_vocabulary().lines;
    size_t i = 0;
    measure_median(state, [&] {
        csh_message message{};
        message.type = 4;
        message.pid = ::getpid();
        message.session = in_mode(k_first_mode);
        std::snprintf(message.text, sizeof message.text, "%s", lines[i].c_str());
        i = (i + 1) % lines.size();
        server.exchange(&message);
        char text[64];
        const int file = ::open(output, O_RDONLY | O_CLOEXEC);
        if (message.result2 != 0 || ::read(file, text, sizeof text) != 5) {
            std::abort();
        }
        ::close(file);
    });
    ::unlink(k_csh_server_path);
}

} // namespace

BENCHMARK(execute_line);
BENCHMARK(list_help);
BENCHMARK(datagram_there_and_back)->UseRealTime();
BENCHMARK(line_through_the_server)->UseRealTime();

int main(int argc, char **argv) {
    // So that a shell that runs on this machine is left alone.
    if (!with_empty_directories({"/tmp", "/var"})) {
        std::fprintf(stderr, "bench_shell: no private mounts on this machine\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
