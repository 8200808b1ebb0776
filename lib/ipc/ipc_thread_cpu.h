#pragma once

#include "lib/ipc/ipc_thread.h"

/// What the invocations of one callback took, in every scheduler of the process: its entry of the table of
/// statistics, never freed. Times in microseconds. While a scheduler runs, the entries change under a lock
/// of the table's own.
struct thread_cpu_history {
    thread_func *func;
    uint32_t total_calls;
    uint64_t real_total;
    uint64_t real_max;
    uint64_t cpu_total; // user and system time of the whole process
    uint64_t cpu_max;
    uint8_t types; // bit n: has been run as a task added with type n
    char funcname[k_thread_name_size + 3];
};

/// Creates the table of statistics unless there is one. Returns whether there is one now; false without
/// memory.
bool thread_cpu_table_create();
