// The server as its clients see it: a process of its own, with a /tmp and a /var of its own.

#include "lib/base/local_socket.h"
#include "lib/base/unique_fd.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cli/csh_message.h"
#include "lib/cli/csh_server.h"
#include "tests/support/eventually.h"
#include "tests/support/private_scenario.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <poll.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

std::string output_of(int32_t pid) { return "/tmp/ttyout-" + std::to_string(pid); }

std::string content(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void note_step(const std::string &step) { std::ofstream("/tmp/steps", std::ios::app) << step << "\n"; }

// ---- the commands and services of the server under test

constexpr int32_t k_not_printed = 7;

int32_t print_words(int32_t argc, const char *const *argv) {
    std::thread([] { cli_print("elsewhere\n"); }).join(); // goes to a file of that thread
    const std::string line = std::string(argv[argc - 1]) + "\n";
    return cli_print("%s", line.c_str()) == static_cast<int>(line.size()) ? 0 : k_not_printed;
}

int32_t set_status(int32_t /*argc*/, const char *const *argv) {
    cli_set_last_status(static_cast<int32_t>(std::strtol(argv[0], nullptr, 16)));
    cli_session_set(1, 99);
    return 5;
}

int32_t keep_reply(int32_t /*argc*/, const char *const * /*argv*/) {
    note_step("keep " + std::to_string(csh_keep_reply()));
    return 0;
}

int32_t print_carelessly(int32_t /*argc*/, const char *const * /*argv*/) {
    cli_print("first\n");
    cli_print("second\n");
    return 0;
}

constexpr cli_command k_careless = {"careless", 0x4, 0, nullptr, print_carelessly, {}};
constexpr cli_command k_keep = {"keep", 0x4, 0, nullptr, keep_reply, {}};
constexpr cli_command k_print = {"print", 0x4, 0, "STRINGS", print_words, {}};
constexpr cli_command k_status = {"status", 0x4, 0, "HEX_VALUE", set_status, {}};

void install() {
    const auto installed = [](const cli_command *command) { return cli_install(5, command) == 0; };
    if (installed(&k_print) && installed(&k_status) && installed(&k_keep) && installed(&k_careless)) {
        note_step("modules");
    }
}

int32_t run_command(const char *command) {
    note_step(command);
    return 0;
}

csh_startup startup() {
    csh_startup s = {};
    s.init_modules = install;
    s.init_services = [] { note_step(content("/tmp/ttyout-0").empty() ? "services" : "replayed"); };
    s.run_command = run_command;
    s.wait_seconds = [](uint32_t seconds) { note_step("wait " + std::to_string(seconds)); };
    s.uses_dhcp = [] { return true; };
    s.ready = [] { return content("/tmp/steps").ends_with("wait 1\nwait 1\n"); };
    s.services.query = [](int32_t flag, const char *text, const cli_session &) {
        return text[0] == '-' ? -1 : flag * 1000 + static_cast<int32_t>(std::strlen(text));
    };
    s.services.make_auxiliary = [](int32_t pid) { return pid + 1; };
    s.services.take_auxiliary = [](int32_t value) { note_step("auxiliary " + std::to_string(value)); };
    s.services.give_up = [](int32_t ticket) { note_step("end " + std::to_string(ticket)); };
    s.services.authenticate = [](int32_t type, const char *text) { return text[0] == '-' ? -1 : type; };
    s.services.authenticate_18 = [](int32_t, const char *) { return 180; };
    return s;
}

/// Serves at once, and leaves the interface alone.
csh_startup short_startup() {
    csh_startup s = startup();
    s.skip_interface = true;
    s.ready = nullptr;
    return s;
}

/// A server in a process of its own, which has printed to "/tmp/said".
class server {
public:
    explicit server(const csh_startup &how) {
        m_pid = ::fork();
        if (m_pid == 0) {
            if (std::freopen("/tmp/said", "a", stdout) == nullptr) {
                ::_exit(1); // no case goes well without it
            }
            std::setvbuf(stdout, nullptr, _IOLBF, 0);
            ::_exit(csh_server_start(how) == 0 ? 0 : 1);
        }
    }
    ~server() {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    server(const server &) = delete;
    server &operator=(const server &) = delete;

private:
    pid_t m_pid;
};

/// A client's socket, connected to the server as soon as there is one.
class client {
public:
    client() : m_fd(::socket(AF_UNIX, SOCK_DGRAM, 0)) {
        static int s_number = 1000000;
        const std::string own = "/tmp/csh_client_" + std::to_string(s_number++);
        EXPECT_EQ(0, local_bind(m_fd.get(), own.c_str(), k_no_group));
        EXPECT_TRUE(eventually([this] { return local_connect(m_fd.get(), k_csh_server_path) == 0; }));
    }

    void send(const csh_message &message) { EXPECT_EQ(572, ::send(m_fd.get(), &message, sizeof message, 0)); }

    /// Sends the first `size` bytes of a message; the reply, or one of type -1 when none comes.
    csh_message exchange(csh_message message, size_t size = sizeof(csh_message)) {
        std::array<uint8_t, 2 * sizeof(csh_message)> bytes{};
        std::memcpy(bytes.data(), &message, sizeof message);
        EXPECT_EQ(static_cast<ssize_t>(size), ::send(m_fd.get(), bytes.data(), size, 0));
        message = {};
        message.type = -1;
        pollfd waiting = {m_fd.get(), POLLIN, 0};
        if (::poll(&waiting, 1, 20000) == 1) {
            EXPECT_EQ(sizeof message, ::recv(m_fd.get(), &message, sizeof message, 0));
        }
        return message;
    }

private:
    unique_fd m_fd;
};

csh_message request(int32_t type, const std::string &text = "", int32_t pid = 4242) {
    csh_message message{};
    message.type = type;
    message.pid = pid;
    message.session.mode_mask = 0x4;
    message.session.mode_id = 5;
    text.copy(message.text, sizeof message.text);
    return message;
}

void serve_everything() {
    fs::create_directories("/var/config");
    std::ofstream("/var/config/zopsh_config.save") << "print a b\nprint saved\n";
    std::ofstream("/tmp/csh_serv") << "in the way"; // of a server that was killed
    const server running(startup());
    client c;

    // The start-up, in its order; the readiness is asked for until it is given.
    csh_message reply = c.exchange(request(99));
    EXPECT_EQ(1, reply.type);
    EXPECT_EQ("modules\nreplayed\nwait 5\nifconfig tap0 down\nwait 1\nifconfig tap0 up\nwait 1\nwait 1\n",
              content("/tmp/steps"));
    EXPECT_EQ("/var/config/zopsh_config.save: not all lines could be run; the system log says which\n"
              "udhcpc renew fail\n",
              content("/tmp/said"));
    EXPECT_EQ("saved\n", content("/tmp/ttyout-0"));

    // A line, twice: the file has the last one's output only. Another thread's went elsewhere.
    for (const char *word : {"first", "%s%n"}) {
        reply = c.exchange(request(k_csh_execute, std::string("pri ") + word));
        EXPECT_EQ((std::array{1, 0, 0}), (std::array{reply.type, reply.result1, reply.result2}));
        EXPECT_EQ(std::string("pri ") + word, reply.text) << "left as it came";
        EXPECT_EQ(std::string(word) + "\n", content("/tmp/ttyout-4242"));
    }
    EXPECT_EQ(fs::perms(0600), fs::status("/tmp/ttyout-4242").permissions());
    EXPECT_TRUE(std::any_of(fs::directory_iterator("/tmp"), fs::directory_iterator(), [](const auto &entry) {
        return entry.path().native().starts_with("/tmp/ttyout-") && content(entry.path()) == "elsewhere\n";
    }));
    reply = c.exchange(request(k_csh_execute, "nonsense"));
    EXPECT_EQ(0x10001, reply.result1);
    EXPECT_EQ(-1, reply.result2);

    // Text without an end, short and long messages.
    reply = c.exchange(request(k_csh_execute, std::string(512, 'x')));
    EXPECT_EQ(-1, reply.result2);
    EXPECT_EQ(1, c.exchange(request(4), 3).type);
    EXPECT_EQ(1, c.exchange(request(99), 600).type);
    EXPECT_TRUE(content("/tmp/said").ends_with("recv size wrong 3 572\nrecv size wrong 600 572\n"));

    // Queries, the auxiliary word, authentication.
    csh_message asked = request(k_csh_query, "four");
    asked.flag = 1;
    EXPECT_EQ(1004U, c.exchange(asked).session.mode_mask);
    EXPECT_EQ(0x4U, c.exchange(request(k_csh_query, "-")).session.mode_mask) << "no answer, nothing written";
    EXPECT_EQ(512U, c.exchange(request(k_csh_query, std::string(512, 'x'))).session.mode_mask);
    asked = request(k_csh_auxiliary);
    asked.auxiliary = -1;
    EXPECT_EQ(4243, c.exchange(asked).auxiliary);
    asked.auxiliary = 77;
    EXPECT_EQ(9, c.exchange(asked).type);
    EXPECT_TRUE(content("/tmp/steps").ends_with("auxiliary 77\n"));
    const std::map<int32_t, int32_t> results = {
        {10, 10}, {11, 11}, {12, 12}, {16, 16}, {18, 180}}; // others: none
    for (int32_t type = 10; type <= 19; type++) {
        reply = c.exchange(request(type, "user"));
        EXPECT_EQ(results.contains(type) ? 1 : 0, reply.type) << type;
        EXPECT_EQ(results.contains(type) ? results.at(type) : -1, reply.result1) << type;
    }
    EXPECT_EQ(0, c.exchange(request(10, "-")).type);
}

void hold_the_shell() {
    const server running(short_startup());
    client c;
    const std::set<std::string> holding = {"1006a", "1006b", "1006d", "1012b", "10130"};
    for (const char *status : {"10000", "1006a", "1006b", "1006c", "1006d", "1012b", "1012c", "1012e",
                               "1012f", "10130", "10131"}) {
        const bool holds = holding.contains(status);
        const csh_message reply = c.exchange(request(k_csh_execute, std::string("status ") + status));
        EXPECT_EQ(1, reply.type);
        EXPECT_EQ(5, reply.result2);
        EXPECT_EQ(99, reply.session.values[1]);
        EXPECT_EQ(std::string::npos, std::string(reply.text).find("status ")) << "told in words";
        EXPECT_EQ(holds ? 5 : 1, c.exchange(request(99)).type) << status;
        EXPECT_EQ(holds ? 5 : 9, c.exchange(request(9)).type) << status;
        EXPECT_EQ(1, c.exchange(request(k_csh_release_busy)).type);
        EXPECT_EQ(1, c.exchange(request(99)).type) << status;
    }
    EXPECT_STREQ("status 1012d", c.exchange(request(k_csh_execute, "status 1012d")).text);
    EXPECT_TRUE(content("/tmp/steps").starts_with("modules\nservices\nauxiliary"))
        << "no interface, no waits";
}

void register_clients() {
    const server running(short_startup());
    client c;
    const pid_t gone = ::fork();
    if (gone == 0) {
        ::_exit(0);
    }
    ::waitpid(gone, nullptr, 0);
    const std::string socket_of_gone = "/tmp/csh_client_" + std::to_string(gone);
    std::ofstream(socket_of_gone) << "x";
    std::ofstream(output_of(gone)) << "x";
    std::array<pid_t, 10> pids{};
    for (pid_t &pid : pids) {
        pid = &pid == &pids[4] ? gone : bystander(true, [] {});
        for (const char *turn : {"first", "second, which takes no further place"}) {
            const csh_message reply = c.exchange(request(k_csh_register, "", pid));
            EXPECT_EQ(1, reply.type) << turn;
            EXPECT_EQ(pid + 1, reply.auxiliary);
        }
    }
    EXPECT_TRUE(fs::exists(socket_of_gone));
    EXPECT_EQ(1, c.exchange(request(k_csh_register, "", ::getpid())).type)
        << "in the place of the one that is gone";
    EXPECT_FALSE(fs::exists(socket_of_gone) || fs::exists(output_of(gone)));
    EXPECT_EQ(0, c.exchange(request(k_csh_register, "", ::getppid())).type) << "all are alive";
    EXPECT_EQ(1, c.exchange(request(k_csh_register, "", pids[9])).type) << "it has its place";
}

void speak_for_others() {
    csh_startup how = short_startup();
    how.socket_group = k_nobody;
    bystander(false, [] {}); // there is such a user, who is in the group
    const server running(how);
    bystander(false, [] {
        client c;
        const pid_t own = ::getpid();
        for (const int32_t type : {k_csh_register, k_csh_execute, k_csh_release_busy, k_csh_auxiliary, 10}) {
            const csh_message reply = c.exchange(request(type, "print lost", ::getppid()));
            EXPECT_EQ(0, reply.type) << type;
            EXPECT_STREQ("print lost", reply.text);
        }
        EXPECT_EQ(0, c.exchange(request(k_csh_execute, "print lost", own), 4).type) << "names nobody";
        EXPECT_FALSE(fs::exists(output_of(::getppid())));
        std::ofstream(output_of(own)) << "";
        EXPECT_EQ(1, c.exchange(request(k_csh_execute, "print mine", own)).type);
        EXPECT_EQ("mine\n", content(output_of(own)));
    });
}

void apply_addresses() {
    csh_startup how = startup();
    how.ready = nullptr;
    const auto last_step = [&how] {
        const server running(how);
        EXPECT_EQ(1, client().exchange(request(99)).type);
        return content("/tmp/steps");
    };
    fs::create_directories("/var/run");
    std::ofstream("/var/run/udhcpc.pid") << "1";
    EXPECT_TRUE(last_step().ends_with("up\nkill -SIGUSR1 `cat /var/run/udhcpc.pid`\n"));
    EXPECT_EQ("", content("/tmp/said"));
    how.uses_dhcp = nullptr;
    how.apply_static_address = [] { note_step("static"); };
    EXPECT_TRUE(last_step().ends_with("up\nstatic\n"));
}

void refuse_planted_files() {
    const server running(short_startup());
    client c;
    std::ofstream("/tmp/victim") << "kept";
    fs::create_symlink("/tmp/victim", "/tmp/ttyout-1");
    fs::create_hard_link("/tmp/victim", "/tmp/ttyout-2");
    ASSERT_EQ(0, ::mkfifo("/tmp/ttyout-3", 0600));
    fs::create_directory("/tmp/ttyout-4");
    fs::create_symlink("/tmp/missing", "/tmp/ttyout--5");
    std::ofstream("/tmp/ttyout-6") << "kept";
    const bool is_others = ::chown("/tmp/ttyout-6", k_nobody, k_nobody) == 0;
    for (const int32_t pid : {1, 2, 3, 4, -5, 6}) {
        const csh_message reply = c.exchange(request(k_csh_execute, "print lost", pid));
        EXPECT_EQ(1, reply.type) << pid;
        EXPECT_EQ(k_not_printed, reply.result2) << pid;
        const csh_message lost = c.exchange(request(k_csh_execute, "careless", pid));
        EXPECT_EQ(-2, lost.result2) << "what nobody sees is no success";
        EXPECT_TRUE(std::string_view(lost.text).starts_with("What it printed is lost: ")) << lost.text;
    }
    EXPECT_EQ(0, c.exchange(request(k_csh_execute, "careless", 7)).result2);
    EXPECT_EQ("kept", content("/tmp/victim"));
    EXPECT_TRUE(!is_others || content("/tmp/ttyout-6") == "kept");
    EXPECT_FALSE(fs::exists("/tmp/missing"));
}

void send_without_waiting() {
    const server running(short_startup());
    client c;
    client other;
    for (client *who : {&c, &c, &other}) {
        who->send(request(k_csh_execute, "keep", who == &c ? ::getpid() : ::getppid()));
    }
    EXPECT_EQ(1, c.exchange(request(k_csh_give_up, "", ::getpid())).type);
    EXPECT_EQ("modules\nservices\nkeep 1\nend 1\nkeep 2\nkeep 3\nend 1\nend 2\n", content("/tmp/steps"))
        << "of all lines of this client, and nobody else's";
}

TEST(CshServer, ServesEveryRequest) { with_private({"/tmp", "/var"}, serve_everything); }
TEST(CshServer, StatusesHoldTheShellAndLetItGo) { with_private({"/tmp", "/var"}, hold_the_shell); }
TEST(CshServer, AnEleventhClientNeedsOneThatIsGone) { with_private({"/tmp", "/var"}, register_clients); }
TEST(CshServer, WhoWaitsNoLongerDoesSoForNoneOfItsLines) {
    with_private({"/tmp", "/var"}, send_without_waiting);
}
TEST(CshServer, AMessageIsItsSenders) { with_private({"/tmp", "/var"}, speak_for_others); }
TEST(CshServer, TheAddressIsRenewedOrSet) { with_private({"/tmp", "/var"}, apply_addresses); }
TEST(CshServer, PlantedOutputFilesLeadNowhere) { with_private({"/tmp", "/var"}, refuse_planted_files); }

void reply_to_itself() {
    std::array<unique_fd, 2> ends;
    for (size_t i = 0; i < ends.size(); i++) {
        ends[i] = unique_fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(0, local_bind(ends[i].get(), i == 0 ? "/tmp/serv" : "/tmp/client", k_no_group));
    }
    ASSERT_EQ(0, local_connect(ends[1].get(), "/tmp/serv"));
    const csh_message message = request(99);
    ASSERT_EQ(572, ::send(ends[1].get(), &message, sizeof message, 0));
    fs::remove("/tmp/client");
    fs::create_symlink("/tmp/serv", "/tmp/client");
    servMessageDispatcher(ends[0].get());
    servMessageDispatcher(ends[0].get());
    csh_message again;
    EXPECT_EQ(-1, ::recv(ends[0].get(), &again, sizeof again, MSG_DONTWAIT)) << "answers itself for ever";
}

TEST(CshServer, DoesNotAnswerItself) { with_private({"/tmp"}, reply_to_itself); }

TEST(CshServer, AReplyThatCannotBeSentIsDropped) {
    int ends[2];
    ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends));
    const unique_fd serving(ends[1]);
    const csh_message message = request(99);
    ASSERT_EQ(572, ::send(ends[0], &message, sizeof message, 0));
    ::close(ends[0]);
    testing::internal::CaptureStdout();
    servMessageDispatcher(ends[1]);
    EXPECT_EQ("servMessageDispatcher send error\n", testing::internal::GetCapturedStdout());
}

} // namespace
