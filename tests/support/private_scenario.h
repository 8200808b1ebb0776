#pragma once

#include "tests/support/private_mounts.h"

#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

/// Runs a part of a test in a process in which the named directories are empty and its own; skips the test on
/// a machine that does not allow that. Failures in it are the test's.
inline void with_private(std::initializer_list<const char *> directories,
                         const std::function<void()> &scenario) {
    constexpr int k_not_possible_here = 77;
    const pid_t pid = fork();
    if (pid == 0) {
        if (!with_empty_directories(directories)) {
            _exit(k_not_possible_here);
        }
        scenario();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == k_not_possible_here) {
        GTEST_SKIP() << "no private mounts on this machine";
    }
    EXPECT_EQ(0, status);
}
