// The shell as its users meet it: zopsh at a terminal or in a script, with the management process behind it.

#include "lib/base/local_socket.h"
#include "lib/cli/csh_message.h"
#include "tests/support/child_process.h"
#include "tests/support/eventually.h"
#include "tests/support/private_scenario.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

/// zop_serv, ready: its shell answers and its IPC socket listens.
class management {
public:
    management() : m_process(own_program("zop_serv", {"--desk"}), -1) {
        EXPECT_TRUE(eventually([] { return fs::exists("/tmp/csh_serv"); }));
    }
    [[nodiscard]] pid_t pid() const { return m_process.pid(); }
    void end() {
        m_process.terminate();
        EXPECT_EQ(128 + SIGTERM, m_process.wait());
    }

private:
    child_process m_process;
};

constexpr const char *k_prompt = "# ";
constexpr const char *k_more = " --More-- ";

/// zopsh at a terminal of its own.
class terminal {
public:
    explicit terminal(unsigned short rows, const std::string &options = "") {
        const winsize size = {rows, 80, 0, 0};
        m_pid = ::forkpty(&m_fd, nullptr, nullptr, &size);
        if (m_pid == 0) {
            ::setenv("TERM", "dumb", 1);
            ::setenv("HOME", "/tmp", 1);
            // What the library of the line editing keeps of its key names for ever is not zopsh's to free.
            std::ofstream("/tmp/leaks") << "leak:wcsdup\n";
            ::setenv("LSAN_OPTIONS", "suppressions=/tmp/leaks:print_suppressions=0", 1);
            const std::string command = "exec " + own_program("zopsh").front() + " " + options;
            ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            ::_exit(127);
        }
    }
    ~terminal() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_fd);
    }
    terminal(const terminal &) = delete;
    terminal &operator=(const terminal &) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    void resize(unsigned short rows) const {
        const winsize size = {rows, 80, 0, 0};
        EXPECT_EQ(0, ::ioctl(m_fd, TIOCSWINSZ, &size));
    }
    [[nodiscard]] bool is_cooked() const {
        termios settings{};
        EXPECT_EQ(0, ::tcgetattr(m_fd, &settings));
        return (settings.c_lflag & (ICANON | ECHO)) == (ICANON | ECHO);
    }

    /// Types keys and waits for a text, turn by turn; nothing is typed for "". Returns what appeared in the
    /// last turn. A text that has not come after 20 s is a failure, and from then on every one is missed at
    /// once.
    std::string talk(std::initializer_list<std::pair<std::string, std::string>> turns) {
        std::string seen;
        for (const auto &[keys, text] : turns) {
            EXPECT_EQ(static_cast<ssize_t>(keys.size()), ::write(m_fd, keys.data(), keys.size()));
            for (seen = ""; !seen.ends_with(text) && !m_lost;) {
                const int byte = next();
                m_lost = byte < 0;
                seen += static_cast<char>(byte);
            }
            EXPECT_FALSE(m_lost) << "no \"" << text << "\" in \"" << seen << "\"";
            // Keys are read one by one only after the prompt.
            EXPECT_TRUE(text != k_prompt || eventually([this] { return !is_cooked(); }));
        }
        return seen;
    }
    std::string run(const std::string &line) { return talk({{line + "\r", k_prompt}}); }

    /// The program's wait status; -1 when it does not end.
    int wait() {
        while (next() >= 0) {
        }
        int status = -1;
        m_pid = eventually([&] { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; }) ? -1 : m_pid;
        return status;
    }

private:
    /// The next byte; -1 when the terminal is closed or silent for 20 s.
    int next() const {
        pollfd waiting = {m_fd, POLLIN, 0};
        unsigned char byte = 0;
        return ::poll(&waiting, 1, 20000) == 1 && ::read(m_fd, &byte, 1) == 1 ? byte : -1;
    }

    int m_fd = -1;
    pid_t m_pid = -1;
    bool m_lost = false;
};

bool left_files(pid_t pid) {
    return fs::exists("/tmp/csh_client_" + std::to_string(pid)) ||
           fs::exists("/tmp/ttyout-" + std::to_string(pid));
}

command_result zopsh(const std::vector<std::string> &arguments) {
    return run_command(own_program("zopsh", arguments));
}

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

struct scripted_reply {
    int32_t code;
    int32_t late; // this many requests too late
    int32_t result;
    int32_t node_kind = 0;
    const char *output = "";
};

using server_script = std::vector<std::vector<scripted_reply>>;

/// Plays the shell's server: for every request the replies of a row, but for those whether a line may be
/// remembered. Returns the lines that came.
std::string play_server(int fd, const server_script &script) {
    std::string lines;
    for (const std::vector<scripted_reply> &replies : script) {
        csh_message message{};
        sockaddr_un client{};
        socklen_t length = sizeof client;
        auto *const address = reinterpret_cast<sockaddr *>(&client);
        const auto receive = [&] { return ::recvfrom(fd, &message, sizeof message, 0, address, &length); };
        EXPECT_EQ(572, receive());
        while (message.type == k_csh_query) {
            message.session.mode_mask = 0;
            ::sendto(fd, &message, sizeof message, 0, address, length);
            EXPECT_EQ(572, receive());
        }
        lines += std::string(message.text) + "\n";
        for (const scripted_reply &reply : replies) {
            message.type = reply.code;
            message.auxiliary -= reply.late;
            message.session.node_kind = reply.node_kind;
            message.result2 = reply.result;
            std::ofstream("/tmp/ttyout-" + std::to_string(message.pid)) << reply.output;
            EXPECT_EQ(572, ::sendto(fd, &message, sizeof message, 0, address, length));
            message.auxiliary += reply.late;
        }
    }
    return lines;
}

int listen_as_server() {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval patience = {20, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    EXPECT_EQ(0, local_bind(fd, k_csh_server_path, k_no_group));
    return fd;
}

void ask_for_secrets() {
    const int fd = listen_as_server();
    std::string lines;
    std::thread player([&] {
        lines = play_server(fd, {{{k_csh_done, 0, 0}},
                                 {{k_csh_done, 0, 0, k_cli_node_answer, "Log in.\nName: "}},
                                 {{k_csh_done, 0, 0, k_cli_node_secret, "Password: "}},
                                 {{k_csh_done, 0, 0, k_cli_node_command, "Welcome.\n"}},
                                 {{k_csh_done, 0, 0, k_cli_node_secret, "Password: "}},
                                 {{k_csh_done, 0, 0, k_cli_node_secret, "Password: "}},
                                 {{k_csh_done, 0, 0}},
                                 {{k_csh_done, 0, 0}}});
    });
    terminal at(24);
    at.talk(
        {{"", k_prompt}, {"login\r", "Log in.\r\nName: "}, {"#me ?\r", "#me ?\r\nPassword: "}}); // no comment
    EXPECT_EQ("\r\nWelcome.\r\n", at.talk({{"sesame\r", "Welcome.\r\n"}})) << "not shown";
    at.talk({{"", k_prompt}, {"\x10", "# login"}, {"\r", "Password: "}}); // the line before, and no answer
    EXPECT_EQ("\r\n", at.talk({{"ses\x03", "\n"}}));
    at.talk({{"", k_prompt},
             {"login\rsesame\rcommand\r", "command\r\n"},
             {"", k_prompt},
             {"\x04", ""}}); // pasted
    player.join();
    EXPECT_EQ(0, at.wait());
    EXPECT_EQ("\nlogin\n#me ?\nsesame\nlogin\nlogin\nsesame\ncommand\n", lines);
    ::close(fd);
}

void outlive_a_slow_command() {
    const int fd = listen_as_server();
    std::thread player(
        play_server, fd,
        server_script{{{k_csh_done, 0, 0}},
                      {},
                      {{k_csh_done, 1, 7, k_cli_node_secret, "late\n"}, {k_csh_done, 0, 0, 0, "own\n"}}});
    terminal at(24, "--timeout 1");
    at.talk({{"", k_prompt},
             {"slow\r",
              "zopsh: no answer in time; the command may still be at work, and what it prints is lost\r\n"},
             {"", k_prompt}});
    EXPECT_EQ("next\r\nown\r\n", at.talk({{"next\r", "own\r\n"}}));
    at.talk({{"", k_prompt}});
    player.join();
    std::thread script_player(play_server, fd, server_script{{{k_csh_done, 0, 0}}, {}});
    const command_result result = zopsh({"--timeout", "1", "-c", "slow", "-c", "next"});
    EXPECT_EQ(1, result.status);
    EXPECT_TRUE(result.output.ends_with("\nzopsh: line 1 failed, and no more are run\n")) << result.output;
    script_player.join();
    std::thread last_player(play_server, fd, server_script{{{k_csh_done, 0, 0}}, {}});
    terminal given_up(24, "-c slow -c next");
    last_player.join();
    given_up.talk({{"\x03", ""}});
    EXPECT_EQ(128 + SIGINT, WEXITSTATUS(given_up.wait())) << "the whole script";
    ::close(fd);
}

void end_when_idle() {
    const int fd = listen_as_server();
    std::thread player([fd] {
        play_server(fd, {{{k_csh_done, 0, 0}}});
        csh_message message{};
        sockaddr_un client{};
        socklen_t length = sizeof client;
        auto *const address = reinterpret_cast<sockaddr *>(&client);
        EXPECT_EQ(572, ::recvfrom(fd, &message, sizeof message, 0, address, &length));
        EXPECT_EQ(k_csh_query, message.type);
        EXPECT_EQ(k_csh_query_idle, message.flag);
        message.session.mode_mask = 1;
        message.type = k_csh_done;
        EXPECT_EQ(572, ::sendto(fd, &message, sizeof message, 0, address, length));
    });
    terminal at(24);
    at.talk({{"", k_prompt}, {"half a li", "half a li"}});
    at.talk({{"", "zopsh: idle for 1 minute, the session has ended\r\n"}});
    player.join();
    const pid_t pid = at.pid();
    EXPECT_EQ(0, at.wait());
    EXPECT_FALSE(left_files(pid));
    ::close(fd);
}

void meet_odd_servers() {
    const int fd = listen_as_server();
    std::thread player(play_server, fd,
                       server_script{
                           {},
                           {{k_csh_full, 0, 0}},
                           {{k_csh_busy, 0, 0}},
                           {{k_csh_done, 0, 0}},
                           {{k_csh_done, 1, 7}, {k_csh_done, 0, 0}},
                       });
    const std::pair<int, const char *> expected[] = {
        {2, "zopsh: the shell's server does not answer\n"},
        {2, "zopsh: all places of the shell are taken; try again when another one has been left\n"},
        {2, "zopsh: the shell is busy with another command; try again later\n"},
        {0, ""}, // the reply to an older request is not this one's
    };
    for (const auto &[status, words] : expected) {
        const command_result result = zopsh({"--timeout", "1", "-c", "show version"});
        EXPECT_EQ(status, result.status) << words;
        EXPECT_EQ(words, result.output);
    }
    player.join();

    std::thread dying([fd] {
        csh_message message;
        EXPECT_EQ(572, ::recv(fd, &message, sizeof message, 0));
        ::close(fd);
    });
    const command_result result = zopsh({"-c", "show version"});
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("zopsh: the shell's server has ended over the request\n", result.output);
    dying.join();
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
TEST(Zopsh, ServersThatAnswerLateOrNoOrNever) { with_private({"/tmp"}, meet_odd_servers); }
TEST(Zopsh, ASessionThatNobodyTypesAtEnds) { with_private({"/tmp"}, end_when_idle); }
TEST(Zopsh, ARestartIsAskedForAndLosesWhatWasNotSaved) {
    with_private({"/tmp", "/var", "/usr/sbin"}, start_anew);
}
TEST(Zopsh, AnswersAreNotRememberedNorSecretsShown) { with_private({"/tmp"}, ask_for_secrets); }
TEST(Zopsh, ACommandSlowerThanTheLimitEndsNoSession) { with_private({"/tmp"}, outlive_a_slow_command); }
TEST(Zopsh, ScriptsReadExitStatusesAndReasons) { with_private({"/tmp", "/var"}, run_scripts); }
TEST(Zopsh, APersonTypesPagesAndLeaves) { with_private({"/tmp", "/var"}, type_lines); }

} // namespace
