// zopsh with servers that are played: what they answer, late or never.

#include "lib/base/local_socket.h"
#include "lib/cli/csh_message.h"
#include "tests/support/private_scenario.h"
#include "tests/support/shell_terminal.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

namespace {

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

TEST(Zopsh, ServersThatAnswerLateOrNoOrNever) { with_private({"/tmp"}, meet_odd_servers); }
TEST(Zopsh, ASessionThatNobodyTypesAtEnds) { with_private({"/tmp"}, end_when_idle); }
TEST(Zopsh, AnswersAreNotRememberedNorSecretsShown) { with_private({"/tmp"}, ask_for_secrets); }
TEST(Zopsh, ACommandSlowerThanTheLimitEndsNoSession) { with_private({"/tmp"}, outlive_a_slow_command); }

} // namespace
