// What the shell's process says at its end, in a process and with a log of its own.

#include "lib/cli/fatal_signals.h"
#include "tests/support/log_socket.h"
#include "tests/support/private_scenario.h"

#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string read_now(int fd) {
    char text[256];
    const ssize_t size = read(fd, text, sizeof text);
    return {text, static_cast<size_t>(std::max<ssize_t>(size, 0))};
}

void fatal_signal_scenario() {
    const unique_fd log = listen_as_log(SOCK_DGRAM | SOCK_NONBLOCK);
    struct {
        int number;
        int status; // of waitpid
        const char *priority;
        const char *text;
    } const rows[] = {{SIGTERM, W_EXITCODE(128 + SIGTERM, 0), "<45>", "exiting..."},
                      {SIGQUIT, W_EXITCODE(0, SIGABRT), "<43>", "aborting..."},
                      {SIGABRT, W_EXITCODE(0, SIGABRT), "<43>", "aborting..."}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.number);
        int fds[2];
        ASSERT_EQ(0, pipe2(fds, O_CLOEXEC));
        const unique_fd errors(fds[0]);
        unique_fd errors_out(fds[1]);
        const pid_t pid = fork();
        if (pid == 0) {
            const rlimit no_core{};
            setrlimit(RLIMIT_CORE, &no_core);
            dup2(errors_out.get(), STDERR_FILENO);
            signal(SIGUSR1, SIG_IGN); // stays ignored
            fatal_signals_install();
            raise(SIGUSR1);
            raise(row.number);
            _exit(1);
        }
        errors_out.reset();
        int status = -1;
        waitpid(pid, &status, 0);
        EXPECT_EQ(row.status, status & ~0x80); // without the mark of a core dump
        EXPECT_EQ(std::string(row.priority) + "zop_serv[" + std::to_string(pid) + "]: " + row.text,
                  read_now(log.get()));
        EXPECT_THAT(read_now(errors.get()), testing::StartsWith(std::string(row.text) + "\n"));
    }
}

} // namespace

TEST(FatalSignals, LastWordsAndExitStatus) { with_private({"/dev"}, fatal_signal_scenario); }
