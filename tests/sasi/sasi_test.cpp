#include "lib/sasi/sasi.h"

#include "tests/support/sim_switch.h"

#include <gtest/gtest.h>

// The simulated switch reads the same constants as the accessors, so that only these lines keep them what the
// device takes them for.
static_assert(k_sasi_ring_redundancy == 24240 && k_sub_ring_record == 5 && k_at_ring_id == 36 &&
              k_at_ring_record == 32);
static_assert(k_sasi_alarm == 24253 && k_sub_alarm_status == 12 && k_at_alarm_first == 36 &&
              k_at_alarm_word == 44);
static_assert(k_sasi_port == 24257 && k_sub_port_media == 21 && k_at_port_media == 76);
static_assert(k_sub_port_state == 25 && k_at_port_words[0] == 48 && k_at_port_words[1] == 52 &&
              k_at_port_words[2] == 60 && k_at_port_words[3] == 64 && k_at_port_words[4] == 68);
static_assert(k_sasi_counter == 24269 && k_at_counter_value == 32);
static_assert(k_sasi_spanning_tree == 24276 && k_sub_bridge_record == 0 && k_at_bridge_record == 40);
static_assert(k_sub_mst_instance == 42 && k_sub_mst_ports == 43 && k_at_mst_index == 36 &&
              k_at_mst_record == 40);
static_assert(k_sasi_redundant_ring == 24284 && k_sub_redundant_record == 0 && k_at_redundant_record == 32);
static_assert(k_at_redundant_ring == 42 && k_at_redundant_one == 70 && k_at_redundant_zero1 == 72 &&
              k_at_redundant_zero2 == 73);

TEST(Sasi, RequestWithoutDeviceTouchesNothing) {
    sasi_block block{};
    block.return_code = 77;
    EXPECT_EQ(-1, sasiRequest(k_sasi_alarm, &block));
    EXPECT_EQ(77, block.return_code);
    EXPECT_EQ(0, sasiClose());
}

TEST(Sasi, ClosingForgetsTheHandle) {
    const sim_switch device;
    ASSERT_GT(sasiOpen(), 0);
    sasi_block block{};
    EXPECT_EQ(-1, sasiRequest(k_sasi_alarm, nullptr));
    EXPECT_EQ(0, sasiClose());
    block.return_code = 77;
    EXPECT_EQ(-1, sasiRequest(k_sasi_alarm, &block));
    EXPECT_EQ(77, block.return_code);
}
