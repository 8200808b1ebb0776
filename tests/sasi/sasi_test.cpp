#include "lib/sasi/sasi.h"

#include "tests/support/sim_switch.h"

#include <gtest/gtest.h>

TEST(Sasi, ARequestWithoutADeviceOrABlockTouchesNothing) {
    const sim_switch device;
    sasi_block block{};
    for (int i = 0; i < 2; i++) { // before the device is opened, and after it is closed
        block.return_code = 77;
        EXPECT_EQ(-1, sasiRequest(k_sasi_alarm, &block));
        EXPECT_EQ(77, block.return_code);
        EXPECT_FALSE(sasi_is_open());
        ASSERT_GT(sasiOpen(), 0);
        EXPECT_TRUE(sasi_is_open());
        EXPECT_EQ(-1, sasiRequest(k_sasi_alarm, nullptr));
        EXPECT_EQ(0, sasiClose());
    }
}
