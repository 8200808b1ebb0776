#pragma once

#include "tests/support/private_network.h"
#include "tests/support/private_scenario.h"

#include <sched.h>
#include <sys/mount.h>

/// Runs a scenario that sees no processes but its own in "/proc", on a network of its own, with the named
/// directories empty; skips the test on a machine that does not allow that.
inline void with_own_processes(std::initializer_list<const char *> directories,
                               const std::function<void()> &scenario) {
    with_private(directories, [&] {
        if (::unshare(CLONE_NEWPID) != 0) {
            _exit(k_not_possible_here);
        }
        in_fresh_process([&] { // which is the first one there
            if (::mount("proc", "/proc", "proc", 0, nullptr) != 0 || !with_private_network(true)) {
                _exit(k_not_possible_here);
            }
            scenario();
        });
        if (testing::Test::IsSkipped()) {
            _exit(k_not_possible_here);
        }
    });
}
