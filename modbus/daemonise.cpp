#include "modbus/daemonise.h"

#include "lib/base/plain_file.h"
#include "lib/base/result.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

constexpr const char *k_signal_log = "/tmp/modbus.log";
constexpr const char *k_pid_directory = "/var/run";
constexpr const char *k_pid_file = "modbus.pid";
constexpr mode_t k_pid_file_mode = 0640;
constexpr mode_t k_log_file_mode = 0666; // less the umask

void close_all_descriptors() {
    if (::close_range(0, ~0U, 0) == 0) {
        return; // where there may be a thousand million of them, the loop takes minutes
    }
    for (int fd = ::getdtablesize(); fd >= 0; fd--) {
        ::close(fd);
    }
}

void open_null_descriptors() {
    const int fd = ::open("/dev/null", O_RDWR);
    ignore_result(::dup(fd)); // they are 1 and 2: every descriptor was closed before
    ignore_result(::dup(fd));
}

/// Returns the locked pid file, or -1 after saying what failed.
int open_pid_file() {
    const int fd = ::open(k_pid_file, O_RDWR | O_CREAT, k_pid_file_mode);
    if (fd < 0) {
        std::printf("Can't open.");
        return -1;
    }
    if (::lockf(fd, F_TLOCK, 0) < 0) {
        std::printf("Can't lock.");
        return -1; // open on purpose: closing it would drop a lock this process may hold through another
                   // descriptor
    }
    return fd;
}

} // namespace

void daemonise() {
    if (::getppid() == 1) {
        return;
    }
    std::fflush(stdout); // or the child prints it again
    const pid_t pid = ::fork();
    if (pid < 0) {
        std::printf("fork error.");
        return;
    }
    if (pid > 0) {
        return;
    }
    ignore_result(::setsid()); // a forked child leads no process group, so it cannot fail
    close_all_descriptors();
    open_null_descriptors();
    ignore_result(::chdir(k_pid_directory)); // the file then fails to open, and says so
    const int fd = open_pid_file();
    if (fd < 0) {
        return;
    }
    // Not truncated: a longer earlier content keeps its tail.
    ignore_result(::dprintf(fd, "%d\n", static_cast<int>(::getpid()))); // the lock is what counts
    for (const int ignored : {SIGCHLD, SIGTSTP, SIGTTOU, SIGTTIN}) {
        std::signal(ignored, SIG_IGN);
    }
    std::signal(SIGHUP, on_signal);
    std::signal(SIGTERM, on_signal);
}

void log_line(const char *path, const char *text) {
    // Runs in a signal handler: no stdio.
    const plain_file file = plain_file_open(path, O_WRONLY | O_APPEND | O_CREAT, k_log_file_mode);
    if (!file.fd.valid()) {
        return;
    }
    const iovec line[] = {{const_cast<char *>(text), std::strlen(text)}, {const_cast<char *>("\n"), 1}};
    ignore_result(::writev(file.fd.get(), line, std::size(line))); // there is nowhere to report it to
}

void on_signal(int signal_number) {
    const int interrupted_errno = errno;
    if (signal_number == SIGHUP) {
        log_line(k_signal_log, "hangup signal catched");
    } else if (signal_number == SIGTERM) {
        log_line(k_signal_log, "terminate signal catched");
        std::exit(0);
    }
    errno = interrupted_errno;
}
