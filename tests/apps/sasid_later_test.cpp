#include "apps/sasid/later.h"

#include "tests/support/eventually.h"

#include <gtest/gtest.h>

#include <mutex>
#include <vector>

namespace {

struct given {
    void *request;
    uint32_t number;
    int32_t index;
    bool operator==(const given &) const = default;
};

std::mutex s_mutex;
std::vector<given> s_given;

void give(void *request, uint32_t number, sasi_block &block) {
    const std::scoped_lock lock(s_mutex);
    s_given.push_back({request, number, block.index});
}

std::vector<given> given_so_far() {
    const std::scoped_lock lock(s_mutex);
    return s_given;
}

constexpr uint32_t k_never_ms = 3'600'000;

TEST(SasidLater, AnswersComeInTheOrderOfTheirTimesAndAtOnceWhenHurried) {
    int requests[4] = {};
    sasi_block block = {};
    const auto put_off = [&](size_t which, uint32_t delay_ms) {
        block.index = static_cast<int32_t>(which);
        EXPECT_TRUE(sasid_later(&requests[which], static_cast<uint32_t>(100 + which), block, delay_ms, give));
    };
    const auto of = [&](size_t which) {
        return given{&requests[which], static_cast<uint32_t>(100 + which), static_cast<int32_t>(which)};
    };
    sasid_later_hurry(&requests[0]); // none is there yet
    put_off(0, k_never_ms);
    put_off(1, k_never_ms);
    put_off(2, 60);
    put_off(3, 20);   // sooner than what the thread waits for
    block.index = 77; // theirs are copies
    EXPECT_TRUE(eventually([] { return given_so_far().size() == 2; }));
    EXPECT_EQ((std::vector{of(3), of(2)}), given_so_far());
    sasid_later_hurry(&requests[2]); // has been answered
    sasid_later_hurry(&requests[1]);
    EXPECT_TRUE(eventually([] { return given_so_far().size() == 3; }));
    sasid_later_hurry(&requests[0]);
    EXPECT_TRUE(eventually([] { return given_so_far().size() == 4; }));
    EXPECT_EQ((std::vector{of(3), of(2), of(1), of(0)}), given_so_far());
}

} // namespace
