#include "lib/ipc/ipc_thread_cpu.h"

#include "lib/base/mutex_guard.h"
#include "lib/ipc/ipc_hash.h"
#include "lib/ipc/ipc_time.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

namespace {

constexpr uint32_t k_table_buckets = 1011;
constexpr int64_t k_yield_us = 10000;

struct usage_point {
    timeval real;
    rusage cpu;
};

// The table is shared by the schedulers of all threads: the lock guards it and what its entries count.
pthread_mutex_t s_table_mutex = PTHREAD_MUTEX_INITIALIZER;
ipc_hash *thread_cpu_table = nullptr; // null: not created yet

uintptr_t key_of_entry(const void *data) {
    return reinterpret_cast<uintptr_t>(static_cast<const thread_cpu_history *>(data)->func);
}

bool same_func(const void *a, const void *b) {
    return static_cast<const thread_cpu_history *>(a)->func ==
           static_cast<const thread_cpu_history *>(b)->func;
}

void *copy_entry(const void *data) {
    auto *entry = static_cast<thread_cpu_history *>(std::malloc(sizeof(thread_cpu_history)));
    if (entry != nullptr) {
        *entry = *static_cast<const thread_cpu_history *>(data);
    }
    return entry;
}

bool create_table_locked() {
    if (thread_cpu_table == nullptr) {
        thread_cpu_table = ipc_hash_new(k_table_buckets, key_of_entry, same_func);
    }
    return thread_cpu_table != nullptr;
}

// The entry of the task's callback, made if absent; null without memory.
thread_cpu_history *find_entry(const thread &task) {
    const mutex_guard guard(s_table_mutex);
    if (!create_table_locked()) {
        return nullptr;
    }
    thread_cpu_history wanted; // of which a lookup reads the function alone
    wanted.func = task.func;
    void *entry = ipc_hash_get(thread_cpu_table, &wanted, nullptr);
    if (entry == nullptr) {
        wanted = {};
        wanted.func = task.func;
        std::memcpy(wanted.funcname, task.funcname, sizeof task.funcname);
        entry = ipc_hash_get(thread_cpu_table, &wanted, copy_entry);
    }
    return static_cast<thread_cpu_history *>(entry);
}

usage_point read_usage() {
    usage_point point;
    monotonic_now(&point.real);
    getrusage(RUSAGE_SELF, &point.cpu);
    return point;
}

void count_call(thread_cpu_history *entry, uint8_t add_type, const usage_point &start,
                const usage_point &end) {
    const auto real = static_cast<uint64_t>(timeval_elapsed_us(end.real, start.real));
    const auto cpu = static_cast<uint64_t>(timeval_elapsed_us(end.cpu.ru_utime, start.cpu.ru_utime) +
                                           timeval_elapsed_us(end.cpu.ru_stime, start.cpu.ru_stime));
    const mutex_guard guard(s_table_mutex);
    entry->real_total += real;
    entry->real_max = std::max(entry->real_max, real);
    entry->cpu_total += cpu;
    entry->cpu_max = std::max(entry->cpu_max, cpu);
    ++entry->total_calls;
    entry->types = static_cast<uint8_t>(entry->types | (1U << add_type));
}

} // namespace

bool thread_cpu_table_create() {
    const mutex_guard guard(s_table_mutex);
    return create_table_locked();
}

void thread_invoke(thread *task) {
    if (task->hist == nullptr) {
        task->hist = find_entry(*task);
    }
    const usage_point start = read_usage();
    task->real = start.real;
    task->func(task);
    const usage_point end = read_usage();
    if (task->hist != nullptr) {
        count_call(task->hist, task->add_type, start, end);
    }
}

int funcname_thread_run_now(scheduler_master * /*m*/, thread_func *func, void *arg, int val,
                            const char *funcname) {
    thread task{};
    task.type = k_thread_event;
    task.add_type = k_thread_execute;
    task.func = func;
    task.arg = arg;
    task.u.val = val;
    funcname_strip(task.funcname, funcname);
    thread_invoke(&task);
    return 0;
}

bool thread_should_yield_now(const thread *task) {
    timeval now{};
    monotonic_now(&now);
    return timeval_elapsed_us(now, task->real) > k_yield_us;
}
