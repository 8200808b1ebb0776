// The control program as it is, with the daemon on its switch.

#include "lib/base/unique_fd.h"
#include "tests/support/daemon_on_switch.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_network.h"
#include "tests/support/private_scenario.h"

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <span>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using words = std::vector<std::string>;
using values = std::vector<uint16_t>;

TEST(Switchsim, ChangesReachTheRegistersOfTheDaemonAtOnce) {
    daemon_on_switch sw;
    EXPECT_EQ(std::to_string(sw.port()) + "\n", sw.run("show", {"--value", "modbus.port"}).output);
    modbus_client client(sw.port());
    EXPECT_EQ((values{0x021B, 0xFE80, 0x7F06}), client.read(4, 1113, 3));
    EXPECT_EQ((values{0, 0}), client.read(4, 1129, 2));

    EXPECT_EQ(0, sw.run("set", {"power.main", "no-input", "port.3.word.5=7"}).status);
    EXPECT_EQ((values{3, 0}), client.read(4, 1129, 2));
    EXPECT_EQ((values{1, 7}), client.read(4, 1258, 2));
    // Nothing is changed when one of several is wrong.
    const command_result wrong = sw.run("set", {"port.3.word.5", "8", "port.3.link", "sideways"});
    EXPECT_EQ(2, wrong.status);
    EXPECT_THAT(wrong.output, HasSubstr("'sideways' is not one of down, up"));
    EXPECT_EQ(values{7}, client.read(4, 1259, 1));
    EXPECT_EQ(0, sw.run("set", {"port.3.link", "down"}).status);
    EXPECT_EQ(values{0}, client.read(4, 1259, 1));
    EXPECT_EQ("port.3.word.5 7 # 0 in the registers: the link is down\n",
              sw.run("show", {"port.3.word.5"}).output);
    EXPECT_THAT(sw.run("show", {"alarm"}).output,
                testing::AllOf(HasSubstr("alarm.link-down.3 off # on all the same: the link is down\n"),
                               HasSubstr("alarm.word 2097152 # 2097664 with the links that are down\n")));

    EXPECT_EQ(0, sw.run("fault", {"24257/25", "fail"}).status);
    EXPECT_EQ(0, sw.run("set", {"port.4.word.5", "9"}).status);
    EXPECT_EQ(values{0}, client.read(4, 1260, 1));
    EXPECT_EQ(0, sw.run("fault", {"clear"}).status);
    EXPECT_EQ(values{9}, client.read(4, 1260, 1));

    sw.end();
    EXPECT_TRUE(client.is_closed_by_peer()) << "a child of the daemon was left behind";
    EXPECT_THAT(sw.run("set", {"port.3.link", "up"}).output, HasSubstr("there is no such file"));
}

TEST(Switchsim, SecondRunIsRefusedWhileTheFirstLivesAndMayJoinIt) {
    EXPECT_EQ(125, switchsim_in_folder().run("join", {"true"}).status);
    const daemon_on_switch sw;
    const command_result second = run_command(sw.daemon_command());
    EXPECT_EQ(125, second.status);
    EXPECT_THAT(second.output, HasSubstr("another simulated switch is running there"));
    const command_result joined = sw.run("join", {"sh", "-c", "echo $SWITCHSIM_STATE; exit 7"});
    EXPECT_EQ(7, joined.status);
    EXPECT_THAT(joined.output, HasSubstr(sw.state() + "\n"));
    EXPECT_EQ(0, sw.run("set", {"port.1.link", "down"}).status) << "the first one is gone";
}

TEST(Switchsim, ScenarioPlaysWhileTheProgramRuns) {
    const daemon_on_switch sw({"port.1.word.5 32", "after 1", "port.1.word.5 33"});
    modbus_client client(sw.port());
    EXPECT_TRUE(eventually([&] { return client.read(4, 1257, 1) == values{33}; }));

    const switchsim_in_folder other;
    const command_result wrong = run_command(other.daemon_command({"port.1.lnk up"}));
    EXPECT_EQ(125, wrong.status);
    EXPECT_THAT(wrong.output, HasSubstr(other.state() + ".txt:1: port.1.lnk: no such setting"));
}

command_result flash(const words &arguments) {
    words all = {"flash"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run_command(own_program("switchsim", all));
}

TEST(Switchsim, FlashIsWhatProgramsOnTheSwitchRead) {
    EXPECT_EQ(1, flash({"mtd2"}).status);
    EXPECT_EQ(1, flash({"mtd1", "4095"}).status);
    EXPECT_EQ(2, flash({"mtd1", "67108865"}).status);
    if (own_program("").size() > 1) {
        GTEST_SKIP() << "this machine's cat takes no library of another";
    }
    const switchsim_in_folder sw;
    const std::string tailer = sw.run("run", {"cat", "/dev/mtd1"}).output;
    const std::string header = sw.run("run", {"cat", "/dev/mtd4"}).output;
    const std::string erased(16384 - 4096, '\xFF');
    EXPECT_THAT(tailer, HasSubstr("ZS-1200 managed switch"));
    EXPECT_EQ(erased + tailer, flash({"mtd1", "16384"}).output);
    EXPECT_EQ(header + erased, flash({"mtd4", "16384"}).output);
    EXPECT_EQ(header, flash({"mtd4"}).output);
}

TEST(Switchsim, ExitStatusIsTheProgramsAndWhatItLeftRunningIsEnded) {
    const switchsim_in_folder sw;
    const struct {
        words program;
        int status;
    } k_cases[] = {
        {{"sh", "-c", "exit 7"}, 7},
        {{"sh", "-c", "kill -9 $$"}, 128 + SIGKILL},
        {{"/nonexistent/program"}, 127},
        {{"/dev/null"}, 126},
        {{}, 2},
        {{"--nonsense", "true"}, 2},
        {{"sh", "-c", "sleep 1000 & exit 0"}, 0}, // the output ends with the last process that holds it
        {{"sh", "-c", "(setsid env -i sleep 1000 &) & exit 0"}, 0},
    };
    const bool emulated = own_program("").size() > 1; // then a run does not become its orphans' parent
    for (const auto &c : std::span(k_cases).first(std::size(k_cases) - (emulated ? 1 : 0))) {
        EXPECT_EQ(c.status, sw.run("run", c.program).status) << testing::PrintToString(c.program);
    }
    // With SIGCHLD ignored, as some starters leave it.
    words ignoring = sw.command("run", {"sh", "-c", "exit 7"});
    ignoring.insert(ignoring.begin(), {"env", "--ignore-signal=CHLD"});
    EXPECT_EQ(7, run_command(ignoring).status);
}

/// In a network where nobody else can take the service's port when it is free again.
void use_time_service() {
    ASSERT_TRUE(with_private_network(true));
    const switchsim_in_folder sw;
    child_process program(sw.command("run", {"sleep", "1000"}), -1);
    unsigned long port = 0;
    ASSERT_TRUE(eventually([&] {
        const std::string shown = sw.run("show", {"--value", "time.port"}).output;
        port = std::strtoul(shown.c_str(), nullptr, 10);
        return port != 0;
    }));
    sockaddr_in service = {AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
    const unique_fd fd(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(0, ::connect(fd.get(), reinterpret_cast<const sockaddr *>(&service), sizeof service));
    EXPECT_EQ(1, ::send(fd.get(), "", 1, 0));
    program.terminate();
    EXPECT_EQ(128 + SIGTERM, program.wait());
    EXPECT_EQ(1, ::send(fd.get(), "", 1, 0));
    EXPECT_EQ(-1, ::send(fd.get(), "", 1, 0)) << "the service was left behind";
    EXPECT_EQ(ECONNREFUSED, errno);
}

TEST(Switchsim, RunPlaysTheTimeServiceUntilItEnds) { with_private({"/var/tmp"}, use_time_service); }

} // namespace
