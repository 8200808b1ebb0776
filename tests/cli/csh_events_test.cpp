// What the shell's server waits for and counts: channels, timers, the processor's load.

#include "lib/base/unique_fd.h"
#include "lib/cli/cli_cpu_load.h"
#include "lib/cli/evt_chan.h"
#include "lib/cli/zopsh_timer.h"
#include "tests/support/eventually.h"
#include "tests/support/private_scenario.h"

#include <array>
#include <chrono>
#include <fstream>
#include <string>
#include <sys/eventfd.h>
#include <sys/mount.h>
#include <sys/select.h>
#include <vector>

namespace {

std::string s_called;
std::array<unique_fd, 3> s_events; // each can be read

TEST(EvtChan, CallbacksChangeTheTable) {
    const evt_chan_fn note_b = [](int) { s_called += 'b'; };
    ASSERT_EQ(0, evtChanInit());
    for (unique_fd &event : s_events) {
        event = unique_fd(::eventfd(1, EFD_CLOEXEC));
    }
    EXPECT_EQ(-1, evtChanAdd(-1, note_b));
    EXPECT_EQ(-1, evtChanAdd(FD_SETSIZE, note_b));
    EXPECT_EQ(0, evtChanAdd(s_events[0].get(), [](int) {
                  s_called += 'a';
                  evtChanDel(s_events[1].get());
              }));
    EXPECT_EQ(0, evtChanAdd(s_events[1].get(), note_b));
    EXPECT_EQ(0, evtChanAdd(s_events[2].get(), [](int) { s_called += 'c'; }));
    EXPECT_EQ(-1, evtChanAdd(s_events[2].get(), note_b));
    evtChanWait();
    EXPECT_EQ("ac", s_called) << "the second was removed before its turn";
    s_events[0].reset(); // dropped, and the others are served
    evtChanWait();
    evtChanWait();
    EXPECT_EQ("acc", s_called);
    for (int fd = 100; fd < 100 + static_cast<int>(k_evt_chan_max) - 1; fd++) {
        EXPECT_EQ(0, evtChanAdd(fd, note_b));
    }
    EXPECT_EQ(-1, evtChanAdd(200, note_b)) << "full";
    ASSERT_EQ(0, evtChanInit());
}

std::vector<std::pair<int32_t, int32_t>> s_timer_calls;

TEST(ZopshTimer, AddsAndCalls) {
    const auto note = [](zopsh_timer_table *table, int32_t argument, int32_t index) {
        EXPECT_NE(nullptr, table);
        s_timer_calls.emplace_back(argument, index);
    };
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, zopsh_timer_add_event("123456789012345678901", 1, note));
    EXPECT_EQ(-1, zopsh_timer_add_event("", 1, note));
    EXPECT_EQ(0, zopsh_timer_add_event("12345678901234567890", 2, note));
    EXPECT_EQ(-1, zopsh_timer_add_event("12345678901234567890", 2, note));
    for (const char *name : {"b", "c", "d", "e"}) {
        EXPECT_EQ(0, zopsh_timer_add_event(name, 100, note));
    }
    EXPECT_EQ(-1, zopsh_timer_add_event("f", 1, note));
    const std::string said = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(said.starts_with("Name is too long!Duplicate timer!Duplicate timer!zopsh_timer_add_event,"))
        << said;
    EXPECT_TRUE(said.ends_with(": Timer table full!\n")) << said;
    for (int i = 0; i < 5; i++) {
        zopsh_timer_tick();
    }
    EXPECT_EQ((std::vector<std::pair<int32_t, int32_t>>{{40, 0}, {40, 0}}), s_timer_calls);
}

void give_stat(const std::string &stat) { std::ofstream("/tmp/stat") << stat << std::flush; }

TEST(ZopshTimer, SamplesTheLoadEveryFiveSeconds) {
    with_private({"/tmp"}, [] {
        give_stat("cpu  25 0 0 75 0 0 0 0\n");
        ASSERT_EQ(0, ::mount("/tmp/stat", "/proc/stat", nullptr, MS_BIND, nullptr));
        const auto start = std::chrono::steady_clock::now();
        zopsh_timer_init();
        EXPECT_TRUE(eventually([] { return cli_cpu_load() == 2500; }));
        EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3900));
    });
}

TEST(CpuLoad, IsTheBusyShareInHundredthsOfAPercent) {
    with_private({"/tmp"}, [] {
        const auto sample = [](const std::string &stat) {
            give_stat(stat);
            cli_cpu_sample();
        };
        give_stat("");
        ASSERT_EQ(0, ::mount("/tmp/stat", "/proc/stat", nullptr, MS_BIND, nullptr));
        sample("cpu  100 0 50 800 50 0 0 0 7 7\ncpu0 1 1 1 1\n");
        sample("cpu  130 3 60 1000 57 1 2 3 7 7\n"); // of 256, 49 were neither idle nor waiting
        EXPECT_EQ(1914, cli_cpu_load());
        cli_cpu_sample();
        EXPECT_EQ(0, cli_cpu_load()) << "nothing has changed";
        sample("cpu  9000000130 3 60 1000 57 1 2 3\n");
        EXPECT_EQ(10000, cli_cpu_load()) << "more than 32 bits hold";
        sample("");
        EXPECT_EQ(0, cli_cpu_load()) << "cannot be read";
    });
}

} // namespace
