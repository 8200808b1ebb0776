#include "apps/mbshow/report.h"
#include "modbus/mbident.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_scenario.h"
#include "tests/support/sim_switch.h"
#include "tests/support/slave_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

using MbShow = own_var_tmp;

TEST_F(MbShow, ShowsWhatTheSlaveServes) {
    const sim_switch sw;
    sw.set_serial("ZX-41-00077");
    sw->identity.tap0 = 0x02005E010203;
    sw->identity.header_b[15] = 0x4142;
    sw->alarm_word = 1U << alarm_bit::k_redundant_no_input;
    sw.port(12).media = 2;
    sw.port(12).words[4] = 201;
    sw.set_counter(12, 6, 0xFEDCBA98);
    sw.ring(200).configured = 1;
    sw.set_ring_name(200, "North");
    sw.ring(200).port2 = 9;
    sw.redundant_ring(1).address = 0x060504030201;
    sw.mst(63).address = 0x80000000003F;
    const slave_process slave([] { mb_init(); });
    mb_client client;
    mb_image image;
    modbus_client(slave.port()).exchange({0x11}); // it is up
    ASSERT_TRUE(mb_client_connect(client, "127.0.0.1", slave.port())) << client.error;
    ASSERT_TRUE(mb_image_read(client, image)) << client.error;
    const std::string text = mb_report_text({"slave", slave.port(), &image, nullptr});
    for (const char *part : {"Device type        55533 (0xD8ED)\n", "Serial number      ZX-41-00077\n",
                             "MAC address        02:00:5E:01:02:03\n", "Redundant power    no input\n",
                             " 4142  ..............AB\n", "    12   201 1000TX,SFP. ", " 4275878552\n",
                             "Rings: 1 of 6", "    9 / ", "  North\n", "  06:05:04:03:02:01  ",
                             "MST: 1 of 64", "Instance 63: bridge 80:00:00:00:00:3F"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
}
