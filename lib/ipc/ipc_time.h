#pragma once

#include <sys/time.h>

#include <cstdint>

// Times of the monotonic clock, and differences of them, as seconds and microseconds.

constexpr int64_t k_us_per_second = 1000000;

/// Reads the monotonic clock and, unless `out` is null, stores the reading there. The calling thread's last
/// good reading is kept; it is what `out` gets when the clock cannot be read. Returns what clock_gettime
/// returned.
int monotonic_now(timeval *out);

/// The same time with microseconds 0..999999; 0 s 0 us for a time before zero.
[[nodiscard]] timeval timeval_normalise(timeval time);

/// Above, below or equal to 0 as `a` is later than, earlier than or equal to `b`: the difference of the
/// seconds or, if there is none, of the microseconds.
[[nodiscard]] constexpr int64_t timeval_compare(const timeval &a, const timeval &b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec - b.tv_sec : a.tv_usec - b.tv_usec;
}

/// Microseconds from `b` to `a`.
[[nodiscard]] constexpr int64_t timeval_elapsed_us(const timeval &a, const timeval &b) {
    return (int64_t{a.tv_sec} - b.tv_sec) * k_us_per_second + (a.tv_usec - b.tv_usec);
}
