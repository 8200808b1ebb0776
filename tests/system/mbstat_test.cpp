// The daemon and mbstat as they are, on a simulated switch, with a system log of the test's own.

#include "tests/support/children_of.h"
#include "tests/support/daemon_on_switch.h"
#include "tests/support/eventually.h"
#include "tests/support/log_socket.h"
#include "tests/support/modbus_client.h"
#include "tests/support/own_processes.h"

#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <regex>

using testing::HasSubstr;
using testing::StartsWith;

namespace {

command_result mbstat(const std::vector<std::string> &arguments) {
    return run_command(own_program("mbstat", arguments));
}

/// The listening process, as mbstat tells it; 0 when there is none.
pid_t listener() {
    static const std::regex k_process("^modbusd_process_id ([0-9]+)$", std::regex::multiline);
    const std::string metrics = mbstat({"--prometheus"}).output;
    std::smatch found;
    return std::regex_search(metrics, found, k_process) ? std::stoi(found[1]) : 0;
}

/// Whether mbstat comes to print this line.
bool is_counted(const std::string &line) {
    return eventually(
        [&] { return mbstat({"--prometheus"}).output.find("\n" + line + "\n") < std::string::npos; });
}

std::string own_address(const modbus_client &client) {
    sockaddr_in own = {};
    socklen_t size = sizeof own;
    ::getsockname(client.fd(), reinterpret_cast<sockaddr *>(&own), &size);
    return "client 127.0.0.1 port " + std::to_string(ntohs(own.sin_port));
}

/// The next line of the log; empty after `patience_ms` without one.
std::string take_line(const unique_fd &log, int patience_ms) {
    char text[1024];
    pollfd waiting = {log.get(), POLLIN, 0};
    const bool came = ::poll(&waiting, 1, patience_ms) == 1;
    const ssize_t size = came ? ::recv(log.get(), text, sizeof text, 0) : 0;
    return {text, static_cast<size_t>(std::max<ssize_t>(size, 0))};
}

/// A world with this daemon alone: "/dev" has a null device only.
void with_own_daemon(const std::function<void()> &scenario) {
    with_own_processes({"/dev", "/var/tmp"}, [&] {
        std::ofstream("/dev/null").flush();
        scenario();
    });
}

constexpr int k_patience_ms = 20000;
constexpr int k_reaping_ms = 6000; // the listener reaps at least every 5 s

} // namespace

TEST(MbStatPrograms, PrintWhatTheDaemonCounts) {
    with_own_daemon([] {
        const daemon_on_switch daemon;
        {
            modbus_client client(daemon.port());
            ASSERT_EQ((octets{0x84, 2}), client.exchange({0x04, 0x03, 0xE7, 0, 1}));
            ASSERT_EQ(1U, client.read(4, 1001, 1).size());
            EXPECT_TRUE(is_counted("modbusd_connections_open 1"));
        }
        EXPECT_TRUE(is_counted("modbusd_connections_ended_total{reason=\"peer\"} 1"));
        EXPECT_TRUE(is_counted("modbusd_requests_total{function=\"0x04\"} 2"));
        EXPECT_TRUE(is_counted("modbusd_device_requests_total 1"));
        EXPECT_TRUE(is_counted("modbusd_exceptions_total{code=\"2\"} 1"));
        const std::string process = std::to_string(listener());
        EXPECT_THAT(mbstat({}).output, StartsWith("Process             : " + process + "\n"));
        EXPECT_THAT(mbstat({"-j", "-p", process}).output, StartsWith("{\"process\":" + process + ","));
    });
}

TEST(MbStatPrograms, MetricsAreInTheExpositionFormat) {
    with_own_daemon([] {
        const daemon_on_switch daemon;
        static const std::regex k_family("# HELP (\\w+) \\S.*\n# TYPE \\1 (counter|gauge)\n"
                                         "(\\1(\\{\\w+=\"\\w+\"\\})? [0-9.]+\n)+");
        ASSERT_TRUE(eventually([] { return listener() != 0; }));
        const command_result metrics = mbstat({"--prometheus"});
        std::string left = metrics.output;
        std::ifstream file(std::string(ZOP_DOCS_DIR) + "/monitoring.md");
        const std::string document{std::istreambuf_iterator<char>(file), {}};
        std::smatch found;
        while (std::regex_search(left, found, k_family, std::regex_constants::match_continuous)) {
            const std::string name = found[1];
            EXPECT_EQ(name.ends_with("_total") ? "counter" : "gauge", found[2]) << name;
            EXPECT_THAT(document, HasSubstr("`" + name + "`"));
            left = found.suffix();
        }
        EXPECT_EQ("", left);
        EXPECT_EQ(0, metrics.status);
    });
}

TEST(MbStatPrograms, FailWithOneLineAndAStatus) {
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char *said;
    } k_cases[] = {
        {{}, 1, "mbstat: no modbusd runs\n"},
        {{"--pid", "1"}, 1, "mbstat: process 1 is no modbusd, or not this user's to look at\n"},
        {{"--user", "root"}, 1, "mbstat: no modbusd runs\n"},
        {{"--user", "no-one-here"}, 2, "mbstat: no such user: no-one-here\n"},
        {{"--pid", "0"}, 2, "mbstat: not a process number: 0\n"},
        {{"--pid", "99999999999"}, 2, "mbstat: not a process number: 99999999999\n"},
        {{"--json", "--prometheus"}, 2, "mbstat: one of: --json, --prometheus\n"},
        {{"here"}, 2, "mbstat: not an option: here\n"},
    };
    with_own_daemon([&] {
        for (const auto &c : k_cases) {
            const command_result result = mbstat(c.arguments);
            EXPECT_EQ(c.status, result.status) << c.said;
            EXPECT_THAT(result.output, StartsWith(c.said));
        }
    });
}

TEST(MbStatPrograms, TheLogIsToldOnceWhoseProcessCrashed) {
    with_own_daemon([] {
        const unique_fd log = listen_as_log(SOCK_DGRAM);
        const daemon_on_switch daemon;
        modbus_client client(daemon.port());
        ASSERT_EQ((octets{0x11}), client.exchange({0x11}));
        const pid_t parent = listener();
        const std::string ident =
            " modbusd[" + std::to_string(parent) + "]: " + own_address(client) + ": process ";
        const pid_t child = children_of(parent).at(0);
        ASSERT_EQ(0, ::kill(child, SIGKILL));
        const std::string line = take_line(log, k_patience_ms);
        EXPECT_THAT(line, StartsWith("<27>")) << "daemon, error";
        EXPECT_THAT(line, testing::EndsWith(ident + std::to_string(child) + " was ended by signal 9 (KILL)"));
        EXPECT_TRUE(is_counted("modbusd_connections_ended_total{reason=\"crash\"} 1"));

        { // an end like this one is no line
            modbus_client orderly(daemon.port());
            ASSERT_EQ((octets{0x11}), orderly.exchange({0x11}));
        }
        EXPECT_TRUE(is_counted("modbusd_connections_ended_total{reason=\"peer\"} 1"));
        modbus_client wrong(daemon.port());
        ASSERT_TRUE(wrong.send({0, 1, 0, 0, 0, 0, 17}));
        EXPECT_THAT(take_line(log, k_patience_ms), HasSubstr("Assertion `usTCPBufPos"));
        EXPECT_THAT(take_line(log, k_patience_ms), HasSubstr(own_address(wrong)));
        EXPECT_TRUE(is_counted("modbusd_connections_ended_total{reason=\"bad_frame\"} 1"));
    });
}

TEST(MbStatPrograms, ALogThatStandsStillHoldsNobody) {
    with_own_daemon([] {
        const unique_fd log = listen_as_log(SOCK_DGRAM); // takes 11 lines, and nobody reads them
        const daemon_on_switch daemon;
        pid_t parent = 0;
        ASSERT_TRUE(eventually([&] { return (parent = listener()) != 0; }));
        for (int i = 0; i < 20; i++) {
            modbus_client client(daemon.port());
            ASSERT_EQ((octets{0x11}), client.exchange({0x11})) << i;
            for (const pid_t child : children_of(parent)) {
                ::kill(child, SIGKILL);
            }
            ASSERT_TRUE(client.is_closed_by_peer());
        }
        EXPECT_TRUE(is_counted("modbusd_connections_ended_total{reason=\"crash\"} 20"));
        for (int i = 0; i < 20; i++) {
            EXPECT_THAT(take_line(log, k_reaping_ms), HasSubstr("signal 9 (KILL)")) << i;
        }
    });
}
