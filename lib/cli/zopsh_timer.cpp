#include "lib/cli/zopsh_timer.h"

#include "lib/base/result.h"
#include "lib/cli/cli_cpu_load.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <pthread.h>
#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr int32_t k_cpu_period = 5;

zopsh_timer_table s_table = {};

void sample_cpu(zopsh_timer_table * /*table*/, int32_t /*argument*/, int32_t /*index*/) { cli_cpu_sample(); }

void *timer_thread(void * /*argument*/) {
    for (;;) {
        zopsh_timer_tick();
        timeval second = {1, 0};
        if (::select(0, nullptr, nullptr, nullptr, &second) < 0 && errno != EINTR) {
            ::sleep(1); // or the timers would run as fast as they can
        }
    }
    return nullptr;
}

void clear(zopsh_timer &timer) {
    timer.active = false;
    timer.name[0] = '\0';
}

bool is_name_taken(const char *name) {
    for (const zopsh_timer &timer : s_table.timers) {
        if (std::strcmp(timer.name, name) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

void zopsh_timer_init() {
    for (zopsh_timer &timer : s_table.timers) {
        clear(timer);
    }
    s_table.count = 0;
    s_table.highest = 0;
    pthread_t thread = 0;
    if (pthread_create(&thread, nullptr, timer_thread, nullptr) == 0) {
        pthread_detach(thread);
    } else {
        std::printf("%s,%d: Cannot create zopsh timer!\n", __func__, __LINE__);
    }
    // The table is empty, so that it cannot fail.
    ignore_result(zopsh_timer_add_event("CPU_LOADING", k_cpu_period, sample_cpu));
}

int32_t zopsh_timer_add_event(const char *name, int32_t period, zopsh_timer_fn callback) {
    if (std::strlen(name) > k_zopsh_timer_name_max) {
        std::printf("Name is too long!");
        return -1;
    }
    if (is_name_taken(name)) {
        std::printf("Duplicate timer!");
        return -1;
    }
    for (size_t i = 0; i < k_zopsh_timers; i++) {
        zopsh_timer &timer = s_table.timers[i];
        if (timer.active) {
            continue;
        }
        timer.period = period;
        timer.remaining = period;
        std::snprintf(timer.name, sizeof timer.name, "%s", name);
        timer.callback = callback;
        timer.active = true;
        s_table.count++;
        if (s_table.highest < static_cast<int32_t>(i)) {
            s_table.highest = static_cast<int32_t>(i);
        }
        return 0;
    }
    std::printf("%s,%d: Timer table full!\n", __func__, __LINE__);
    return -1;
}

void zopsh_timer_tick() {
    for (int32_t i = 0; i <= s_table.highest; i++) {
        zopsh_timer &timer = s_table.timers[i];
        if (!timer.active || --timer.remaining != 0) {
            continue;
        }
        timer.callback(&s_table, k_zopsh_timer_argument, i);
        timer.remaining = timer.period;
    }
}
