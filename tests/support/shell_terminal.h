#pragma once

#include "tests/support/child_process.h"
#include "tests/support/eventually.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <initializer_list>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utility>
#include <vector>

// The programs of the shell as their users meet them: the management process, and zopsh at a terminal.

/// zop_serv, ready: its shell answers and its IPC socket listens.
class management {
public:
    management() : m_process(own_program("zop_serv", {"--desk"}), -1) {
        EXPECT_TRUE(eventually([] { return std::filesystem::exists("/tmp/csh_serv"); }));
    }
    [[nodiscard]] pid_t pid() const { return m_process.pid(); }
    void end() {
        m_process.terminate();
        EXPECT_EQ(128 + SIGTERM, m_process.wait());
    }

private:
    child_process m_process;
};

inline constexpr const char *k_prompt = "# ";
inline constexpr const char *k_more = " --More-- ";

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

inline bool left_files(pid_t pid) {
    return std::filesystem::exists("/tmp/csh_client_" + std::to_string(pid)) ||
           std::filesystem::exists("/tmp/ttyout-" + std::to_string(pid));
}

inline command_result zopsh(const std::vector<std::string> &arguments) {
    return run_command(own_program("zopsh", arguments));
}
