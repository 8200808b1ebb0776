#pragma once

#include <cerrno>

/// Makes a system call again for as long as a signal interrupts it. Returns its last result, with its errno.
template<typename Call> auto retry_interrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) {
            return result;
        }
    }
}
