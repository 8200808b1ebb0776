#include "lib/ipc/ipc_stream.h"

#include <benchmark/benchmark.h>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <vector>

// Stream puts and gets of integers beside the least that a safe buffer can do: a comparison with the bound, a
// byte swap and a memcpy. Items are integers.

namespace {

constexpr size_t k_capacity = 4096;

struct plain_buffer {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(k_capacity);
    size_t at = 0;
};

uint16_t swapped(uint16_t value) { return __builtin_bswap16(value); }
uint32_t swapped(uint32_t value) { return __builtin_bswap32(value); }
uint64_t swapped(uint64_t value) { return __builtin_bswap64(value); }
static_assert(std::endian::native == std::endian::little);

template<typename T> void reference_put(plain_buffer &buffer, T value) {
    if (buffer.bytes.size() - buffer.at < sizeof value) {
        std::abort();
    }
    const T wire = swapped(value);
    std::memcpy(buffer.bytes.data() + buffer.at, &wire, sizeof wire);
    buffer.at += sizeof wire;
}

template<typename T> T reference_get(plain_buffer &buffer) {
    T wire;
    if (buffer.bytes.size() - buffer.at < sizeof wire) {
        std::abort();
    }
    std::memcpy(&wire, buffer.bytes.data() + buffer.at, sizeof wire);
    buffer.at += sizeof wire;
    return swapped(wire);
}

template<typename T> void count_items(benchmark::State &state) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(k_capacity / sizeof(T)));
}

template<typename T> void reference_put_full(benchmark::State &state) {
    plain_buffer record;
    plain_buffer *opaque = &record; // reached through a pointer, as a stream is
    benchmark::DoNotOptimize(opaque);
    plain_buffer &buffer = *opaque;
    for ([[maybe_unused]] auto _ : state) {
        buffer.at = 0;
        for (size_t i = 0; i < k_capacity / sizeof(T); ++i) {
            reference_put(buffer, static_cast<T>(i));
        }
        benchmark::ClobberMemory();
    }
    count_items<T>(state);
}

template<typename T, auto put> void stream_put_full(benchmark::State &state) {
    stream *s = stream_new(k_capacity);
    for ([[maybe_unused]] auto _ : state) {
        stream_reset(s);
        for (size_t i = 0; i < k_capacity / sizeof(T); ++i) {
            put(s, static_cast<T>(i));
        }
        benchmark::ClobberMemory();
    }
    count_items<T>(state);
    stream_free(s);
}

template<typename T> void reference_get_full(benchmark::State &state) {
    plain_buffer record;
    plain_buffer *opaque = &record; // reached through a pointer, as a stream is
    benchmark::DoNotOptimize(opaque);
    plain_buffer &buffer = *opaque;
    for ([[maybe_unused]] auto _ : state) {
        buffer.at = 0;
        for (size_t i = 0; i < k_capacity / sizeof(T); ++i) {
            benchmark::DoNotOptimize(reference_get<T>(buffer));
        }
    }
    count_items<T>(state);
}

template<typename T, auto get> void stream_get_full(benchmark::State &state) {
    stream *s = stream_new(k_capacity);
    stream_put(s, nullptr, k_capacity);
    for ([[maybe_unused]] auto _ : state) {
        stream_set_getp(s, 0);
        for (size_t i = 0; i < k_capacity / sizeof(T); ++i) {
            benchmark::DoNotOptimize(get(s));
        }
    }
    count_items<T>(state);
    stream_free(s);
}

} // namespace

BENCHMARK_TEMPLATE(reference_put_full, uint16_t);
BENCHMARK_TEMPLATE(stream_put_full, uint16_t, stream_putw);
BENCHMARK_TEMPLATE(reference_put_full, uint32_t);
BENCHMARK_TEMPLATE(stream_put_full, uint32_t, stream_putl);
BENCHMARK_TEMPLATE(reference_put_full, uint64_t);
BENCHMARK_TEMPLATE(stream_put_full, uint64_t, stream_putq);
BENCHMARK_TEMPLATE(reference_get_full, uint16_t);
BENCHMARK_TEMPLATE(stream_get_full, uint16_t, stream_getw);
BENCHMARK_TEMPLATE(reference_get_full, uint32_t);
BENCHMARK_TEMPLATE(stream_get_full, uint32_t, stream_getl);
BENCHMARK_TEMPLATE(reference_get_full, uint64_t);
BENCHMARK_TEMPLATE(stream_get_full, uint64_t, stream_getq);
