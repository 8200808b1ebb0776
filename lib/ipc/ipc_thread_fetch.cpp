// The passes of the scheduler: what it waits for, and in what order its tasks become ready.

#include "lib/base/log.h"
#include "lib/ipc/internal/ipc_thread_list.h"
#include "lib/ipc/ipc_signal.h"
#include "lib/ipc/ipc_thread.h"
#include "lib/ipc/ipc_time.h"

#include <cerrno>

namespace {

// What select waits at most, kept from pass to pass of one fetch; at first nothing at all. select counts it
// down, so that a wait taken up again ends when the first would have.
struct select_timeout {
    timeval time;
    bool unlimited;
};

enum class pass_result : uint8_t { collected, interrupted, failed };

// Until the first timer or background task is due.
void choose_timeout(const scheduler_master *m, select_timeout *timeout) {
    const thread *first = m->timer.head;
    const thread *background = m->background.head;
    if (background != nullptr &&
        (first == nullptr || timeval_compare(background->u.sands, first->u.sands) < 0)) {
        first = background;
    }
    timeout->unlimited = first == nullptr;
    if (first != nullptr) {
        timeval now{};
        monotonic_now(&now);
        timeout->time.tv_sec = first->u.sands.tv_sec - now.tv_sec;
        timeout->time.tv_usec = first->u.sands.tv_usec - now.tv_usec;
        timeout->time = timeval_normalise(timeout->time);
    }
}

void take_due(thread_list *list, const timeval &now) {
    while (list->head != nullptr && timeval_compare(now, list->head->u.sands) >= 0) {
        thread_make_ready(list, list->head);
    }
}

// Makes the tasks of `list` ready whose descriptors are in `found`, and takes these out of `waiting`. Returns
// how many.
int thread_process_fd(thread_list *list, const fd_set *found, fd_set *waiting) {
    THREAD_INVARIANT(list != nullptr, "list");
    int moved = 0;
    for (thread *task = list->head, *next = nullptr; task != nullptr; task = next) {
        next = task->next;
        if (FD_ISSET(task->u.fd, found)) {
            INVARIANT(FD_ISSET(task->u.fd, waiting));
            FD_CLR(task->u.fd, waiting);
            thread_make_ready(list, task);
            ++moved;
        }
    }
    return moved;
}

// select, with the descriptor that caught signals make readable beside the tasks': one that is caught before
// select begins is not left until it ends. Returns how many of the tasks' descriptors are ready, or -1.
int wait_for_tasks(fd_set *readfd, fd_set *writefd, fd_set *exceptfd, timeval *limit) {
    const int signal_fd = ipc_signal_fd();
    if (signal_fd >= 0) {
        FD_SET(signal_fd, readfd);
    }
    const int found = select(k_thread_descriptors, readfd, writefd, exceptfd, limit);
    if (found > 0 && signal_fd >= 0 && FD_ISSET(signal_fd, readfd)) {
        ipc_signal_found_readable();
        return found - 1;
    }
    return found;
}

// The work of one pass: fills the ready list, which is empty, in the order that the tasks are to run.
pass_result collect_ready(scheduler_master *m, select_timeout *timeout) {
    while (m->event.head != nullptr) {
        thread_make_ready(&m->event, m->event.head);
    }
    fd_set readfd = m->readfd;
    fd_set writefd = m->writefd;
    fd_set exceptfd = m->exceptfd;
    // With events at hand the last choice stands, deliberately: what a signal handler adds while select waits
    // runs when that wait is over, and waits on when there is no timer.
    if (m->ready.head == nullptr) {
        choose_timeout(m, timeout);
    }
    const int found =
        wait_for_tasks(&readfd, &writefd, &exceptfd, timeout->unlimited ? nullptr : &timeout->time);
    if (found < 0) {
        if (errno == EINTR) {
            return pass_result::interrupted;
        }
        ipc_log_warn("select() error: %s", safe_strerror(errno));
        return pass_result::failed;
    }
    timeval now{};
    // Nothing else asks for the time: spares a busy scheduler of events the reading.
    if (m->timer.head != nullptr || m->background.head != nullptr) {
        monotonic_now(&now);
    }
    take_due(&m->timer, now);
    if (found > 0 && thread_process_fd(&m->read, &readfd, &m->readfd) < found) {
        thread_process_fd(&m->write, &writefd, &m->writefd);
    }
    take_due(&m->background, now);
    return pass_result::collected;
}

} // namespace

thread *thread_fetch_next(scheduler_master *m, thread *fetch) {
    select_timeout timeout{};
    for (;;) {
        ipc_signal_process();
        if (m->ready.head == nullptr) {
            const pass_result result = collect_ready(m, &timeout);
            if (result == pass_result::failed) {
                return nullptr;
            }
            if (result == pass_result::interrupted || m->ready.head == nullptr) {
                continue;
            }
        }
        thread *task = m->ready.head;
        thread_list_remove(&m->ready, task);
        *fetch = *task;
        task->type = k_thread_unused;
        thread_add_unuse(m, task);
        return fetch;
    }
}
