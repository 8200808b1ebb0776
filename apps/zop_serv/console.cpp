#include "apps/zop_serv/console.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int k_settle_steps = 60;
constexpr int k_settle_step_ms = 5;

struct passage {
    int from = -1;                     // the pipe's end to be read; -1: not made
    int to = -1;                       // what was there before
    std::atomic<bool> passing = false; // from before a read until what it gave is written
};

std::array<passage, 2> s_passages; // of standard output and standard error

/// Writes all of it, as slowly as it is taken; what fails is lost, as it would have been without a pipe.
void write_patiently(int fd, const char *bytes, ssize_t length) {
    for (ssize_t done = 0; done < length;) {
        const ssize_t put = ::write(fd, bytes + done, static_cast<size_t>(length - done));
        if (put < 0 && errno == EAGAIN) { // its owner has made it so
            pollfd room = {fd, POLLOUT, 0};
            ignore_result(::poll(&room, 1, -1)); // the next write says what has come of it
        } else if (put <= 0) {
            return;
        } else {
            done += put;
        }
    }
}

void *pass_on(void *argument) {
    passage &way = *static_cast<passage *>(argument);
    std::array<char, 4096> piece;
    for (;;) {
        pollfd waiting = {way.from, POLLIN, 0};
        ignore_result(::poll(&waiting, 1, -1)); // no signal comes here, and there is nothing else to fail
        way.passing = true;
        const ssize_t length = ::read(way.from, piece.data(), piece.size());
        if (length > 0) {
            write_patiently(way.to, piece.data(), length);
        }
        way.passing = false;
        if (length <= 0) {
            return nullptr;
        }
    }
}

/// A thread that no signal comes to: a reader of the console that goes away is not the end of the program.
bool start_quietly(passage *way) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_t thread = 0;
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool started = pthread_create(&thread, nullptr, pass_on, way) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

bool start_passage(int fd, passage *way) {
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return false;
    }
    unique_fd from(ends[0]);
    const unique_fd into(ends[1]);
    unique_fd to(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!to.valid() || ::fcntl(into.get(), F_SETFL, O_WRONLY | O_NONBLOCK) != 0) {
        return false;
    }
    way->to = to.get();
    way->from = from.get();
    if (!start_quietly(way)) {
        return false;
    }
    from.release();
    to.release();
    return ::dup2(into.get(), fd) >= 0; // else the pipe ends with `into`, and the thread with the pipe
}

bool is_passing(const passage &way) {
    int waiting = 0;
    return way.from >= 0 && ((::ioctl(way.from, FIONREAD, &waiting) == 0 && waiting > 0) || way.passing);
}

} // namespace

bool console_start() {
    return start_passage(STDOUT_FILENO, &s_passages[0]) && start_passage(STDERR_FILENO, &s_passages[1]);
}

void console_end() {
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
        const passage &way = s_passages[fd == STDOUT_FILENO ? 0 : 1];
        ignore_result(way.to >= 0 ? ::dup2(way.to, fd) : 0); // where it fails, nothing better is to be had
    }
}

void console_settle() {
    for (int step = 0; step < k_settle_steps && (is_passing(s_passages[0]) || is_passing(s_passages[1]));
         step++) {
        ignore_result(::poll(nullptr, 0, k_settle_step_ms)); // a signal makes it shorter
    }
}
