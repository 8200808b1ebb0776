// The daemon as it is, on a simulated switch, over real sockets.

#include "lib/base/bytes.h"
#include "sim/state_file.h"
#include "tests/support/child_process.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_mounts.h"

#include <array>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

void write_lines(const std::string &path, const std::vector<std::string> &lines) {
    std::FILE *file = std::fopen(path.c_str(), "w");
    for (const std::string &line : lines) {
        std::fprintf(file, "%s\n", line.c_str());
    }
    std::fclose(file);
}

/// A simulated switch with the daemon on it, on a port the kernel chose.
class daemon_on_switch {
public:
    /// `shell_line` starts it, as "$@"; empty: it is started itself.
    explicit daemon_on_switch(const std::vector<std::string> &settings = {}, int stdin_fd = -2,
                              const std::string &port = "0", const std::string &shell_line = "") {
        if (::mkdtemp(m_folder.data()) == nullptr) {
            std::abort();
        }
        const std::string scenario = folder() + "/scenario";
        write_lines(scenario, settings);
        std::vector<std::string> arguments = {"run", "--state",    state(),  "--port",
                                              port,  "--scenario", scenario, "--"};
        if (!shell_line.empty()) {
            arguments.insert(arguments.end(), {"sh", "-c", shell_line, "sh"});
        }
        for (const std::string &word : own_program("modbusd")) {
            arguments.push_back(word);
        }
        const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        m_process = std::make_unique<child_process>(own_program("switchsim", arguments),
                                                    stdin_fd == -2 ? null : stdin_fd);
        ::close(null);
        wait_for_port();
    }
    ~daemon_on_switch() {
        m_process.reset();
        std::filesystem::remove_all(folder());
    }
    daemon_on_switch(const daemon_on_switch &) = delete;
    daemon_on_switch &operator=(const daemon_on_switch &) = delete;

    [[nodiscard]] uint16_t port() const { return m_port; }
    child_process &process() { return *m_process; }
    /// Runs `switchsim COMMAND ...` on this switch.
    void control(const std::string &command, std::vector<std::string> words) {
        words.insert(words.begin(), {command, "--state", state()});
        const command_result result = run_command(own_program("switchsim", words));
        EXPECT_EQ(0, result.status) << result.output;
    }

    [[nodiscard]] std::string folder() const { return m_folder.data(); }

private:
    [[nodiscard]] std::string state() const { return folder() + "/state"; }
    void wait_for_port() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (m_port == 0 && std::chrono::steady_clock::now() < deadline) {
            sim_file file = {};
            if (sim_file_open(state().c_str(), file) == sim_file_result::ok) {
                m_port = static_cast<uint16_t>(sim_load(file.state->port_in_use));
                sim_file_close(file);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    std::array<char, 32> m_folder{"/tmp/daemon_test.XXXXXX"};
    std::unique_ptr<child_process> m_process;
    uint16_t m_port = 0;
};

class daemon_test : public testing::Test {
protected:
    void SetUp() override { // the serial number comes through a file there
        if (!with_empty_directories({"/var/tmp"})) {
            GTEST_SKIP() << "no private mounts on this machine";
        }
    }
};

octets with_size(octets pdu, size_t size) {
    pdu.resize(size);
    return pdu;
}

size_t count_of(const std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        count++;
    }
    return count;
}

} // namespace

using Daemon = daemon_test;

TEST_F(Daemon, EveryFunctionKeepsItsLimits) {
    const daemon_on_switch daemon;
    modbus_client client(daemon.port());
    octets absent_ports(2 + 248, 0xFF);
    absent_ports[0] = 0x04;
    absent_ports[1] = 248;
    const struct {
        octets request;
        octets reply;
    } k_cases[] = {
        {{0x01, 0, 0, 1999 >> 8, 1999 & 0xFF}, {0x81, 2}},
        {{0x01, 0, 0, 2000 >> 8, 2000 & 0xFF}, {0x81, 3}},
        {{0x01, 0, 0, 0, 0}, {0x81, 3}},
        {{0x01, 0, 0, 0, 1, 0}, {0x81, 3}},
        {{0x02, 0, 0, 1999 >> 8, 1999 & 0xFF}, {0x82, 2}},
        {{0x02, 0, 0, 2000 >> 8, 2000 & 0xFF}, {0x82, 3}},
        {{0x02, 0, 0, 0}, {0x82, 3}},
        {{0x03, 0x07, 0xCF, 0, 125}, with_size({0x03, 250}, 252)},
        {{0x03, 0x07, 0xCF, 0, 126}, {0x83, 3}},
        {{0x03, 0x07, 0xCF, 1, 2}, {0x03, 4, 0, 0, 0, 0}}, // the count is the low byte alone
        {{0x03, 0x07, 0xCF, 1, 0}, {0x83, 3}},
        {{0x03, 0x07, 0xCF, 0, 1, 0}, {0x83, 3}},
        {{0x03, 0x07, 0xCF, 0}, {0x83, 3}},
        {{0x03, 0x07, 0xCE, 0, 1}, {0x83, 2}},
        {{0x03, 0xFF, 0xFF, 0, 1}, {0x83, 2}},
        {{0x04, 0x03, 0xE8, 0, 1}, {0x04, 2, 0xD8, 0xED}},
        {{0x04, 0x05, 0x2B, 0, 124}, absent_ports},
        {{0x04, 0x03, 0xE8, 0, 125}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 0, 1, 0}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 0}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 1, 1}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 0, 0}, {0x84, 3}},
        {{0x04, 0x03, 0xE7, 0, 1}, {0x84, 2}},
        {{0x05, 0, 0, 0xFF, 0x00}, {0x85, 2}},
        {{0x05, 0, 0, 0x00, 0x00}, {0x85, 2}},
        {{0x05, 0, 0, 0x00, 0xFF}, {0x85, 3}},
        {{0x05, 0, 0, 0x12, 0x00}, {0x85, 3}},
        {{0x05, 0, 0, 0xFF}, {0x85, 3}},
        {{0x05, 0, 0, 0xFF, 0x00, 0}, {0x85, 3}},
        {{0x06, 0x08, 0x50, 0xAB, 0xCD}, {0x06, 0x08, 0x50, 0xAB, 0xCD}}, // 2129, the last one
        {{0x06, 0x08, 0x51, 0xAB, 0xCD}, {0x86, 2}},
        {{0x06, 0x08, 0x50, 0xAB}, {0x86, 3}},
        {{0x06, 0x08, 0x50, 0xAB, 0xCD, 0}, {0x86, 3}},
        {{0x0F, 0, 0, 1968 >> 8, 1968 & 0xFF, 246}, {0x8F, 2}},
        {{0x0F, 0, 0, 1969 >> 8, 1969 & 0xFF, 247}, {0x8F, 3}},
        {{0x0F, 0, 0, 0, 9, 1, 0xFF}, {0x8F, 3}},
        {{0x0F, 0, 0, 0, 9, 2, 0xFF, 0xFF}, {0x8F, 2}},
        {{0x0F, 0, 0, 0, 9}, {0x8F, 3}},
        {{0x0F, 0, 0, 0, 0, 0}, {0x8F, 3}},
        {{0x10, 0x07, 0xCF, 0, 2, 4, 1, 2, 3, 4}, {0x10, 0x07, 0xCF, 0, 2}},
        {{0x10, 0x07, 0xCF, 0, 2, 5, 1, 2, 3, 4, 5}, {0x90, 3}},
        {with_size({0x10, 0x07, 0xCF, 0, 120, 240}, 246), {0x10, 0x07, 0xCF, 0, 120}},
        {with_size({0x10, 0x07, 0xCF, 0, 121, 242}, 248), {0x90, 3}},
        {{0x10, 0x07, 0xCF, 0, 0, 0}, {0x90, 3}},
        {{0x10, 0x07, 0xCF, 0, 1}, {0x90, 3}},
        {{0x10, 0x07, 0xCF, 0, 1, 2}, {0x10, 0x07, 0xCF, 0, 1}}, // the values are what the buffer held
        {{0x10, 0x08, 0x50, 0, 2, 4, 1, 2, 3, 4}, {0x90, 2}},
        {{0x11}, {0x11}},
        {{0x17, 0x07, 0xCF, 0, 2, 0x07, 0xD0, 0, 1, 2, 0xBE, 0xEF},
         {0x17, 4, 0, 0, 0xBE, 0xEF}}, // write, then read
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1},
         {0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1}},                           // 9 bytes: echoed
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1, 2}, {0x17, 2, 0xBE, 0xEF}}, // served with what was left
        {{0x17, 0x07, 0xCF, 0, 0, 0x07, 0xCF, 0, 1, 2, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 0, 0, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 126, 0x07, 0xCF, 0, 1, 2, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1, 3, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCE, 0, 1, 2, 0, 0}, {0x97, 2}},
        {{0x17, 0x07, 0xCE, 0, 1, 0x07, 0xCF, 0, 1, 2, 0x77, 0x77}, {0x97, 2}},
        {{0x03, 0x07, 0xCF, 0, 1}, {0x03, 2, 0x77, 0x77}}, // the write before the refused read was done
        {with_size({0x17, 0x07, 0xCF, 0, 125, 0x07, 0xCF, 0, 121, 242}, 252), with_size({0x17, 250}, 252)},
        {with_size({0x17, 0x07, 0xCF, 0, 125, 0x07, 0xCF, 0, 122, 244}, 254), {0x97, 3}},
        {{0x2B, 0x0E, 1, 0}, {0xAB, 1}},
        {{0x00}, {0x80, 1}},
        {{0x83, 1}, {0x83, 1}},
    };
    for (const auto &c : k_cases) {
        EXPECT_EQ(c.reply, client.exchange(c.request)) << testing::PrintToString(c.request);
    }
}

TEST_F(Daemon, ServesWithAnyStandardInput) {
    std::array<int, 2> idle_pipe = {};
    std::array<int, 2> full_pipe = {};
    std::array<int, 2> sockets = {};
    ASSERT_EQ(0, ::pipe2(idle_pipe.data(), O_CLOEXEC));
    ASSERT_EQ(0, ::pipe2(full_pipe.data(), O_CLOEXEC));
    ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()));
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(0, ::unlockpt(terminal));
    const int slave = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(4, ::write(full_pipe[1], "text", 4));
    ASSERT_EQ(4, ::write(sockets[1], "text", 4));
    ASSERT_EQ(5, ::write(terminal, "text\n", 5));
    const struct {
        const char *what;
        int fd;
    } k_inputs[] = {{"closed", -1},         {"/dev/null", null},    {"idle pipe", idle_pipe[0]},
                    {"pipe", full_pipe[0]}, {"socket", sockets[0]}, {"terminal", slave}};
    for (const auto &input : k_inputs) {
        const daemon_on_switch daemon({}, input.fd);
        for (int i = 0; i < 3; i++) {
            modbus_client client(daemon.port());
            EXPECT_EQ((std::vector<uint16_t>{0xD8ED}), client.read(4, 1001, 1)) << input.what;
        }
    }
    for (const int fd : {idle_pipe[0], idle_pipe[1], full_pipe[0], full_pipe[1], sockets[0], sockets[1], null,
                         terminal, slave}) {
        ::close(fd);
    }
}

TEST_F(Daemon, ServesWhateverItWasStartedWithout) {
    // Without standard streams a socket would become one, and without SIGCHLD the ten places would not come
    // back.
    const daemon_on_switch daemon({"fault.device missing"}, -1, "0", R"(trap '' CHLD; exec "$@" >&- 2>&-)");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (int served = 0; served < 12;) {
        modbus_client client(daemon.port()); // refused, perhaps, while those that have left are not reaped
        served += client.read(4, 1001, 1) == std::vector<uint16_t>{0xD8ED} ? 1 : 0;
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << served << " clients were served";
    }
    modbus_client aborting(daemon.port());
    ASSERT_TRUE(aborting.send({0, 1, 0, 0, 0, 0, 17}));
    EXPECT_TRUE(aborting.is_closed_by_peer()) << "instead of being told of it";
}

TEST_F(Daemon, StartUpMessagesComeOnceWhateverForks) {
    daemon_on_switch daemon({"fault.device missing", "fault.mtd1 missing", "fault.mtd4 short"});
    for (int i = 0; i < 3; i++) {
        modbus_client client(daemon.port());
        EXPECT_EQ((std::vector<uint16_t>{0xD8ED, 0}), client.read(4, 1001, 2));
    }
    daemon.process().terminate();
    EXPECT_EQ(128 + SIGTERM, daemon.process().wait());
    const std::string text = daemon.process().read_all();
    EXPECT_EQ(1U, count_of(text, "mb_init: can't get u-boot tailer!\r\n")) << text;
    EXPECT_EQ(1U, count_of(text, "mb_init: can't get FW header!\r\n")) << text;
    EXPECT_EQ(1U, count_of(text, "sasiOpen() ERROR!!\n")) << text;
}

TEST_F(Daemon, ATakenPortEndsItWithStatusOne) {
    const daemon_on_switch first;
    const std::string scenario = first.folder() + "/no-flash";
    write_lines(scenario, {"fault.mtd1 missing"});
    std::vector<std::string> arguments = {
        "run",    "--state", first.folder() + "/other", "--port", std::to_string(first.port()), "--scenario",
        scenario, "--"};
    for (const std::string &word : own_program("modbusd")) {
        arguments.push_back(word);
    }
    const command_result second = run_command(own_program("switchsim", arguments));
    EXPECT_EQ(1, second.status);
    EXPECT_EQ("tcp_port_init: can't listen on TCP port 502! bind: Address already in use\r\n",
              second.output); // not even the identity was looked at
}

TEST_F(Daemon, StartsAgainBesideClientsOfTheLastOne) {
    const uint16_t port = free_port();
    const auto start = [&] {
        return std::make_unique<daemon_on_switch>(std::vector<std::string>{}, -2, std::to_string(port));
    };
    auto first = start();
    modbus_client held(port);
    ASSERT_EQ((std::vector<uint16_t>{0xD8ED}), held.read(4, 1001, 1));
    first->process().terminate(); // switchsim ends the child too; its connection lingers in the kernel
    EXPECT_EQ(128 + SIGTERM, first->process().wait());
    const auto second = start();
    modbus_client next(port);
    EXPECT_EQ((std::vector<uint16_t>{0xD8ED}), next.read(4, 1001, 1));
}

TEST_F(Daemon, AFailedForkCostsThatClientOnly) {
    daemon_on_switch daemon;
    daemon.control("fault", {"fork", "1"});
    {
        modbus_client unlucky(daemon.port());
        EXPECT_TRUE(unlucky.is_closed_by_peer());
    }
    // The client count stays raised: nine more are served.
    std::vector<std::unique_ptr<modbus_client>> clients;
    for (int i = 0; i < 9; i++) {
        clients.push_back(std::make_unique<modbus_client>(daemon.port()));
        ASSERT_EQ((std::vector<uint16_t>{0xD8ED}), clients.back()->read(4, 1001, 1)) << i;
    }
    modbus_client tenth(daemon.port());
    EXPECT_TRUE(tenth.is_closed_by_peer());
}

TEST_F(Daemon, AnIndependentClientReadsAndWrites) {
    const daemon_on_switch daemon;
    const auto mbpoll = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"mbpoll", "-m", "tcp", "-p", std::to_string(daemon.port()), "-1", "-q"});
        return run_command(words);
    };
    const command_result input = mbpoll({"-t", "3:hex", "-r", "1001", "-c", "1", "127.0.0.1"});
    EXPECT_EQ(0, input.status) << input.output;
    EXPECT_NE(std::string::npos, input.output.find("0xD8ED")) << input.output;
    const command_result write = mbpoll({"-t", "4", "-r", "2000", "127.0.0.1", "11", "22", "33"});
    EXPECT_EQ(0, write.status) << write.output;
    EXPECT_NE(std::string::npos, write.output.find("Written 3 references")) << write.output;
    const command_result outside = mbpoll({"-t", "3", "-r", "1146", "-c", "1", "127.0.0.1"});
    EXPECT_NE(std::string::npos, outside.output.find("Illegal data address")) << outside.output;
}
