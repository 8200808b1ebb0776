#include "modbus/mbutils.h"

#include <gtest/gtest.h>

TEST(MbUtils, SetBitsStraddlesBytesAndLeavesTheRest) {
    struct {
        uint16_t offset;
        uint8_t count;
        uint8_t value;
        uint8_t before; // of each byte
        uint8_t expected[3];
    } const k_cases[] = {
        {0, 8, 0xA5, 0xFF, {0xA5, 0xFF, 0xFF}},  {6, 4, 0x0, 0xFF, {0x3F, 0xFC, 0xFF}},
        {15, 8, 0x00, 0xFF, {0xFF, 0x7F, 0x80}}, {3, 0, 0x00, 0xFF, {0xFF, 0xFF, 0xFF}},
        {4, 2, 0xFF, 0, {0xF0, 0x0F, 0}}, // bits of the value above the count land in the buffer
    };
    for (const auto &c : k_cases) {
        uint8_t buffer[3] = {c.before, c.before, c.before};
        xMBUtilSetBits(buffer, c.offset, c.count, c.value);
        EXPECT_EQ(0, memcmp(buffer, c.expected, 3)) << "offset " << c.offset;
    }
}

TEST(MbUtilsDeathTest, NineBitsAbort) {
    uint8_t buffer[2] = {};
    EXPECT_DEATH(xMBUtilSetBits(buffer, 0, 9, 0), "mbutils:63: xMBUtilSetBits: .*ucNBits <= 8");
}

TEST(MbUtils, GetBitsOfAnyCount) {
    const struct {
        uint16_t offset;
        uint8_t count;
        uint8_t expected;
    } k_cases[] = {
        {4, 4, 0x3},  {4, 8, 0x23},  {8, 15, 0x12}, // only the two bytes, not a third
        {9, 7, 0x09}, {0, 16, 0x34}, {0, 32, 0x34}, {0, 33, 0x34}, {0, 255, 0x34},
    };
    const uint8_t buffer[3] = {0x34, 0x12, 0x80};
    for (const auto &c : k_cases) {
        EXPECT_EQ(c.expected, mb_util_get_bits(buffer, c.offset, c.count)) << c.offset << ' ' << +c.count;
    }
}

TEST(IsPrintable, TakesTheLowByte) {
    for (const int yes : {0, 32, 126, 0x141, 0x100}) {
        EXPECT_TRUE(is_printable(yes)) << yes;
    }
    for (const int no : {1, 31, 127, 128, 255, 0x11F}) {
        EXPECT_FALSE(is_printable(no)) << no;
    }
}
