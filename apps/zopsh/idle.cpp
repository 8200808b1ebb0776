#include "apps/zopsh/idle.h"

#include "lib/base/monotonic.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int64_t k_look_ms = 10000; // how often the switch is asked

const shell *s_shell = nullptr; // whose session is looked after; null: nobody's
int32_t s_over_s = 0;           // after so many seconds it was over; 0: it is not
bool s_told = false;

int64_t now_ms() { return monotonic_us() / 1000; }

/// Waits for standard input. Returns whether there is something, if only its end.
bool wait_for_input(int64_t milliseconds) {
    const int64_t end = now_ms() + milliseconds;
    for (;;) {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        const int64_t left = std::max<int64_t>(end - now_ms(), 0);
        const int ready = ::poll(&input, 1, static_cast<int>(left));
        if (ready >= 0 || errno != EINTR) {
            return ready != 0;
        }
    }
}

} // namespace

void idle_begin(const shell &sh) { s_shell = &sh; }

bool idle_wait() {
    if (s_shell == nullptr || s_over_s != 0) {
        return s_over_s == 0;
    }
    const int64_t begin = now_ms();
    for (int64_t wait = k_look_ms;;) {
        if (wait_for_input(wait)) {
            return true;
        }
        const int32_t limit = shell_idle_seconds(*s_shell);
        const int64_t left = int64_t{limit} * 1000 - (now_ms() - begin);
        if (limit > 0 && left <= 0) {
            s_over_s = limit;
            return false;
        }
        wait = limit > 0 ? std::min(left, k_look_ms) : k_look_ms;
    }
}

bool idle_is_over() {
    if (s_over_s != 0 && !s_told) {
        s_told = true;
        const int32_t minutes = std::max(s_over_s / 60, 1);
        std::fflush(stdout);
        std::fprintf(stderr, "zopsh: idle for %d minute%s, the session has ended\n", minutes,
                     minutes == 1 ? "" : "s");
    }
    return s_over_s != 0;
}
