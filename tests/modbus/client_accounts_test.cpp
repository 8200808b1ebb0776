#include "modbus/client_accounts.h"

#include "modbus/mbcounters.h"
#include "tests/support/syslog_capture.h"

#include <csignal>
#include <gtest/gtest.h>
#include <vector>

namespace {

constexpr int k_no_socket = -1;
constexpr int k_exit_3 = 3 << 8;

uint64_t ended(mb_end how) { return shared_count_get(mb_counters().ended[static_cast<size_t>(how)]); }

/// Opens the account of a process.
int32_t open_for(int32_t process_id) {
    const int32_t number = client_account_open(k_no_socket);
    client_account_name(number, process_id);
    return number;
}

} // namespace

TEST(ClientAccounts, WhatAChildSaysIsBelievedAsFarAsItsEndFits) {
    const struct {
        uint32_t said;
        int status;
        mb_end counted;
        std::vector<std::string> logged;
    } k_cases[] = {
        {static_cast<uint32_t>(mb_end::peer), 0, mb_end::peer, {}},
        {static_cast<uint32_t>(mb_end::silence), 0, mb_end::silence, {}},
        {static_cast<uint32_t>(mb_end::bad_frame), 0, mb_end::bad_frame, {}},
        {static_cast<uint32_t>(mb_end::bad_frame),
         SIGABRT,
         mb_end::bad_frame,
         {"3 client unknown port 0: process 77 was ended by signal 6 (ABRT)"}},
        {static_cast<uint32_t>(mb_end::peer),
         SIGSEGV,
         mb_end::crash,
         {"3 client unknown port 0: process 77 was ended by signal 11 (SEGV)"}},
        {static_cast<uint32_t>(mb_end::peer),
         k_exit_3,
         mb_end::crash,
         {"3 client unknown port 0: process 77 ended with status 3"}},
        {k_mb_end_not_said, 0, mb_end::crash, {}},
        {static_cast<uint32_t>(mb_end::no_process), 0, mb_end::crash, {}},
        {static_cast<uint32_t>(mb_end::count), 0, mb_end::crash, {}},
    };
    for (const auto &c : k_cases) {
        const int32_t number = open_for(77);
        mb_counters().children[number].said_end = c.said;
        const uint64_t before = ended(c.counted);
        client_account_close(77, c.status);
        EXPECT_EQ(before + 1, ended(c.counted)) << c.said << " " << c.status;
        EXPECT_EQ(c.logged, syslog_take_texts());
    }
    EXPECT_EQ(0U, shared_count_get(mb_counters().open));
}

TEST(ClientAccounts, AnAccountIsOneProcesssUntilItsEnd) {
    for (int32_t i = 0; i < k_tcp_clients_max; i++) {
        EXPECT_EQ(i, open_for(100 + i));
    }
    EXPECT_EQ(-1, open_for(200)) << "there are no more";
    client_account_close(200, 0);
    client_account_close(0, 0);
    client_account_close(-1, 0);
    EXPECT_EQ(10U, shared_count_get(mb_counters().open));
    mb_counters().children[4].said_end = static_cast<uint32_t>(mb_end::silence);
    client_account_close(104, 0);
    EXPECT_EQ(4, open_for(-1)) << "no fork";
    EXPECT_EQ(1U, ended(mb_end::no_process));
    EXPECT_EQ(4, open_for(300));
    client_account_close(300, 0);
    EXPECT_EQ(1U, ended(mb_end::silence)) << "which the one before said";
    EXPECT_EQ(1U, ended(mb_end::crash));
    EXPECT_EQ(9U, shared_count_get(mb_counters().open));
}
