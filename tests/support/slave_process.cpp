#include "tests/support/slave_process.h"

#include "modbus/mb.h"
#include "tests/support/modbus_client.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void serve(uint16_t port, const std::function<void()> &prepare) {
    if (mb_tcp_init(port) == k_mb_ok && mb_enable() == k_mb_ok) {
        prepare();
        while (!testing::Test::HasFailure() && mb_poll() == k_mb_ok) {
        }
    }
    ::_exit(1);
}

} // namespace

slave_process::slave_process(const std::function<void()> &prepare) : m_port(free_port()) {
    std::array<int, 2> ends = {};
    EXPECT_EQ(0, ::pipe2(ends.data(), O_CLOEXEC));
    m_pid = ::fork();
    if (m_pid == 0) {
        ::setpgid(0, 0);
        ::dup2(ends[1], STDERR_FILENO);
        serve(m_port, prepare);
    }
    ::setpgid(m_pid, m_pid);
    ::close(ends[1]);
    m_errors = ends[0];
}

slave_process::~slave_process() {
    ::kill(-m_pid, SIGKILL);
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "what prepared the slave has found something wrong";
    ::close(m_errors);
}

std::string slave_process::read_error_line() {
    std::string line;
    pollfd waiting = {m_errors, POLLIN, 0};
    char character = 0;
    while (::poll(&waiting, 1, 10000) == 1 && ::read(m_errors, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}
