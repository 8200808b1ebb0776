#include "lib/cli/cli_cpu_load.h"

#include "lib/base/mutex_guard.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

struct snapshot {
    int64_t total; // ticks since the start of the system
    int64_t busy;  // of which not idle and not waiting for devices
};

pthread_mutex_t s_mutex = PTHREAD_MUTEX_INITIALIZER; // guards the snapshots: the timer thread and any reader
snapshot s_previous = {};
snapshot s_current = {};

/// The beginning of the file; its first line, "cpu ", is all that is wanted. Returns false when there is
/// none.
bool read_stat(char *text, size_t size) {
    const unique_fd file(::open("/proc/stat", O_RDONLY | O_CLOEXEC));
    const ssize_t length = file.valid() ? ::read(file.get(), text, size - 1) : -1;
    text[length > 0 ? length : 0] = '\0';
    return length > 0;
}

snapshot parse(const char *text) {
    long long user = 0;
    long long nice = 0;
    long long system = 0;
    long long idle = 0;
    long long iowait = 0;
    long long irq = 0;
    long long softirq = 0;
    long long steal = 0;
    // NOLINTNEXTLINE(cert-err34-c): the kernel's own numbers; one that is missing stays 0
    ignore_result(std::sscanf(text, "cpu  %lld %lld %lld %lld %lld %lld %lld %lld", &user, &nice, &system,
                              &idle, &iowait, &irq, &softirq, &steal));
    const int64_t total = user + nice + system + idle + iowait + irq + softirq + steal;
    return {total, total - idle - iowait};
}

} // namespace

void cli_cpu_sample() {
    char text[256];
    const bool read = read_stat(text, sizeof text);
    const mutex_guard guard(s_mutex);
    s_previous = s_current;
    if (read) {
        s_current = parse(text);
    }
}

int32_t cli_cpu_load() {
    pthread_mutex_lock(&s_mutex);
    const int64_t total = s_current.total - s_previous.total;
    const int64_t busy = s_current.busy - s_previous.busy;
    pthread_mutex_unlock(&s_mutex);
    const float load = static_cast<float>(busy) * 100 / (total == 0 ? 1.0F : static_cast<float>(total));
    // Kept: callers divide by 100, and count on a fraction that is cut off and not rounded.
    char text[64];
    std::snprintf(text, sizeof text, "%0.2f", static_cast<double>(load * 100));
    return static_cast<int32_t>(std::strtol(text, nullptr, 10));
}
