#pragma once

#include <sys/select.h>
#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <span>

// A scheduler of callbacks on select. Its tasks are called threads and have nothing to do with those of the
// operating system: all tasks of one master run in the one thread that fetches and invokes them,
//
//     thread task;
//     while (thread_fetch_next(master, &task) != nullptr) {
//         thread_invoke(&task);
//     }
//
// and only that thread may touch the master. Every task runs once: a callback that wants more adds itself
// again. A task's record is reused as soon as it has been fetched, so whoever keeps the pointer that an add
// returned sets it to null first thing in the callback.

struct thread;
struct scheduler_master;
struct thread_cpu_history;

/// A callback; its result is ignored. `task` is the fetched copy, valid during the call only and not to be
/// cancelled.
using thread_func = int(thread *task);

enum thread_type : uint8_t {
    k_thread_read = 0,
    k_thread_write = 1,
    k_thread_timer = 2,
    k_thread_event = 3,
    k_thread_ready = 4,      // selected to run
    k_thread_background = 5, // a timer that runs after everything else of its pass
    k_thread_unused = 6,     // a free record
    k_thread_execute = 7,    // only as add_type, of funcname_thread_run_now
};

constexpr size_t k_thread_name_size = 64;
constexpr int k_thread_descriptors = FD_SETSIZE; // descriptors from here on do not fit a descriptor set

struct thread {
    uint8_t type;     // thread_type: the list it is on
    uint8_t add_type; // thread_type: how it was added
    thread *next;
    thread *prev;
    scheduler_master *master;
    thread_func *func;
    void *arg;
    union {
        int fd;        // read and write
        int val;       // event
        timeval sands; // timer and background: the deadline on the monotonic clock
    } u;
    timeval real;             // when the invocation under way began, monotonic
    thread_cpu_history *hist; // the callback's statistics; null until first invoked
    char funcname[k_thread_name_size];
};

struct thread_list {
    thread *head;
    thread *tail;
    uint32_t count;
};

struct scheduler_master {
    thread_list read;
    thread_list write;
    thread_list timer; // by deadline
    thread_list event;
    thread_list ready;
    thread_list unuse;
    thread_list background; // by deadline
    fd_set readfd;          // the descriptors of the read list
    fd_set writefd;         // the descriptors of the write list
    fd_set exceptfd;        // always empty
    uint64_t alloc;         // records ever allocated; none is ever freed
};

/// A master without tasks, never freed; null without memory. The first also creates the process's table of
/// statistics.
[[nodiscard]] scheduler_master *scheduler_master_create();

// Each add returns the new pending task, owned by the master and good for thread_cancel until its callback
// begins; null without memory. `m` must not be null. `funcname` is the callback's name for the statistics;
// blanks and parentheses around it are dropped, and what is beyond 63 characters. The thread_add_ macros
// below name the callback themselves.

/// Runs `func` once `fd` is readable. One task a descriptor: null with a warning when there is one already,
/// and for a descriptor outside 0..1023. Cancel it before you close `fd`.
thread *funcname_thread_add_read(scheduler_master *m, thread_func *func, void *arg, int fd,
                                 const char *funcname);

/// Runs `func` once `fd` is writable; otherwise like funcname_thread_add_read.
thread *funcname_thread_add_write(scheduler_master *m, thread_func *func, void *arg, int fd,
                                  const char *funcname);

/// Runs `func` once `seconds` have passed. Of timers with one deadline the one added last runs first.
thread *funcname_thread_add_timer(scheduler_master *m, thread_func *func, void *arg, int32_t seconds,
                                  const char *funcname);

/// The same in milliseconds.
thread *funcname_thread_add_timer_msec(scheduler_master *m, thread_func *func, void *arg,
                                       int32_t milliseconds, const char *funcname);

/// The same for any time from now and for either kind of timer: `type` is k_thread_timer or
/// k_thread_background, `time_relative` not null. A deadline before the clock's zero is zero, so due at once.
thread *funcname_thread_add_timer_timeval(scheduler_master *m, thread_func *func, void *arg,
                                          const timeval *time_relative, uint8_t type, const char *funcname);

/// Runs `func` once `milliseconds` (0: none) have passed and nothing else is due in that pass.
thread *funcname_thread_add_background(scheduler_master *m, thread_func *func, void *arg,
                                       int32_t milliseconds, const char *funcname);

/// Runs `func` at the next fetch, with `val` in u.val; events run in the order added.
thread *funcname_thread_add_event(scheduler_master *m, thread_func *func, void *arg, int val,
                                  const char *funcname);

/// Runs `func` at once, before it returns, on a task without master and with `val` in u.val. Counted in the
/// statistics; needs no master to exist. Returns 0.
int funcname_thread_run_now(scheduler_master *m, thread_func *func, void *arg, int val, const char *funcname);

#define thread_add_read(m, f, a, fd)         funcname_thread_add_read(m, f, a, fd, #f)
#define thread_add_write(m, f, a, fd)        funcname_thread_add_write(m, f, a, fd, #f)
#define thread_add_timer(m, f, a, seconds)   funcname_thread_add_timer(m, f, a, seconds, #f)
#define thread_add_timer_msec(m, f, a, msec) funcname_thread_add_timer_msec(m, f, a, msec, #f)
#define thread_add_timer_timeval(m, f, a, time_relative, type)                                               \
    funcname_thread_add_timer_timeval(m, f, a, time_relative, type, #f)
#define thread_add_background(m, f, a, msec) funcname_thread_add_background(m, f, a, msec, #f)
#define thread_add_event(m, f, a, val)       funcname_thread_add_event(m, f, a, val, #f)
#define thread_run_now(m, f, a, val)         funcname_thread_run_now(m, f, a, val, #f)

/// Takes a pending or ready task back; its record becomes unused. An unused task is left alone, and null is
/// ignored. Cancel a descriptor's tasks before you close it: waiting for a closed one ends the fetch, and its
/// number may be another's by then.
void thread_cancel(thread *task);

/// Takes back every event, and then every ready task of any kind, whose argument is `arg`. Returns how many.
uint32_t thread_cancel_event_by_arg(scheduler_master *m, const void *arg);

/// Waits until a task can run, copies it into `fetch`, makes its record unused and returns `fetch`. Runs the
/// handlers of caught signals first (ipc_signal.h). Returns null when select fails, which is logged. In one
/// pass events come first, then timers, readable and writable descriptors, and background tasks. An event
/// that a signal's handler adds while the fetch waits runs when that wait is over, and does not shorten it.
[[nodiscard]] thread *thread_fetch_next(scheduler_master *m, thread *fetch);

/// Runs the callback of a fetched task and counts it in the callback's statistics (ipc_thread_cpu.h).
void thread_invoke(thread *task);

/// Copies at most 63 characters of `funcname` without the blanks and opening parentheses before it and the
/// blanks and closing parentheses after it. The last byte of `dest` is always NUL.
void funcname_strip(std::span<char, k_thread_name_size> dest, const char *funcname);

/// Puts a record of type unused that is on no list on the unuse list.
void thread_add_unuse(scheduler_master *m, thread *task);

/// The seconds until a timer or background task is due, by the seconds of the clock: a timer of 5 s reads 5
/// until the clock's next full second. 0 when it is due.
[[nodiscard]] uint32_t thread_timer_remain_seconds(const thread *task);

/// Whether the invocation of `task` that is under way has taken more than 10 ms, so that the callback had
/// better add itself again and let others run.
[[nodiscard]] bool thread_should_yield_now(const thread *task);
