#include "modbus/mbutils.h"

#include <gtest/gtest.h>

TEST(MbUtils, SetBitsStraddlesBytesAndLeavesTheRest) {
    struct {
        uint16_t offset;
        uint8_t count;
        uint8_t value;
        uint8_t expected[3];
    } const k_cases[] = {
        {0, 8, 0xA5, {0xA5, 0xFF, 0xFF}},
        {6, 4, 0x0, {0x3F, 0xFC, 0xFF}},
        {15, 8, 0x00, {0xFF, 0x7F, 0x80}},
        {3, 0, 0x00, {0xFF, 0xFF, 0xFF}},
    };
    for (const auto &c : k_cases) {
        uint8_t buffer[3] = {0xFF, 0xFF, 0xFF};
        xMBUtilSetBits(buffer, c.offset, c.count, c.value);
        EXPECT_EQ(0, memcmp(buffer, c.expected, 3)) << "offset " << c.offset;
    }
}

TEST(MbUtils, BitsOfTheValueAboveTheCountLandInTheBuffer) {
    uint8_t buffer[2] = {0, 0};
    xMBUtilSetBits(buffer, 4, 2, 0xFF);
    EXPECT_EQ(0xF0, buffer[0]);
    EXPECT_EQ(0x0F, buffer[1]);
}

TEST(MbUtilsDeathTest, NineBitsAbort) {
    uint8_t buffer[2] = {};
    EXPECT_DEATH(xMBUtilSetBits(buffer, 0, 9, 0), "mbutils:63: xMBUtilSetBits: .*ucNBits <= 8");
}

TEST(MbUtils, GetBitsOfAnyCount) {
    const uint8_t buffer[3] = {0x34, 0x12, 0x00};
    EXPECT_EQ(0x3, mb_util_get_bits(buffer, 4, 4));
    EXPECT_EQ(0x23, mb_util_get_bits(buffer, 4, 8));
    EXPECT_EQ(0x09, mb_util_get_bits(buffer, 9, 15)); // only the two bytes, not a third
    for (const uint8_t count : std::initializer_list<uint8_t>{16, 32, 33, 255}) {
        EXPECT_EQ(0x34, mb_util_get_bits(buffer, 0, count));
    }
}
