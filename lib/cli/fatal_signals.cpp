#include "lib/cli/fatal_signals.h"

#include "lib/base/log.h"
#include "lib/base/result.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace {

void (*s_settle)() = nullptr; // called after the last words; may be null

// A line put together without the allocations and locks of the C library's log.
struct plain_line {
    char text[96];
    size_t length;

    void add(std::string_view piece) {
        const size_t fitting = std::min(piece.size(), sizeof text - length);
        std::copy_n(piece.begin(), fitting, text + length);
        length += fitting;
    }
    void add(int number) {
        const auto [end, error] = std::to_chars(text + length, std::end(text), number);
        length = static_cast<size_t>(end - text);
    }
};

void send_to_log(int priority, std::string_view message) {
    plain_line line{};
    line.add("<");
    line.add(LOG_SYSLOG | priority);
    line.add(">");
    line.add(k_ipc_log_ident);
    line.add("[");
    line.add(static_cast<int>(getpid()));
    line.add("]: ");
    line.add(message);

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    constexpr std::string_view path = "/dev/log";
    std::copy(path.begin(), path.end(), address.sun_path);
    // Neither closed nor told when it fails: the process ends.
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ignore_result(
        sendto(fd, line.text, line.length, 0, reinterpret_cast<sockaddr *>(&address), sizeof address));
}

void write_last_words(int priority, std::string_view message) {
    ipc_log_flush(k_ipc_log_patience_ms); // what led here stands before it
    send_to_log(priority, message);
    plain_line line{};
    line.add(message);
    line.add("\n");
    ignore_result(write(STDERR_FILENO, line.text, line.length));
    if (s_settle != nullptr) {
        s_settle();
    }
}

void on_exit_signal(int signal_number) {
    write_last_words(LOG_NOTICE, "exiting...");
    _exit(128 + signal_number);
}

void on_abort_signal(int /*signal_number*/) {
    std::signal(SIGABRT, SIG_DFL); // or abort would come back here
    write_last_words(LOG_ERR, "aborting...");
    std::abort();
}

struct fatal_row {
    int signal_number;
    void (*handler)(int);
};

constexpr fatal_row k_fatal[] = {
    {SIGHUP, on_exit_signal},   {SIGINT, on_exit_signal},   {SIGPIPE, on_exit_signal},
    {SIGALRM, on_exit_signal},  {SIGTERM, on_exit_signal},  {SIGUSR1, on_exit_signal},
    {SIGUSR2, on_exit_signal},  {SIGPOLL, on_exit_signal},  {SIGVTALRM, on_exit_signal},
    {SIGPROF, on_exit_signal},  {SIGQUIT, on_abort_signal}, {SIGILL, on_abort_signal},
    {SIGTRAP, on_abort_signal}, {SIGABRT, on_abort_signal}, {SIGBUS, on_abort_signal},
    {SIGFPE, on_abort_signal},  {SIGSEGV, on_abort_signal}, {SIGSYS, on_abort_signal},
    {SIGXCPU, on_abort_signal}, {SIGXFSZ, on_abort_signal},
};

bool install(const fatal_row &row) {
    struct sigaction action {};
    if (sigaction(row.signal_number, nullptr, &action) != 0) {
        return false;
    }
    if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != SIG_DFL) {
        return true;
    }
    action = {};
    action.sa_handler = row.handler;
    sigfillset(&action.sa_mask);
    return sigaction(row.signal_number, &action, nullptr) == 0;
}

} // namespace

void fatal_signals_install(void (*settle)()) {
    s_settle = settle;
    for (const fatal_row &row : k_fatal) {
        if (!install(row)) {
            ipc_log_warn("Unable to set signal handler for signal %d: %s", row.signal_number,
                         safe_strerror(errno));
        }
    }
}
