#include "lib/ipc/ipc_thread.h"

#include "lib/base/log.h"
#include "lib/ipc/internal/ipc_thread_list.h"
#include "lib/ipc/ipc_thread_cpu.h"
#include "lib/ipc/ipc_time.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

// A record for a new task; what it held before stays in the fields not set here. Null without memory.
thread *thread_get_record(scheduler_master *m, uint8_t type, thread_func *func, void *arg,
                          const char *funcname) {
    thread *task = m->unuse.head;
    if (task != nullptr) {
        thread_list_remove(&m->unuse, task);
    } else {
        task = static_cast<thread *>(std::calloc(1, sizeof(thread)));
        if (task == nullptr) {
            return nullptr;
        }
        ++m->alloc;
    }
    task->type = type;
    task->add_type = type;
    task->master = m;
    task->func = func;
    task->arg = arg;
    funcname_strip(task->funcname, funcname);
    return task;
}

// Reading or writing: the list, the descriptor set that says what is on it, and the word for the log.
struct fd_kind {
    uint8_t type;
    thread_list *list;
    fd_set *set;
    const char *word;
};

fd_kind read_kind(scheduler_master *m) { return {k_thread_read, &m->read, &m->readfd, "read"}; }

fd_kind write_kind(scheduler_master *m) { return {k_thread_write, &m->write, &m->writefd, "write"}; }

thread *add_fd(scheduler_master *m, const fd_kind &kind, thread_func *func, void *arg, int fd,
               const char *funcname) {
    if (fd < 0 || fd >= k_thread_descriptors) {
        ipc_log_warn("Cannot wait to %s fd [%d]", kind.word, fd);
        return nullptr;
    }
    if (FD_ISSET(fd, kind.set)) {
        ipc_log_warn("There is already %s fd [%d]", kind.word, fd);
        return nullptr;
    }
    thread *task = thread_get_record(m, kind.type, func, arg, funcname);
    if (task == nullptr) {
        return nullptr;
    }
    FD_SET(fd, kind.set);
    task->u.fd = fd;
    thread_list_append(kind.list, task);
    return task;
}

// Returns the list that the descriptor's task is on.
thread_list *cancel_fd(const fd_kind &kind, int fd) {
    INVARIANT(FD_ISSET(fd, kind.set));
    FD_CLR(fd, kind.set);
    return kind.list;
}

timeval from_milliseconds(int32_t milliseconds) {
    timeval time{};
    time.tv_sec = milliseconds / 1000;
    time.tv_usec = milliseconds % 1000 * 1000;
    return time;
}

// Before the first task that is due at the same time or later, so that the last added of equals runs first.
// Looked for from both ends, as most timers are due after all others.
void insert_by_deadline(thread_list *list, thread *task) {
    const timeval &deadline = task->u.sands;
    thread *next = list->head;
    thread *prev = list->tail;
    while (next != nullptr && timeval_compare(next->u.sands, deadline) < 0) {
        if (timeval_compare(prev->u.sands, deadline) < 0) {
            next = prev->next;
            break;
        }
        next = next->next;
        prev = prev->prev;
    }
    thread_list_insert(list, next, task);
}

uint32_t cancel_by_arg(thread_list *list, const void *arg) {
    uint32_t cancelled = 0;
    for (thread *task = list->head, *next = nullptr; task != nullptr; task = next) {
        next = task->next;
        if (task->arg == arg) {
            thread_make_unused(list, task);
            ++cancelled;
        }
    }
    return cancelled;
}

} // namespace

scheduler_master *scheduler_master_create() {
    if (!thread_cpu_table_create()) {
        return nullptr;
    }
    return static_cast<scheduler_master *>(std::calloc(1, sizeof(scheduler_master)));
}

void funcname_strip(std::span<char, k_thread_name_size> dest, const char *funcname) {
    const char *begin = funcname;
    const char *end = begin + strnlen(funcname, dest.size() - 1);
    while (begin < end && (*begin == ' ' || *begin == '(')) {
        ++begin;
    }
    while (begin < end && (end[-1] == ' ' || end[-1] == ')')) {
        --end;
    }
    std::fill(std::copy(begin, end, dest.begin()), dest.end(), '\0');
}

thread *funcname_thread_add_read(scheduler_master *m, thread_func *func, void *arg, int fd,
                                 const char *funcname) {
    MASTER_INVARIANT(m);
    return add_fd(m, read_kind(m), func, arg, fd, funcname);
}

thread *funcname_thread_add_write(scheduler_master *m, thread_func *func, void *arg, int fd,
                                  const char *funcname) {
    MASTER_INVARIANT(m);
    return add_fd(m, write_kind(m), func, arg, fd, funcname);
}

thread *funcname_thread_add_timer(scheduler_master *m, thread_func *func, void *arg, int32_t seconds,
                                  const char *funcname) {
    MASTER_INVARIANT(m);
    timeval time_relative{};
    time_relative.tv_sec = seconds;
    return funcname_thread_add_timer_timeval(m, func, arg, &time_relative, k_thread_timer, funcname);
}

thread *funcname_thread_add_timer_msec(scheduler_master *m, thread_func *func, void *arg,
                                       int32_t milliseconds, const char *funcname) {
    MASTER_INVARIANT(m);
    const timeval time_relative = from_milliseconds(milliseconds);
    return funcname_thread_add_timer_timeval(m, func, arg, &time_relative, k_thread_timer, funcname);
}

thread *funcname_thread_add_background(scheduler_master *m, thread_func *func, void *arg,
                                       int32_t milliseconds, const char *funcname) {
    MASTER_INVARIANT(m);
    const timeval time_relative = from_milliseconds(milliseconds);
    return funcname_thread_add_timer_timeval(m, func, arg, &time_relative, k_thread_background, funcname);
}

thread *funcname_thread_add_timer_timeval(scheduler_master *m, thread_func *func, void *arg,
                                          const timeval *time_relative, uint8_t type, const char *funcname) {
    MASTER_INVARIANT(m);
    THREAD_INVARIANT(type == k_thread_timer || type == k_thread_background, "type == 2 || type == 5");
    THREAD_INVARIANT(time_relative != nullptr, "time_relative");
    thread *task = thread_get_record(m, type, func, arg, funcname);
    if (task == nullptr) {
        return nullptr;
    }
    timeval deadline{};
    monotonic_now(&deadline);
    deadline.tv_sec += time_relative->tv_sec;
    deadline.tv_usec += time_relative->tv_usec;
    task->u.sands = timeval_normalise(deadline);
    insert_by_deadline(type == k_thread_timer ? &m->timer : &m->background, task);
    return task;
}

thread *funcname_thread_add_event(scheduler_master *m, thread_func *func, void *arg, int val,
                                  const char *funcname) {
    MASTER_INVARIANT(m);
    thread *task = thread_get_record(m, k_thread_event, func, arg, funcname);
    if (task == nullptr) {
        return nullptr;
    }
    task->u.val = val;
    thread_list_append(&m->event, task);
    return task;
}

void thread_cancel(thread *task) {
    if (task == nullptr) {
        return;
    }
    scheduler_master *m = task->master;
    thread_list *list = nullptr;
    switch (task->type) {
    case k_thread_read:
        list = cancel_fd(read_kind(m), task->u.fd);
        break;
    case k_thread_write:
        list = cancel_fd(write_kind(m), task->u.fd);
        break;
    case k_thread_timer:
        list = &m->timer;
        break;
    case k_thread_event:
        list = &m->event;
        break;
    case k_thread_ready: // a ready descriptor's bit has been cleared, and may be another task's by now
        list = &m->ready;
        break;
    case k_thread_background:
        list = &m->background;
        break;
    default:
        return;
    }
    thread_make_unused(list, task);
}

uint32_t thread_cancel_event_by_arg(scheduler_master *m, const void *arg) {
    const uint32_t events = cancel_by_arg(&m->event, arg);
    return events + cancel_by_arg(&m->ready, arg);
}

void thread_add_unuse(scheduler_master *m, thread *task) {
    THREAD_INVARIANT(m != nullptr && task != nullptr, "m != ((void *)0) && thread != ((void *)0)");
    THREAD_INVARIANT(task->next == nullptr, "thread->next == ((void *)0)");
    THREAD_INVARIANT(task->prev == nullptr, "thread->prev == ((void *)0)");
    THREAD_INVARIANT(task->type == k_thread_unused, "thread->type == 6");
    thread_list_append(&m->unuse, task);
}

uint32_t thread_timer_remain_seconds(const thread *task) {
    timeval now{};
    monotonic_now(&now);
    const int64_t remaining = int64_t{task->u.sands.tv_sec} - now.tv_sec;
    return static_cast<uint32_t>(std::clamp<int64_t>(remaining, 0, UINT32_MAX));
}
