#include "lib/cli/buffer.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

// Queued output flushed into a pipe that has room for all of it, beside one write of the same bytes. Only the
// flush or the write is timed; filling the buffer and draining the pipe are not.

namespace {

constexpr int k_pipe_size = 1 << 20;

struct pipe_ends {
    int in;
    int out;
};

pipe_ends roomy_pipe() {
    int fds[2];
    if (pipe(fds) != 0 || fcntl(fds[1], F_SETPIPE_SZ, k_pipe_size) < 0) {
        std::abort();
    }
    return {fds[0], fds[1]};
}

void drain(const pipe_ends &ends, std::vector<uint8_t> &bytes) {
    for (size_t got = 0; got < bytes.size();) {
        const ssize_t piece = read(ends.in, bytes.data(), bytes.size() - got);
        if (piece <= 0) {
            std::abort();
        }
        got += static_cast<size_t>(piece);
    }
}

// Of this thread alone: nothing here waits, and what else the machine does is not to count.
double cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Runs and times `operation` on a pipe that was drained before.
template<typename Prepare, typename Operation>
void measure(benchmark::State &state, Prepare prepare, Operation operation) {
    const pipe_ends ends = roomy_pipe();
    std::vector<uint8_t> bytes(static_cast<size_t>(state.range(0)), 'x');
    for ([[maybe_unused]] auto _ : state) {
        prepare(bytes);
        const double start = cpu_seconds();
        const bool done = operation(ends.out, bytes);
        state.SetIterationTime(cpu_seconds() - start);
        if (!done) {
            std::abort();
        }
        drain(ends, bytes);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    close(ends.in);
    close(ends.out);
}

void one_write(benchmark::State &state) {
    measure(
        state, [](const auto & /*bytes*/) {},
        [](int fd, const auto &bytes) {
            return write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
        });
}

// The calls that a flush of default chunks comes to by its limit of 16 chunks a call.
void writes_of_64_kib(benchmark::State &state) {
    measure(
        state, [](const auto & /*bytes*/) {},
        [](int fd, const auto &bytes) {
            for (size_t at = 0; at < bytes.size();) {
                const ssize_t written =
                    write(fd, bytes.data() + at, std::min<size_t>(bytes.size() - at, 65536));
                if (written <= 0) {
                    return false;
                }
                at += static_cast<size_t>(written);
            }
            return true;
        });
}

void flush_available(benchmark::State &state) {
    buffer *b = buffer_new(0);
    measure(
        state, [b](const auto &bytes) { buffer_put(b, bytes.data(), bytes.size()); },
        [b](int fd, const auto & /*bytes*/) {
            int32_t result = k_buffer_pending;
            while (result == k_buffer_pending) {
                result = buffer_flush_available(b, fd);
            }
            return result == k_buffer_empty;
        });
    buffer_free(b);
}

} // namespace

BENCHMARK(one_write)->Arg(4096)->Arg(65536)->Arg(k_pipe_size)->UseManualTime();
BENCHMARK(writes_of_64_kib)->Arg(k_pipe_size)->UseManualTime();
BENCHMARK(flush_available)->Arg(4096)->Arg(65536)->Arg(k_pipe_size)->UseManualTime();
