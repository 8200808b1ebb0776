#include "lib/ipc/ipc_time.h"

#include <ctime>

namespace {

// The last good reading. Every thread has its own, so that two schedulers cannot tear each other's.
thread_local timeval s_monotonic{};

} // namespace

int monotonic_now(timeval *out) {
    timespec reading{};
    const int result = clock_gettime(CLOCK_MONOTONIC, &reading);
    if (result == 0) {
        s_monotonic.tv_sec = reading.tv_sec;
        s_monotonic.tv_usec = reading.tv_nsec / 1000;
    }
    if (out != nullptr) {
        *out = s_monotonic;
    }
    return result;
}

timeval timeval_normalise(timeval time) {
    time.tv_sec += time.tv_usec / k_us_per_second;
    time.tv_usec %= k_us_per_second;
    if (time.tv_usec < 0) {
        time.tv_usec += k_us_per_second;
        --time.tv_sec;
    }
    return time.tv_sec < 0 ? timeval{} : time;
}
