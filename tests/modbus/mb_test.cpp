#include "modbus/mb.h"
#include "modbus/mbfunc.h"
#include "modbus/porttcp.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_scenario.h"
#include "tests/support/slave_process.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

namespace {

mb_exception answer_42(uint8_t *pdu, uint16_t *length) {
    pdu[1] = 42;
    *length = 2;
    return k_mb_ex_none;
}

mb_exception answer_busy(uint8_t * /*pdu*/, uint16_t * /*length*/) { return k_mb_ex_slave_busy; }

template<int> mb_exception answer_nothing(uint8_t * /*pdu*/, uint16_t * /*length*/) { return k_mb_ex_none; }

} // namespace

TEST(Stack, OnlyTheRightStateIsTaken) {
    in_fresh_process([] {
        EXPECT_EQ(k_mb_illegal_state, mb_enable());
        EXPECT_EQ(k_mb_illegal_state, mb_disable());
        EXPECT_EQ(k_mb_illegal_state, mb_close());
        EXPECT_EQ(k_mb_illegal_state, mb_poll());
        ASSERT_EQ(k_mb_ok, mb_tcp_init(free_port()));
        EXPECT_EQ(k_mb_illegal_state, mb_poll());
        EXPECT_EQ(k_mb_ok, mb_disable());
        EXPECT_EQ(k_mb_ok, mb_enable());
        EXPECT_EQ(k_mb_illegal_state, mb_enable());
        EXPECT_EQ(k_mb_illegal_state, mb_close());
        EXPECT_EQ(k_mb_ok, mb_disable());
        EXPECT_EQ(k_mb_ok, mb_close());
    });
}

TEST(Stack, ATakenPortIsAPortErrorAndLeavesNothingToEnable) {
    in_fresh_process([] {
        const uint16_t port = free_port();
        ASSERT_TRUE(tcp_port_init(port));
        EXPECT_EQ(k_mb_port_error, mb_tcp_init(port));
        EXPECT_EQ(k_mb_illegal_state, mb_enable());
        EXPECT_EQ(k_mb_ok, mb_disable());
        EXPECT_EQ(k_mb_ok, mb_close());
    });
}

TEST(Stack, SerialModesAreRefusedButTheirAddressIsKept) {
    for (const uint8_t address : std::initializer_list<uint8_t>{0, 1, 247, 248}) {
        const slave_process slave([&] {
            EXPECT_EQ(k_mb_invalid_argument, mb_init_serial(k_mb_rtu, address, 0, 9600, k_mb_parity_even));
        });
        modbus_client client(slave.port());
        const timeval patience = {0, 200000};
        ::setsockopt(client.fd(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        // TCP requests are for address 255, which a slave of another address is not.
        EXPECT_EQ(address == 1 || address == 247 ? octets() : octets{0x11}, client.exchange({0x11}));
    }
}

TEST(Handlers, TakeFreeSlotsAndAClearedSlotEndsTheSearch) {
    const slave_process slave([] {
        EXPECT_EQ(k_mb_invalid_argument, mb_register_handler(0, answer_42));
        EXPECT_EQ(k_mb_invalid_argument, mb_register_handler(128, answer_42));
        EXPECT_EQ(k_mb_ok, mb_register_handler(127, answer_busy));
        EXPECT_EQ(k_mb_ok, mb_register_handler(0x41, answer_42));
        EXPECT_EQ(k_mb_ok,
                  mb_register_handler(0x42, answer_42));        // the same handler: its slot changes its code
        EXPECT_EQ(k_mb_ok, mb_register_handler(0x77, nullptr)); // not there
    });
    modbus_client client(slave.port());
    EXPECT_EQ((octets{0xFF, 6}), client.exchange({127}));
    EXPECT_EQ((octets{0xC1, 1}), client.exchange({0x41, 0}));
    EXPECT_EQ((octets{0x42, 42}), client.exchange({0x42}));

    const slave_process cleared([] {
        EXPECT_EQ(k_mb_ok, mb_register_handler(0x03, nullptr));
        EXPECT_EQ(k_mb_ok, mb_register_handler(0x06, nullptr));
        EXPECT_EQ(k_mb_ok, mb_register_handler(0x03, answer_42)); // into the first of the two
    });
    modbus_client other(cleared.port());
    EXPECT_EQ((octets{0x11}), other.exchange({0x11}));
    EXPECT_EQ((octets{0x03, 42}), other.exchange({0x03, 0x07, 0xCF, 0, 1}));
    EXPECT_EQ((octets{0x97, 1}), other.exchange({0x17, 0})); // behind the cleared slot
}

TEST(Handlers, SixteenSlotsAndNoMore) {
    in_fresh_process([] {
        for (const mb_function_handler handler : {answer_nothing<0>, answer_nothing<1>, answer_nothing<2>,
                                                  answer_nothing<3>, answer_nothing<4>, answer_nothing<5>}) {
            EXPECT_EQ(k_mb_ok, mb_register_handler(0x50, handler));
        }
        EXPECT_EQ(k_mb_no_resources, mb_register_handler(0x51, answer_42));
    });
}

TEST(SlaveId, AnswersWhatWasSetUpTo31Bytes) {
    const slave_process slave([] {
        const octets most(29, 0x5A);
        EXPECT_EQ(k_mb_ok, mb_set_slave_id(9, true, most.data(), 29));
        EXPECT_EQ(k_mb_no_resources, mb_set_slave_id(8, false, octets(30).data(), 30));
    });
    octets expected = {0x11, 9, 0xFF};
    expected.resize(32, 0x5A);
    modbus_client client(slave.port());
    EXPECT_EQ(expected, client.exchange({0x11}));

    const slave_process stopped([] { EXPECT_EQ(k_mb_ok, mb_set_slave_id(7, false, nullptr, 0)); });
    modbus_client other(stopped.port());
    EXPECT_EQ((octets{0x11, 7, 0x00}), other.exchange({0x11}));
}

TEST(Errors, MapToExceptionsAndAreNamedWhenDebugging) {
    mb_func_set_debug(true);
    testing::internal::CaptureStdout();
    const int k_expected[] = {0, 2, 4, 4, 4, 4, 4, 6};
    for (int32_t error = k_mb_ok; error <= k_mb_timed_out; error++) {
        EXPECT_EQ(k_expected[error], prveMBError2Exception(static_cast<mb_error>(error))) << error;
    }
    mb_func_set_debug(false);
    EXPECT_EQ("prveMBError2Exception(145): Illegal register address!\n"
              "prveMBError2Exception(145): Illegal argument!\n"
              "prveMBError2Exception(145): Porting layer error!\n"
              "prveMBError2Exception(145): Insufficient resources!\n"
              "prveMBError2Exception(145): I/O error!\n"
              "prveMBError2Exception(145): Protocol stack in illegal state!\n"
              "prveMBError2Exception(145): Timeout error occurred!\n",
              testing::internal::GetCapturedStdout());
}
