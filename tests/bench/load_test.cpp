#include "bench/load.h"
#include "bench/server_cpu.h"
#include "lib/base/bytes.h"
#include "tests/apps/scripted_server.h"

#include <ctime>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A short load of one connection on a server whose registers hold `value`; with `damage`, on each reply.
load_result load_of(uint16_t number, uint16_t count, uint8_t function, uint16_t (*value)(uint16_t),
                    const std::function<void(scripted_server::reply &)> &damage = {}) {
    const scripted_server server(value, damage);
    load_result result;
    EXPECT_TRUE(load_run({"127.0.0.1", server.port(), function, number, count, 1, 0.02, 0, false}, result))
        << result.complaint;
    return result;
}

uint16_t zero(uint16_t /*number*/) { return 0; }

} // namespace

TEST(Load, CountsGoodReplies) {
    const load_result result = load_of(2000, 125, 3, zero);
    EXPECT_EQ(0U, result.errors) << result.complaint;
    EXPECT_GT(result.latency.total, 0U);
    EXPECT_GE(result.seconds, 0.02);
}

TEST(Load, NoticesEveryDamagedReply) {
    using reply = scripted_server::reply;
    const std::function<void(reply &)> damages[] = {
        [](reply &r) { r[1] ^= 1; },           // transaction
        [](reply &r) { r[6] ^= 1; },           // unit
        [](reply &r) { r[7] = 0x83; },         // exception, but too long
        [](reply &r) { r[r.size() - 1] = 1; }, // value of the last register
        [](reply &r) { r.push_back(0); },      // a byte more than announced
    };
    for (const auto &damage : damages) {
        const load_result result = load_of(2000, 3, 3, zero, damage);
        EXPECT_GT(result.errors, 0U) << &damage - &damages[0];
        EXPECT_EQ(0U, result.latency.total) << &damage - &damages[0];
    }
}

TEST(Load, KnowsTheValuesThatTheMapFixes) {
    struct value_case {
        uint16_t number;
        uint16_t count;
        uint16_t (*value)(uint16_t);
        bool good;
    };
    const value_case cases[] = {
        {1001, 1, [](uint16_t) { return uint16_t{0xD8ED}; }, true},
        {1001, 1, [](uint16_t) { return uint16_t{0xD8EC}; }, false},
        {1002, 16, [](uint16_t) { return uint16_t{7}; }, true}, // may hold anything
        {1003, 15, [](uint16_t) { return uint16_t{7}; },
         false}, // a read that begins within the item sees zeros
        {1003, 15, zero, true},
        {1268, 2, [](uint16_t n) { return uint16_t{n == 1268 ? uint16_t{7} : uint16_t{0xFFFF}}; }, true},
        {1268, 2, zero, false},
    };
    for (const value_case &c : cases) {
        EXPECT_EQ(c.good, load_of(c.number, c.count, 4, c.value).errors == 0) << c.number << ' ' << c.count;
    }
}

TEST(Latency, PercentilesAreWithinOnePercent) {
    for (const uint64_t unit : {uint64_t{1}, uint64_t{1000}, uint64_t{1000000}}) {
        latency_counts counts = {};
        for (uint64_t i = 1; i <= 1000; i++) {
            latency_add(counts, i * unit);
        }
        const double unit_us = static_cast<double>(unit) / 1000;
        for (const double share : {0.001, 0.1, 0.5, 0.99, 1.0}) {
            EXPECT_NEAR(share * 1000 * unit_us, latency_percentile_us(counts, share), share * 10 * unit_us)
                << share;
        }
        EXPECT_EQ(1000 * unit, counts.max_ns);
    }
}

TEST(ServerCpu, IsThatOfAProcessAndThoseBelowIt) {
    std::array<int, 2> worked = {};
    std::array<int, 2> end = {};
    ASSERT_EQ(0, ::pipe(worked.data()));
    ASSERT_EQ(0, ::pipe(end.data()));
    const pid_t child = ::fork();
    if (child == 0) {
        // Both wait for the end of the test, so that both are there when they are looked at.
        ::close(end[1]);
        const bool works = ::fork() == 0;
        while (works && std::clock() < CLOCKS_PER_SEC / 20) {
        }
        ::close(worked[1]);
        char byte = 0;
        ::_exit(static_cast<int>(::read(end[0], &byte, 1)));
    }
    ::close(worked[1]);
    ::close(end[0]);
    char byte = 0;
    EXPECT_EQ(0, ::read(worked[0], &byte, 1)); // the end of file that both have closed
    const uint64_t used = server_cpu_ns(child);
    EXPECT_GE(used, 45000000U);
    EXPECT_LE(used, server_cpu_ns(::getpid())) << "has no more than all below this process";
    ::close(end[1]);
    ::close(worked[0]);
    ::waitpid(child, nullptr, 0);
}
