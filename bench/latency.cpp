#include "bench/latency.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace {

// Below two times the steps every nanosecond has a bucket of its own.
constexpr uint32_t k_step_bits = std::bit_width(k_latency_steps) - 1;

size_t bucket_of(uint64_t ns) {
    if (ns < k_latency_steps) {
        return static_cast<size_t>(ns);
    }
    const uint32_t shift = static_cast<uint32_t>(std::bit_width(ns)) - 1 - k_step_bits;
    return std::min<size_t>((size_t{shift} << k_step_bits) + static_cast<size_t>(ns >> shift),
                            k_latency_buckets - 1);
}

/// The middle of a bucket.
double bucket_ns(size_t bucket) {
    if (bucket < 2 * k_latency_steps) {
        return static_cast<double>(bucket);
    }
    const size_t shift = (bucket >> k_step_bits) - 1;
    const size_t step = bucket - (shift << k_step_bits);
    return std::ldexp(static_cast<double>(step) + 0.5, static_cast<int>(shift));
}

} // namespace

void latency_add(latency_counts &counts, uint64_t ns) {
    counts.buckets[bucket_of(ns)]++;
    counts.total++;
    counts.max_ns = std::max(counts.max_ns, ns);
}

double latency_percentile_us(const latency_counts &counts, double share) {
    const auto wanted = static_cast<uint64_t>(std::ceil(share * static_cast<double>(counts.total)));
    uint64_t seen = 0;
    for (size_t bucket = 0; bucket < counts.buckets.size(); bucket++) {
        seen += counts.buckets[bucket];
        if (seen != 0 && seen >= wanted) {
            return bucket_ns(bucket) / 1000;
        }
    }
    return 0;
}
