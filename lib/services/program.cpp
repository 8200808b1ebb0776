#include "lib/services/program.h"

#include "lib/base/monotonic.h"
#include "lib/base/result.h"
#include "lib/base/retry.h"
#include "lib/base/unique_fd.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char *k_folders[] = {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"};
constexpr size_t k_printed_max = size_t{64} * 1024;
constexpr int64_t k_look_ms = 20; // how soon the end of a program is seen

/// What a program begins with.
class beginning {
public:
    beginning() {
        ::posix_spawn_file_actions_init(&m_files);
        ::posix_spawnattr_init(&m_attributes);
    }
    ~beginning() {
        ::posix_spawn_file_actions_destroy(&m_files);
        ::posix_spawnattr_destroy(&m_attributes);
    }
    beginning(const beginning &) = delete;
    beginning &operator=(const beginning &) = delete;

    /// Every descriptor of this process but these three is closed by itself in the program.
    int set(int output) {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        int error = ::posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
            error = error != 0 ? error : ::posix_spawn_file_actions_adddup2(&m_files, output, fd);
        }
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setpgroup(&m_attributes, 0);
        constexpr int k_flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
        return error != 0 ? error : ::posix_spawnattr_setflags(&m_attributes, k_flags);
    }

    int spawn(pid_t *process, const std::string &path, const std::vector<std::string> &arguments) {
        std::array<char, 40> folders = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
        std::array<char, 10> locale = {"LC_ALL=C"};
        const std::array<char *, 3> variables = {folders.data(), locale.data(), nullptr};
        std::vector<char *> words;
        std::transform(arguments.begin(), arguments.end(), std::back_inserter(words),
                       [](const std::string &word) { return const_cast<char *>(word.c_str()); });
        words.push_back(nullptr);
        return ::posix_spawn(process, path.c_str(), &m_files, &m_attributes, words.data(), variables.data());
    }

private:
    posix_spawn_file_actions_t m_files{};
    posix_spawnattr_t m_attributes{};
};

/// Reads what there is. Returns whether there may be more.
bool read_piece(int fd, std::string *printed) {
    std::array<char, 4096> piece{};
    const ssize_t length = retry_interrupted([&] { return ::read(fd, piece.data(), piece.size()); });
    if (length > 0) {
        printed->append(piece.data(), std::min(static_cast<size_t>(length), k_printed_max - printed->size()));
    }
    return length > 0 || (length < 0 && errno == EAGAIN);
}

/// Reads what is there, without waiting for more: a server that the program has started may hold its output.
void read_rest(int fd, std::string *printed) {
    pollfd waiting = {fd, POLLIN, 0};
    while (printed->size() < k_printed_max && ::poll(&waiting, 1, 0) > 0 && (waiting.revents & POLLIN) != 0 &&
           read_piece(fd, printed)) {
    }
}

int status_of(int waited) { return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited); }

} // namespace

std::string program_path(const std::string &name) {
    for (const char *const folder : k_folders) {
        std::string path = folder + name;
        if (::access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return "";
}

int program_start(const std::vector<std::string> &arguments, program *started) {
    const std::string path = program_path(arguments.front());
    int ends[2];
    if (path.empty() || ::pipe2(ends, O_CLOEXEC) != 0) {
        return path.empty() ? ENOENT : errno;
    }
    unique_fd reading(ends[0]);
    const unique_fd writing(ends[1]);
    beginning begin;
    int error = begin.set(writing.get());
    error = error != 0 ? error : begin.spawn(&started->process, path, arguments);
    if (error != 0 || ::fcntl(reading.get(), F_SETFL, O_NONBLOCK) != 0) {
        return error != 0 ? error : errno;
    }
    started->output = reading.release();
    return 0;
}

bool program_exists(const char *name) { return !program_path(name).empty(); }

int program_run(const std::vector<std::string> &arguments, int32_t seconds, std::string *printed) {
    program run;
    printed->clear();
    if (program_start(arguments, &run) != 0) {
        return -1;
    }
    const unique_fd output(run.output);
    const int64_t deadline = monotonic_us() + int64_t{seconds} * 1000000;
    for (pollfd waiting = {output.get(), POLLIN, 0};;) {
        const int64_t left_ms = (deadline - monotonic_us()) / 1000;
        int status = 0;
        const pid_t ended = retry_interrupted([&] { return ::waitpid(run.process, &status, WNOHANG); });
        if (ended != 0) {
            read_rest(output.get(), printed);
            return ended > 0 ? status_of(status) : -1;
        }
        if (left_ms <= 0) {
            ::kill(-run.process, SIGKILL);
            ignore_result(program_wait(run.process)); // it took too long, whatever it came to
            return -1;
        }
        if (::poll(&waiting, 1, static_cast<int>(std::min(left_ms, k_look_ms))) > 0 &&
            !read_piece(output.get(), printed)) {
            waiting.fd = -1; // nothing more comes, but it may run on
        }
    }
}

int program_wait(pid_t process) {
    int status = 0;
    if (retry_interrupted([&] { return ::waitpid(process, &status, 0); }) != process) {
        return -1;
    }
    return status_of(status);
}
