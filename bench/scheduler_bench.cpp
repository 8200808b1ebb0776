// The scheduler beside libevent. The scheduler counts the real and the processor time of every callback,
// which is two getrusage calls each; "counted" is libevent with callbacks that do the same, so the same work,
// and "bare" is libevent without, which tells what the counting costs.

#include "lib/ipc/ipc_thread.h"
#include "lib/ipc/ipc_time.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <event2/event.h>
#include <numeric>
#include <random>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int k_timers = 1000;

int64_t s_calls = 0;

struct usage_counts {
    int64_t calls;
    int64_t real_total;
    int64_t real_max;
    int64_t cpu_total;
    int64_t cpu_max;
};
usage_counts s_usage{};

// Pipes whose reading ends stay readable where a byte has been left in them.
struct pipes {
    explicit pipes(size_t count, size_t readable) : fds(count) {
        for (size_t i = 0; i < count; ++i) {
            if (pipe(fds[i].data()) != 0 || (i < readable && write(fds[i][1], "x", 1) != 1)) {
                std::abort();
            }
        }
    }
    pipes(const pipes &) = delete;
    pipes &operator=(const pipes &) = delete;
    ~pipes() {
        for (const std::array<int, 2> &ends : fds) {
            close(ends[0]);
            close(ends[1]);
        }
    }
    std::vector<std::array<int, 2>> fds;
};

std::vector<int32_t> delays_us(bool shuffled) {
    std::vector<int32_t> delays(k_timers);
    std::iota(delays.begin(), delays.end(), 0);
    if (shuffled) {
        std::shuffle(delays.begin(), delays.end(), std::mt19937(1)); // NOLINT: the same order every run
    }
    return delays;
}

// The scheduler.

scheduler_master *the_master() {
    static scheduler_master *s_master = scheduler_master_create();
    return s_master;
}

int count_call(thread * /*task*/) {
    ++s_calls;
    return 0;
}

int read_again(thread *task) {
    ++s_calls;
    thread_add_read(task->master, read_again, task->arg, task->u.fd);
    return 0;
}

void run_tasks(scheduler_master *m, int64_t count) {
    thread task;
    for (int64_t i = 0; i < count; ++i) {
        thread_invoke(thread_fetch_next(m, &task));
    }
}

void events_scheduler(benchmark::State &state) {
    scheduler_master *m = the_master();
    for ([[maybe_unused]] const auto round : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            thread_add_event(m, count_call, nullptr, 0);
        }
        run_tasks(m, state.range(0));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void readable_scheduler(benchmark::State &state) {
    scheduler_master *m = the_master();
    const pipes all(static_cast<size_t>(state.range(0)), static_cast<size_t>(state.range(1)));
    for (const auto &ends : all.fds) {
        thread_add_read(m, read_again, nullptr, ends[0]);
    }
    for ([[maybe_unused]] const auto round : state) {
        run_tasks(m, state.range(1));
    }
    while (m->read.head != nullptr) {
        thread_cancel(m->read.head);
    }
    state.SetItemsProcessed(state.iterations() * state.range(1));
}

void timers_scheduler(benchmark::State &state) {
    scheduler_master *m = the_master();
    const std::vector<int32_t> delays = delays_us(state.range(0) != 0);
    for ([[maybe_unused]] const auto round : state) {
        for (const int32_t us : delays) {
            const timeval delay = {0, us};
            thread_add_timer_timeval(m, count_call, nullptr, &delay, k_thread_timer);
        }
        run_tasks(m, k_timers);
    }
    state.SetItemsProcessed(state.iterations() * k_timers);
}

// libevent.

template<event_callback_fn callback> void counted(evutil_socket_t fd, short what, void *arg) {
    timeval start{};
    timeval end{};
    rusage before{};
    rusage after{};
    monotonic_now(&start);
    getrusage(RUSAGE_SELF, &before);
    callback(fd, what, arg);
    monotonic_now(&end);
    getrusage(RUSAGE_SELF, &after);
    const int64_t real = timeval_elapsed_us(end, start);
    const int64_t cpu = timeval_elapsed_us(after.ru_utime, before.ru_utime) +
                        timeval_elapsed_us(after.ru_stime, before.ru_stime);
    ++s_usage.calls;
    s_usage.real_total += real;
    s_usage.real_max = std::max(s_usage.real_max, real);
    s_usage.cpu_total += cpu;
    s_usage.cpu_max = std::max(s_usage.cpu_max, cpu);
}

void count_event(evutil_socket_t /*fd*/, short /*what*/, void * /*arg*/) { ++s_calls; }

void add_again(evutil_socket_t /*fd*/, short /*what*/, void *arg) {
    ++s_calls;
    event_add(*static_cast<event **>(arg), nullptr);
}

void run_until(event_base *base, int64_t calls) {
    while (s_calls < calls) {
        event_base_loop(base, EVLOOP_ONCE);
    }
}

struct event_set {
    event_base *base = event_base_new();
    std::vector<event *> events;
    event_set() = default;
    event_set(const event_set &) = delete;
    event_set &operator=(const event_set &) = delete;
    ~event_set() {
        for (event *one : events) {
            event_free(one);
        }
        event_base_free(base);
    }
};

template<event_callback_fn callback> void events_libevent(benchmark::State &state) {
    event_set set;
    for (int64_t i = 0; i < state.range(0); ++i) {
        set.events.push_back(event_new(set.base, -1, 0, callback, nullptr));
    }
    for ([[maybe_unused]] const auto round : state) {
        for (event *one : set.events) {
            event_active(one, 0, 0);
        }
        run_until(set.base, s_calls + state.range(0));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template<event_callback_fn callback, short flags> void readable_libevent(benchmark::State &state) {
    event_set set;
    const pipes all(static_cast<size_t>(state.range(0)), static_cast<size_t>(state.range(1)));
    set.events.resize(all.fds.size());
    for (size_t i = 0; i < all.fds.size(); ++i) {
        set.events[i] = event_new(set.base, all.fds[i][0], flags, callback, &set.events[i]);
        event_add(set.events[i], nullptr);
    }
    for ([[maybe_unused]] const auto round : state) {
        run_until(set.base, s_calls + state.range(1));
    }
    state.SetItemsProcessed(state.iterations() * state.range(1));
}

template<event_callback_fn callback> void timers_libevent(benchmark::State &state) {
    event_set set;
    const std::vector<int32_t> delays = delays_us(state.range(0) != 0);
    for (int i = 0; i < k_timers; ++i) {
        set.events.push_back(evtimer_new(set.base, callback, nullptr));
    }
    for ([[maybe_unused]] const auto round : state) {
        for (size_t i = 0; i < delays.size(); ++i) {
            const timeval delay = {0, delays[i]};
            evtimer_add(set.events[i], &delay);
        }
        run_until(set.base, s_calls + k_timers);
    }
    state.SetItemsProcessed(state.iterations() * k_timers);
}

void events_args(benchmark::internal::Benchmark *bench) { bench->ArgName("events")->Arg(1)->Arg(16); }

void readable_args(benchmark::internal::Benchmark *bench) {
    bench->ArgNames({"fds", "readable"})->Args({1, 1})->Args({4, 1})->Args({16, 1})->Args({16, 16});
}

void timers_args(benchmark::internal::Benchmark *bench) { bench->ArgName("shuffled")->Arg(0)->Arg(1); }

BENCHMARK(events_scheduler)->Apply(events_args);
BENCHMARK(events_libevent<counted<count_event>>)->Name("events_libevent_counted")->Apply(events_args);
BENCHMARK(events_libevent<count_event>)->Name("events_libevent_bare")->Apply(events_args);
BENCHMARK(readable_scheduler)->Apply(readable_args);
BENCHMARK(readable_libevent<counted<add_again>, EV_READ>)
    ->Name("readable_libevent_counted")
    ->Apply(readable_args);
BENCHMARK(readable_libevent<add_again, EV_READ>)->Name("readable_libevent_bare")->Apply(readable_args);
BENCHMARK(readable_libevent<counted<count_event>, EV_READ | EV_PERSIST>)
    ->Name("readable_libevent_persist_counted")
    ->Apply(readable_args);
BENCHMARK(timers_scheduler)->Apply(timers_args);
BENCHMARK(timers_libevent<counted<count_event>>)->Name("timers_libevent_counted")->Apply(timers_args);
BENCHMARK(timers_libevent<count_event>)->Name("timers_libevent_bare")->Apply(timers_args);

} // namespace
