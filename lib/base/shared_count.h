#pragma once

#include <atomic>
#include <cstdint>

/// A number in memory that several processes map: one of them at a time counts it up, any of them may read
/// it meanwhile and never sees half of a change, on 32 bits neither.
struct shared_count {
    std::atomic<uint64_t> value;
};
static_assert(std::atomic<uint64_t>::is_always_lock_free, "a lock would be each process's own");
static_assert(sizeof(shared_count) == 8);
static_assert(alignof(shared_count) == 8);

/// Counts; for the one who writes, so that no locked instruction is needed.
inline void shared_count_add(shared_count &to, uint64_t count = 1) {
    to.value.store(to.value.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

/// Keeps the largest of all values; for the one who writes.
inline void shared_count_raise(shared_count &to, uint64_t value) {
    if (value > to.value.load(std::memory_order_relaxed)) {
        to.value.store(value, std::memory_order_relaxed);
    }
}

inline uint64_t shared_count_get(const shared_count &from) {
    return from.value.load(std::memory_order_relaxed);
}
