#include "lib/ipc/ipc_signal.h"

#include "lib/base/unique_fd.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/eventfd.h>
#include <sys/select.h>

namespace {

// What the catcher touches must be free of locks, as it may interrupt anything.
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<ipc_signal_handler *>::is_always_lock_free);

// By signal number. Written by ipc_signal_catch, read by the thread that runs the handlers.
std::atomic<ipc_signal_handler *> s_handlers[NSIG]; // null: not caught here
std::atomic<bool> s_caught[NSIG];                   // set by the catcher, cleared before the handler runs
std::atomic<bool> s_any_caught;                     // some s_caught is set; spares every pass the walk
std::atomic<int> s_wake_fd = -1;                    // an event descriptor; -1: nothing is caught yet

void mark_signal(int signo) {
    const int saved_errno = errno;
    s_caught[signo].store(true);
    s_any_caught.store(true);
    // Last, so that whoever it wakes finds the marks. It cannot fail: the counter is far from full.
    ::eventfd_write(s_wake_fd.load(), 1);
    errno = saved_errno;
}

/// Makes the descriptor once. False with errno set when there is none that a descriptor set can hold.
bool make_wake_fd() {
    if (s_wake_fd.load() >= 0) {
        return true;
    }
    unique_fd made(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (made.get() >= FD_SETSIZE) {
        errno = EMFILE;
        return false;
    }
    int none = -1;
    if (made.valid() && s_wake_fd.compare_exchange_strong(none, made.get())) {
        made.release(); // unless another thread was first
    }
    return s_wake_fd.load() >= 0;
}

} // namespace

int ipc_signal_catch(int signo, ipc_signal_handler *handler) {
    if (signo <= 0 || signo >= NSIG || handler == nullptr) {
        errno = EINVAL;
        return -1;
    }
    if (!make_wake_fd()) {
        return -1;
    }
    ipc_signal_handler *earlier = s_handlers[signo].exchange(handler);
    struct sigaction action {};
    action.sa_handler = mark_signal;
    action.sa_flags = SA_RESTART; // select is interrupted all the same
    sigfillset(&action.sa_mask);
    if (sigaction(signo, &action, nullptr) != 0) {
        s_handlers[signo].store(earlier);
        return -1;
    }
    return 0;
}

int ipc_signal_process() {
    // Only looked at in the common case; the clearing exchange costs a locked access.
    if (!s_any_caught.load(std::memory_order_relaxed) || !s_any_caught.exchange(false)) {
        return 0;
    }
    // Before the walk: what is caught from here on is either seen there or makes it readable again.
    eventfd_t count = 0;
    ::eventfd_read(s_wake_fd.load(), &count);
    int ran = 0;
    for (int signo = 1; signo < NSIG; ++signo) {
        if (s_caught[signo].exchange(false)) {
            ipc_signal_handler *handler = s_handlers[signo].load();
            handler(signo);
            ++ran;
        }
    }
    return ran;
}

int ipc_signal_fd() { return s_wake_fd.load(std::memory_order_relaxed); }

void ipc_signal_found_readable() { s_any_caught.store(true); }
