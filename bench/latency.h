#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Latencies in buckets of 1/128 of their size, so that a percentile is within 0.8 % whatever its size.

inline constexpr size_t k_latency_steps = 128; // buckets for each doubling
inline constexpr size_t k_latency_buckets = k_latency_steps * 30;

/// Counts by latency. Latencies of 2^36 ns (69 s) and more share the last bucket.
struct latency_counts {
    std::array<uint64_t, k_latency_buckets> buckets;
    uint64_t total;
    uint64_t max_ns;
};

void latency_add(latency_counts &counts, uint64_t ns);

/// The latency, in microseconds, that `share` (0..1) of the requests did not exceed; 0 when there were none.
double latency_percentile_us(const latency_counts &counts, double share);
