#include "modbus/poll_thread.h"

#include "modbus/mb.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_scenario.h"
#include "tests/support/proc_status.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

int thread_count() { return std::stoi(proc_status("/proc/self", "Threads:")); }

/// The main thread and those that a sanitizer or an emulator starts with a program's first thread.
int threads_beside_the_tests() {
    std::promise<void> counted;
    std::thread first([&] { counted.get_future().wait(); });
    const int count = thread_count() - 1;
    counted.set_value();
    first.join();
    return count;
}

bool becomes(int32_t state) {
    return eventually([&] { return get_run_state() == state; });
}

} // namespace

TEST(RunState, AForkNeverInheritsItsMutexLocked) {
    ASSERT_FALSE((set_run_state(k_run_polling), start_poll_thread())); // not idle: starts nothing
    std::atomic<bool> stop = false;
    std::thread writer([&] {
        while (!stop) {
            set_run_state(k_run_polling);
        }
    });
    for (int i = 0; i < 300; i++) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::alarm(10); // ends the child if the mutex is never released
            ::_exit(get_run_state());
        }
        int status = -1;
        ::waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == k_run_polling) << "fork " << i;
    }
    stop = true;
    writer.join();
    set_run_state(k_run_idle);
}

TEST(PollThread, KeepsTheRunStateAndIsReplacedWhenItEnds) {
    in_fresh_process([] {
        const int own_threads = threads_beside_the_tests();
        // Without a stack the thread ends at once, and leaves the state idle for the next one.
        for (int i = 0; i < 2; i++) {
            EXPECT_TRUE(start_poll_thread());
            EXPECT_TRUE(
                eventually([&] { return thread_count() == own_threads && get_run_state() == k_run_idle; }));
        }
        ASSERT_EQ(k_mb_ok, mb_tcp_init(free_port()));
        EXPECT_TRUE(start_poll_thread());
        EXPECT_TRUE(becomes(k_run_polling));
        EXPECT_FALSE(start_poll_thread());
        EXPECT_EQ(own_threads + 1, thread_count());
        EXPECT_TRUE(eventually([] { return mb_enable() == k_mb_illegal_state; })); // it has enabled the stack
    });
}

TEST(PollThread, ItsSupervisorSleepsUntilItEnds) {
    in_fresh_process([] {
        ASSERT_EQ(k_mb_ok, mb_tcp_init(free_port()));
        std::promise<pid_t> id;
        std::thread([&] {
            id.set_value(::gettid());
            supervise_poll_thread();
        }).detach();
        const std::string supervisor = "/proc/self/task/" + std::to_string(id.get_future().get());
        ASSERT_TRUE(becomes(k_run_polling));
        ASSERT_TRUE(eventually([&] { // it may be in its first pause still
            const std::string before = proc_status(supervisor, "voluntary_ctxt_switches:");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return before == proc_status(supervisor, "voluntary_ctxt_switches:");
        }));
        set_run_state(k_run_idle);
        EXPECT_TRUE(becomes(k_run_polling)) << "by the next thread";
    });
}
