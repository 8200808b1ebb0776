// The shell as its users meet it: zopsh at a terminal or in a script, with the management process behind it.

#include "tests/support/private_scenario.h"
#include "tests/support/shell_terminal.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

void run_scripts() {
    EXPECT_EQ(2, zopsh({"-c", "show version"}).status) << "no server";
    EXPECT_EQ(2, zopsh({"--timeout", "0"}).status);
    management server;
    command_result result = zopsh({"-c", "conf t", "-c", "vlan 12", "-c", "show cpu load", "-c", "end"});
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.output, MatchesRegex("CPU load +: [0-9]+\\.[0-9]{2} %\n"));

    EXPECT_THAT(zopsh({"--json", "-c", "show version"}).output,
                MatchesRegex("\\{\"software_version\":\"[0-9.]+\",\"device_type\":null\\}\n"));

    const std::pair<const char *, std::string> wrong[] = {
        {"show xyz", "  show xyz\n       ^ unknown here; ? lists what fits\n"},
        {"snmp_v server", "  snmp_v server\n  ^ ambiguous: snmp_v1v2c, snmp_v3\n"},
        {"show", "  show\n      ^ incomplete; ? lists what can follow\n"},
        {"show uptime now",
         "% Wrong argument\n  show uptime now\n              ^ nothing is expected here\n"},
        {"set length 1",
         "% Invalid value\n\n  set length 1\n             ^ expected VALUE: 2 to 29999; 24 by default\n"},
        {"user password-length 7", "  user password-length 7\n                       ^ expected <8-64>: "
                                   "characters, 8 to 64; 8 by default\n"},
        {"show alarm-info", "% Not supported here\n"}, // there is no switch
        {"xyz ?", "  xyz \n  ^ nothing fits; unknown here; ? lists what fits\n"},
    };
    for (const auto &[line, text] : wrong) {
        result = zopsh({"--config", "-c", "!", "-c", line});
        EXPECT_EQ(1, result.status) << line;
        EXPECT_EQ(text + "zopsh: line 2 failed\n", result.output);
    }
    result = zopsh({"-c", "wrong", "-c", "show modes", "-c", "exit", "-c", "never"});
    EXPECT_EQ(1, result.status) << "the others are run, up to the end of the session";
    EXPECT_THAT(result.output, AllOf(HasSubstr("interface range"), Not(HasSubstr("never"))));

    std::ofstream("/tmp/lines") << "!\n# one comment\nconfigure terminal\r\n\n; another\ninterface range "
                                   "gigabitethernet1/0/ 13\nhttp server port ?";
    child_process script(own_program("zopsh"), ::open("/tmp/lines", O_RDONLY));
    EXPECT_EQ(1, script.wait());
    EXPECT_EQ("% Ports are 1 to 12, as in 1,3-5\n  interface range gigabitethernet1/0/ 13\n"
              "                                      ^ expected PORTLISTS: ports, such as 1,3-5\n"
              "zopsh: line 6 failed\n  <1-65535>       A TCP port.\n",
              script.read_all());
    // Streams that are closed or full: told, and never taken for the socket.
    for (const char *rest : {" -c 'show version' >&-", " -c 'show version' >/dev/full", " <&-"}) {
        result = run_command({"sh", "-c", own_program("zopsh").front() + rest});
        EXPECT_EQ(1, result.status) << rest;
        EXPECT_TRUE(result.output.starts_with("zopsh: standard ")) << result.output;
    }
    result = run_command(
        {"sh", "-c", "mkdir /tmp/ttyout-$$; exec " + own_program("zopsh").front() + " -c 'show version'"});
    EXPECT_EQ(0, result.status) << "a directory keeps nobody out: " << result.output;
    EXPECT_EQ(1, run_command(own_program("zop_serv")).status) << "there is one";
    server.end();
    EXPECT_FALSE(fs::exists("/tmp/csh_serv") || fs::exists("/tmp/ipc_zop_serv_addr"));
    for (const auto &entry : fs::directory_iterator("/tmp")) {
        // The build's folder may be in there; no program makes one.
        EXPECT_TRUE(entry.is_directory() || entry.path() == "/tmp/lines") << entry << " left behind";
    }
}

void type_lines() {
    management server;
    terminal at(8);
    EXPECT_THAT(at.talk({{"", k_prompt}, {"conf?", "# conf"}}),
                HasSubstr("configure       Configure the switch."));
    at.talk({{"\x03", k_prompt},
             {"\x1bx", "\a"},                             // no command prompt of the editor's
             {"conf\tte\t\r", "configure terminal \r\n"}, // each completed
             {"", "(config)# "}});
    EXPECT_THAT(at.talk({{"mac-\t", "(config)# mac-"}}), HasSubstr("  mac-address-table\r\n  mac-vlan\r\n"));
    at.talk({{"\x15show ;com\t", "\a"}, // not a word
             {" nonsense\x03", "^C\r\n"},
             {"", "(config)# "},
             {"never run\x1a", "end\r\n"}}); // "end" in its place
    EXPECT_THAT(at.talk({{"", k_prompt}}), Not(HasSubstr("config")));

    // Six lines of text on a screen of eight fit; after "set length 4" they come by three, then a line, then
    // none.
    at.run("set length 4");
    EXPECT_THAT(at.talk({{"show system-info\r", "Device type"}, {"", k_more}}), Not(HasSubstr("IP address")));
    EXPECT_THAT(at.talk({{"\r", k_more}}), HasSubstr("IP address"));
    EXPECT_THAT(at.talk({{"q", k_prompt}}), Not(HasSubstr("System up")));
    at.run("set length 100");
    at.resize(5); // four lines of text now
    EXPECT_THAT(at.talk({{"show system-info\r", k_more}}), Not(HasSubstr("Subnet mask")));
    at.talk({{"q", k_prompt}});
    at.run("set length 4 session");
    at.resize(8);
    at.talk({{"\x10\x10\r", "show system-info"}, // the line before the last
             {"", k_more},
             {" ", "System up for"},
             {"", k_prompt}});
    std::ifstream stored("/var/qel_win_size");
    EXPECT_EQ("100", std::string(std::istreambuf_iterator<char>(stored), {})) << "that of all sessions";
    EXPECT_TRUE(left_files(at.pid())) << "while it runs";
    const pid_t pid = at.pid();
    at.talk({{"\x04", ""}});
    EXPECT_EQ(0, at.wait());
    EXPECT_FALSE(left_files(pid));

    terminal ended(24);
    ended.talk({{"", k_prompt}});
    ::kill(ended.pid(), SIGTERM);
    const pid_t ended_pid = ended.pid();
    EXPECT_EQ(128 + SIGTERM, WEXITSTATUS(ended.wait()));
    EXPECT_FALSE(left_files(ended_pid));
    EXPECT_TRUE(ended.is_cooked()) << "as it found it";

    terminal alone(24);
    alone.talk({{"", k_prompt}});
    server.end();
    const std::string gone = "zopsh: the shell's server does not run\r\n";
    alone.talk({{"sh\t", gone}, {"", "# sh"}, {"ow version\r", gone}});
    EXPECT_EQ(1, WEXITSTATUS(alone.wait()));
}

/// A "ping" that ends when it is told to.
void make_endless_ping() {
    std::ofstream("/usr/sbin/ping") << "#!/bin/sh\ntrap 'echo last; exit 3' INT\necho \"$@\"\n"
                                       "while :; do sleep 0.05; done\n";
    fs::permissions("/usr/sbin/ping", fs::perms::owner_all);
}

/// Whether none of this address runs, which other tests do not use.
bool no_ping_runs(const std::string &address) {
    return run_command({"pgrep", "-f", "^/bin/sh /usr/sbin/ping .*" + address}).status == 1;
}

void start_anew() {
    if (own_program("zop_serv").size() > 1) {
        return; // an emulator starts nothing anew
    }
    fs::create_directory("/var/config");
    make_endless_ping();
    management server;
    terminal at(24);
    terminal other(24);
    terminal pinging(24);
    pinging.talk({{"", k_prompt}, {"ping 127.0.0.2\r", "-c 4 127.0.0.2\r\n"}});
    other.talk({{"", k_prompt}});
    at.talk({{"", k_prompt}});
    for (const char *line : {"conf t", "hostname saved", "write memory", "hostname lost", "end"}) {
        at.run(line);
    }
    const std::string question = "The switch restarts, and what was not saved is lost. Are you sure? (y/n) ";
    EXPECT_EQ("n\r\nNothing has been done.\r\n", at.talk({{"reboot\r", question}, {"n\r", "done.\r\n"}}));
    at.talk({{"", k_prompt}, {"reboot\r", question}});
    EXPECT_EQ("y\r\nThe switch restarts. Please wait.\r\n", at.talk({{"y\r", "wait.\r\n"}}));
    EXPECT_TRUE(eventually([] { return zopsh({"-c", "show running-config"}).output == "hostname saved\n"; }));
    EXPECT_THAT(other.run("show running-config"), HasSubstr("\r\nhostname saved\r\n")) << "as before";
    pinging.talk({{"", k_prompt}});
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(server.pid()) + "/comm"), name);
    EXPECT_EQ("zop_serv", name) << "found by pidof and the like";
    EXPECT_TRUE(no_ping_runs("127.0.0.2")) << "nobody would know of it";
    EXPECT_EQ(1, zopsh({"-c", "reboot"}).status) << "nobody to ask";
    server.end();
    EXPECT_FALSE(fs::exists("/tmp/csh_serv") || fs::exists("/tmp/ipc_zop_serv_addr"));
}

void remember_and_paste() {
    constexpr const char *k_history = "/tmp/.zopsh_history";
    std::ofstream("/var/qel_win_size") << 40; // set once, and never saved
    management server;
    EXPECT_THAT(zopsh({"-c", "show running-config"}).output, HasSubstr("set length 40\n"));
    terminal at(24);
    at.talk({{"", k_prompt}});
    at.run("configure terminal");
    at.run("user account bob level user password hunter2hunter2");
    at.talk({{"end\rreboot\rshow uptime ;\rconfigure terminal\r", "since more lines were waiting\r\n"},
             {"", "(config)# "}}); // the second one is no answer
    at.talk({{"vlan 7\rvlan 8\r!\rnonsense\rsnmp system-contact who?me\rhttp server port 81\rshow uptime ;\r",
              "zopsh: of 7 lines these failed: 2, 4\r\n"},
             {"", k_prompt},
             {"\x04", ""}});
    EXPECT_EQ(0, at.wait());
    EXPECT_THAT(zopsh({"-c", "show running-config"}).output, HasSubstr("snmp system-contact who?me\n"));
    std::ifstream file(k_history);
    const std::string kept(std::istreambuf_iterator<char>(file), {});
    EXPECT_THAT(kept, testing::AllOf(HasSubstr("configure"), Not(HasSubstr("hunter"))));
    EXPECT_EQ(fs::perms::owner_read | fs::perms::owner_write, fs::status(k_history).permissions());
    terminal next(24);
    next.talk({{"", k_prompt}, {"\x10", "# show uptime ;"}, {"\x10", "http server port 81"}});
}

void run_beside_the_server() {
    make_endless_ping();
    std::ofstream("/usr/sbin/telnet") << "#!/bin/sh\necho login; read word; echo \"$1 $word\"\n";
    fs::permissions("/usr/sbin/telnet", fs::perms::owner_all);
    const std::string address = "127." + std::to_string(::getpid() >> 8 & 255) + '.' +
                                std::to_string(::getpid() & 255) + ".1"; // no other test's
    const auto none_runs = [&] { return no_ping_runs(address); };
    const std::string ping = "ping " + address + "\r";
    management server;
    terminal at(24);
    at.talk({{"", k_prompt}, {"ping " + address + " -s 100\r", "-c 4 -s 100 " + address + "\r\n"}});
    EXPECT_EQ(0, zopsh({"-c", "show version"}).status) << "others are served";
    EXPECT_THAT(at.talk({{"\x03", k_prompt}}), HasSubstr("last\r\n"));
    at.talk({{"telnet 10.0.0.1\r", "login\r\n"}, {"hello\r", "10.0.0.1 hello\r\n"}, {"", k_prompt}});
    EXPECT_EQ(1, zopsh({"-c", "telnet 10.0.0.1"}).status) << "without a terminal";
    at.talk({{ping, "-c 4 " + address + "\r\n"}});
    EXPECT_FALSE(none_runs());
    ::kill(at.pid(), SIGKILL);
    EXPECT_EQ(SIGKILL, at.wait());
    EXPECT_TRUE(eventually(none_runs)) << "a client that has gone takes its command along";
    std::ofstream("/usr/sbin/ping") << "#!/bin/sh\nexec yes\n";
    const command_result endless = zopsh({"-c", "ping 127.0.0.1"});
    EXPECT_EQ(1, endless.status);
    EXPECT_THAT(endless.output, HasSubstr("\n% It prints too much, and has been ended\n"));
    make_endless_ping();
    terminal last(24);
    last.talk({{"", k_prompt}, {ping, "-c 4 " + address + "\r\n"}});
    server.end();
    EXPECT_TRUE(eventually(none_runs)) << "and so does the server";
}

TEST(Zopsh, HistoryKeepsNoSecretsAndAPasteNamesWhatFailed) {
    with_private({"/tmp", "/var"}, remember_and_paste);
}
TEST(Zopsh, CommandsThatTakeLongRunBesideTheServer) {
    with_private({"/tmp", "/var", "/usr/sbin"}, run_beside_the_server);
}
TEST(Zopsh, ARestartIsAskedForAndLosesWhatWasNotSaved) {
    with_private({"/tmp", "/var", "/usr/sbin"}, start_anew);
}
TEST(Zopsh, ScriptsReadExitStatusesAndReasons) { with_private({"/tmp", "/var"}, run_scripts); }
TEST(Zopsh, APersonTypesPagesAndLeaves) { with_private({"/tmp", "/var"}, type_lines); }

} // namespace
