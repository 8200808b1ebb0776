// The control program as it is, with the daemon on its switch.

#include "lib/time/sntp_record.h"
#include "sim/state_file.h"
#include "tests/support/child_process.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_network.h"
#include "tests/support/private_scenario.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using words = std::vector<std::string>;
using values = std::vector<uint16_t>;

words operator+(words left, const words &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// A folder for a state file, and the control program told to use it.
class Switchsim : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(nullptr, ::mkdtemp(m_folder.data()));
        state = std::string(m_folder.data()) + "/state";
        scenario = state + ".txt";
    }
    void TearDown() override {
        ::unlink(scenario.c_str());
        EXPECT_EQ(0, ::rmdir(m_folder.data())) << "something was left behind";
    }

    [[nodiscard]] words control(const std::string &command) const {
        return own_program("switchsim", {command, "--state", state});
    }
    [[nodiscard]] words daemon_with(const words &options) const {
        return control("run") + words{"--port", "0"} + options + words{"--"} + own_program("modbusd");
    }
    [[nodiscard]] command_result set(const words &changes) const {
        return run_command(control("set") + changes);
    }
    [[nodiscard]] int fault(const words &changes) const {
        return run_command(control("fault") + changes).status;
    }

    /// The port that the daemon listens on, once it does; 0 when it never does.
    [[nodiscard]] uint16_t port() const {
        uint32_t found = 0;
        eventually([&] {
            sim_file file;
            if (sim_file_open(state.c_str(), file) == sim_file_result::ok) {
                found = sim_load(file.state->port_in_use);
                sim_file_close(file);
            }
            return found != 0;
        });
        return static_cast<uint16_t>(found);
    }

    std::string state;
    std::string scenario;

private:
    std::array<char, 32> m_folder{"/tmp/switchsim_test.XXXXXX"};
};

TEST_F(Switchsim, ChangesReachTheRegistersOfTheDaemonAtOnce) {
    child_process daemon(daemon_with({}), -1);
    const uint16_t number = port();
    ASSERT_NE(0, number);
    EXPECT_EQ(std::to_string(number) + "\n",
              run_command(control("show") + words{"--value", "modbus.port"}).output);
    modbus_client client(number);
    EXPECT_EQ((values{0x021B, 0xFE80, 0x7F06}), client.read(4, 1113, 3));
    EXPECT_EQ((values{0, 0}), client.read(4, 1129, 2));

    EXPECT_EQ(0, set({"power.main", "no-input", "port.3.word.5=7"}).status);
    EXPECT_EQ((values{3, 0}), client.read(4, 1129, 2));
    EXPECT_EQ((values{1, 7}), client.read(4, 1258, 2));
    // Nothing is changed when one of several is wrong.
    const command_result wrong = set({"port.3.word.5", "8", "port.3.link", "sideways"});
    EXPECT_EQ(2, wrong.status);
    EXPECT_THAT(wrong.output, HasSubstr("'sideways' is not one of down, up"));
    EXPECT_EQ(values{7}, client.read(4, 1259, 1));
    EXPECT_EQ(0, set({"port.3.link", "down"}).status);
    EXPECT_EQ(values{0}, client.read(4, 1259, 1));
    EXPECT_EQ("port.3.word.5 7 # 0 in the registers: the link is down\n",
              run_command(control("show") + words{"port.3.word.5"}).output);
    EXPECT_THAT(run_command(control("show") + words{"alarm"}).output,
                testing::AllOf(HasSubstr("alarm.link-down.3 off # on all the same: the link is down\n"),
                               HasSubstr("alarm.word 2097152 # 2097664 with the links that are down\n")));

    EXPECT_EQ(0, fault({"24257/25", "fail"}));
    EXPECT_EQ(0, set({"port.4.word.5", "9"}).status);
    EXPECT_EQ(values{0}, client.read(4, 1260, 1));
    EXPECT_EQ(0, fault({"clear"}));
    EXPECT_EQ(values{9}, client.read(4, 1260, 1));

    daemon.terminate();
    EXPECT_EQ(128 + SIGTERM, daemon.wait());
    EXPECT_TRUE(client.is_closed_by_peer()) << "a child of the daemon was left behind";
    EXPECT_THAT(set({"port.3.link", "up"}).output, HasSubstr("there is no such file"));
}

TEST_F(Switchsim, SecondRunIsRefusedWhileTheFirstLivesAndMayJoinIt) {
    const words ask = control("join") + words{"sh", "-c", "echo $SWITCHSIM_STATE; exit 7"};
    EXPECT_EQ(125, run_command(ask).status);
    child_process daemon(daemon_with({}), -1);
    ASSERT_NE(0, port());
    const command_result second = run_command(daemon_with({}));
    EXPECT_EQ(125, second.status);
    EXPECT_THAT(second.output, HasSubstr("another simulated switch is running there"));
    const command_result joined = run_command(ask);
    EXPECT_EQ(7, joined.status);
    EXPECT_THAT(joined.output, HasSubstr(state + "\n"));
    EXPECT_EQ(0, set({"port.1.link", "down"}).status) << "the first one is gone";
}

TEST_F(Switchsim, ScenarioPlaysWhileTheProgramRuns) {
    std::ofstream(scenario) << "port.1.word.5 32\nafter 1\nport.1.word.5 33\n";
    child_process daemon(daemon_with({"--scenario", scenario}), -1);
    modbus_client client(port());
    EXPECT_EQ(values{32}, client.read(4, 1257, 1));
    EXPECT_TRUE(eventually([&] { return client.read(4, 1257, 1) == values{33}; }));
    daemon.terminate();
    daemon.wait();

    std::ofstream(scenario) << "port.1.lnk up\n";
    const command_result wrong = run_command(daemon_with({"--scenario", scenario}));
    EXPECT_EQ(125, wrong.status);
    EXPECT_THAT(wrong.output, HasSubstr(scenario + ":1: port.1.lnk: no such setting"));
}

TEST_F(Switchsim, ExitStatusIsTheProgramsAndWhatItLeftRunningIsEnded) {
    const words run = control("run");
    EXPECT_EQ(7, run_command(run + words{"sh", "-c", "exit 7"}).status);
    EXPECT_EQ(128 + SIGKILL, run_command(run + words{"sh", "-c", "kill -9 $$"}).status);
    EXPECT_EQ(127, run_command(run + words{"/nonexistent/program"}).status);
    EXPECT_EQ(126, run_command(run + words{"/dev/null"}).status);
    EXPECT_EQ(2, run_command(run).status);
    EXPECT_EQ(2, run_command(run + words{"--nonsense", "true"}).status);
    // With SIGCHLD ignored, as some starters leave it.
    EXPECT_EQ(7,
              run_command(words{"env", "--ignore-signal=CHLD"} + run + words{"sh", "-c", "exit 7"}).status);
    // The output ends with the last process that holds it.
    EXPECT_EQ(0, run_command(run + words{"sh", "-c", "sleep 1000 & exit 0"}).status);
    const bool emulated = own_program("").size() > 1; // then a run does not become its orphans' parent
    if (!emulated) {
        const words orphan = {"sh", "-c", "(setsid env -i sleep 1000 &) & exit 0"};
        EXPECT_EQ(0, run_command(run + orphan).status);
    }
}

/// In a network where nobody else can take the service's port when it is free again.
void use_time_service(const std::function<words(const std::string &)> &control) {
    ASSERT_TRUE(with_private_network(true));
    child_process program(control("run") + words{"sleep", "1000"}, -1);
    unsigned long port = 0;
    ASSERT_TRUE(eventually([&] {
        const std::string shown = run_command(control("show") + words{"--value", "time.port"}).output;
        port = std::strtoul(shown.c_str(), nullptr, 10);
        return port != 0;
    }));
    sntp_record record{};
    record.command = sntp_command::set_second_rule;
    std::copy_n(std::array<uint32_t, 4>{5, 6, 12, 23}.begin(), 4, record.words);
    const sntp_record request = record;
    sockaddr_in service{};
    service.sin_family = AF_INET;
    service.sin_port = htons(static_cast<uint16_t>(port));
    service.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval patience{10, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ASSERT_EQ(0, ::connect(fd, reinterpret_cast<const sockaddr *>(&service), sizeof service));
    ASSERT_EQ(128, ::send(fd, &request, sizeof request, 0));
    EXPECT_EQ(128, ::recv(fd, &record, sizeof record, 0));
    EXPECT_EQ("5\n6\n12\n23\n", run_command(control("show") + words{"--value", "time.rule2"}).output);

    program.terminate();
    EXPECT_EQ(128 + SIGTERM, program.wait());
    ::send(fd, &request, sizeof request, 0);
    EXPECT_EQ(-1, ::recv(fd, &record, sizeof record, 0)) << "the service was left behind";
    EXPECT_EQ(ECONNREFUSED, errno);
    ::close(fd);
}

TEST_F(Switchsim, RunPlaysTheTimeServiceAndShowTellsWhatItWasTold) {
    with_private({"/var/tmp"},
                 [this] { use_time_service([this](const auto &verb) { return control(verb); }); });
}

} // namespace
