#include "modbus/client_table.h"
#include "modbus/mbevent.h"

#include <gtest/gtest.h>

TEST(ClientTable, FillsFreesAndFindsInIndexOrder) {
    ASSERT_EQ(0, client_table_op(0, 0, k_client_clear));
    for (int32_t i = 0; i < 10; i++) {
        EXPECT_EQ(0, client_table_op(100 + i, 5, k_client_add));
    }
    EXPECT_EQ(-1, client_table_op(110, 5, k_client_add));
    EXPECT_EQ(-3, client_table_op(110, 0, k_client_find));
    EXPECT_EQ(5, client_table_op(109, 0, k_client_find));

    EXPECT_EQ(0, client_table_op(0, 5, k_client_remove_by_socket)); // the first of the ten
    EXPECT_EQ(-3, client_table_op(100, 0, k_client_find));
    EXPECT_EQ(0, client_table_op(105, 0, k_client_remove_by_pid));
    EXPECT_EQ(-2, client_table_op(105, 0, k_client_remove_by_pid));
    EXPECT_EQ(-2, client_table_op(0, 6, k_client_remove_by_socket));

    EXPECT_EQ(0, client_table_op(200, 6, k_client_add));
    EXPECT_EQ(0, client_table_op(201, 7, k_client_add));
    EXPECT_EQ(-1, client_table_op(202, 8, k_client_add));
    EXPECT_EQ(6, client_table_op(200, 0, k_client_find));

    EXPECT_EQ(0, client_table_op(0, 0, k_client_clear));
    EXPECT_EQ(0, client_table_op(-1, 5, k_client_add));  // of a failed fork: its entry stays free
    EXPECT_EQ(0, client_table_op(300, 6, k_client_add)); // takes the same entry
    EXPECT_EQ(-2, client_table_op(0, 5, k_client_remove_by_socket));
    EXPECT_EQ(0, client_table_op(0, 0, 99));
}

TEST(EventQueue, ANewEventReplacesOneNotTaken) {
    mb_event_init();
    mb_event_post(k_mb_event_ready);
    mb_event_post(k_mb_event_execute);
    mb_event event = k_mb_event_ready;
    ASSERT_TRUE(mb_event_get(&event));
    EXPECT_EQ(k_mb_event_execute, event);
}
