// What the shell's process keeps in /var and says at its end. Each case has a process and mounts of its own.

#include "lib/cli/fatal_signals.h"
#include "lib/cli/screen_length.h"
#include "tests/support/log_socket.h"
#include "tests/support/private_scenario.h"
#include "tests/support/syslog_capture.h"

#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <iterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;

std::string s_printed;

[[gnu::format(printf, 1, 2)]] int print(const char *format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    const int size = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    s_printed += text;
    return size;
}

void screen_length_scenario() {
    EXPECT_EQ(24, screen_length()) << "no file";
    struct {
        const char *argument;
        int32_t result;
        const char *file; // afterwards
    } const set[] = {{"1", -6, ""},          {"2", 0, "2"},        {"29999", 0, "29999"},
                     {"30000", -6, "29999"}, {"-5", -6, "29999"},  {"", -6, "29999"},
                     {"24x", -6, "29999"},   {" 24", -6, "29999"}, {"4294967320", -6, "29999"},
                     {"060", 0, "60"},       {"24", 0, "24"}};
    for (const auto &row : set) {
        s_printed.clear();
        EXPECT_EQ(row.result, screen_length_set(row.argument, print)) << row.argument;
        EXPECT_EQ(row.result == 0 ? "" : "% Invalid value\n\n", s_printed);
        std::ifstream file(k_screen_length_file);
        EXPECT_EQ(row.file, std::string(std::istreambuf_iterator<char>(file), {})) << row.argument;
    }
    const std::pair<std::string, int32_t> stored[] = {
        {"25", 25}, {"2\n", 2}, {"30000", 24}, {"1", 24}, {"", 24}, {"50 x", 24}, {std::string(99, '5'), 24}};
    for (const auto &[content, length] : stored) {
        std::ofstream(k_screen_length_file) << content;
        EXPECT_EQ(length, screen_length()) << content;
        s_printed.clear();
        screen_length_show_config(print);
        EXPECT_EQ(length == 24 ? "" : "set length " + std::to_string(length) + "\n", s_printed);
    }
    EXPECT_EQ(std::filesystem::perms(0644), std::filesystem::status(k_screen_length_file).permissions());
    std::filesystem::remove(k_screen_length_file);
    std::filesystem::create_directory(k_screen_length_file);
    EXPECT_EQ(24, screen_length());
    EXPECT_EQ(k_screen_length_not_stored, screen_length_set("30", print));
    EXPECT_THAT(syslog_take_texts(),
                ElementsAre("4 screen_length_set: cannot write /var/qel_win_size: Is a directory"));
}

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

TEST(ScreenLength, OnlyNumbersInRangeAreStoredOrBelieved) { with_private({"/var"}, screen_length_scenario); }

TEST(FatalSignals, LastWordsAndExitStatus) { with_private({"/dev"}, fatal_signal_scenario); }
