#pragma once

#include <cstdint>
#include <sys/types.h>

/// Processor time that a process and the processes below it have used so far, all threads, in nanoseconds,
/// from the scheduler's own account (/proc/PID/task/TID/schedstat). That of children that have ended is not
/// in it. 0 when there is no such process.
uint64_t server_cpu_ns(pid_t pid);
