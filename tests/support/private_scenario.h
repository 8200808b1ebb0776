#pragma once

#include "tests/support/private_mounts.h"

#include <csignal>
#include <cstdlib>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr int k_not_possible_here = 77;
constexpr unsigned k_nobody = 65534; // a user and a group without privileges

/// Runs a part of a test in a process of its own, since a module's state belongs to the process, and expects
/// it to find nothing wrong. Skips the test when it ends with k_not_possible_here.
inline void in_fresh_process(const std::function<void()> &body) {
    const pid_t pid = fork();
    if (pid == 0) {
        body();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == k_not_possible_here) {
        GTEST_SKIP() << "no private mounts on this machine, or no further user";
    }
    EXPECT_EQ(0, status);
}

/// The same with the named directories empty and its own; skips the test on a machine that does not allow
/// that.
inline void with_private(std::initializer_list<const char *> directories,
                         const std::function<void()> &scenario) {
    in_fresh_process([&] {
        if (!with_empty_directories(directories)) {
            _exit(k_not_possible_here);
        }
        scenario();
    });
}

/// A fixture for what fetches the serial number, through a file in "/var/tmp": that is empty and the test's
/// own.
class own_var_tmp : public testing::Test {
protected:
    void SetUp() override {
        if (!with_empty_directories({"/var/tmp"})) {
            GTEST_SKIP() << "no private mounts on this machine";
        }
    }
};

/// A process of its own that does something and stays until the present one ends; as a user without
/// privileges if that is wanted. Returns when it is done. For a scenario, which ends here on a machine that
/// has no such user.
inline pid_t bystander(bool privileged, const std::function<void()> &act) {
    int done[2];
    if (pipe(done) != 0) {
        std::abort();
    }
    const pid_t pid = fork();
    if (pid == 0) {
        if (!privileged && (setgroups(0, nullptr) != 0 || setresgid(k_nobody, k_nobody, k_nobody) != 0 ||
                            setresuid(k_nobody, k_nobody, k_nobody) != 0)) {
            _exit(k_not_possible_here);
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a change of the user clears it
        act();
        const char failed = testing::Test::HasFailure() ? 1 : 0;
        EXPECT_EQ(1, write(done[1], &failed, 1));
        for (;;) {
            pause();
        }
    }
    close(done[1]);
    char failed = 1;
    if (read(done[0], &failed, 1) != 1) {
        int status = 0;
        waitpid(pid, &status, 0);
        _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
    }
    close(done[0]);
    EXPECT_EQ(0, failed) << "told above";
    return pid;
}
