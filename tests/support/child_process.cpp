#include "tests/support/child_process.h"

#include "tests/support/eventually.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void become(const std::vector<std::string> &command, int stdin_fd, int output) {
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    if (stdin_fd < 0) {
        ::close(STDIN_FILENO);
    } else {
        ::dup2(stdin_fd, STDIN_FILENO);
    }
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string &word : command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
}

} // namespace

child_process::child_process(const std::vector<std::string> &command, int stdin_fd) {
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        std::abort();
    }
    m_pid = ::fork();
    if (m_pid == 0) {
        become(command, stdin_fd, ends[1]);
    }
    ::close(ends[1]);
    m_output = ends[0];
}

child_process::~child_process() {
    if (!m_reaped) {
        terminate();
        if (wait() < 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }
    ::close(m_output);
}

void child_process::terminate() const { ::kill(m_pid, SIGTERM); }

int child_process::wait() {
    int status = 0;
    if (!eventually([&] { return ::waitpid(m_pid, &status, WNOHANG) != 0; })) {
        return -1;
    }
    m_reaped = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string child_process::read_all() {
    std::string text;
    std::array<char, 4096> piece;
    for (ssize_t got = 0; (got = ::read(m_output, piece.data(), piece.size())) > 0;) {
        text.append(piece.data(), static_cast<size_t>(got));
    }
    return text;
}

command_result run_command(const std::vector<std::string> &command) {
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    child_process child(command, null);
    ::close(null);
    std::string output = child.read_all();
    return {child.wait(), std::move(output)};
}

std::vector<std::string> own_program(const std::string &name, const std::vector<std::string> &arguments) {
    std::vector<std::string> command;
    std::istringstream emulator(ZOP_EMULATOR);
    for (std::string word; emulator >> word;) {
        command.push_back(word);
    }
    command.push_back(std::string(ZOP_BIN_DIR) + "/" + name);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}
