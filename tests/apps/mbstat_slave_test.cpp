// What a slave counts, beside what its clients did.

#include "apps/mbstat/figures.h"
#include "apps/mbstat/page.h"
#include "lib/base/monotonic.h"
#include "modbus/mbcounters.h"
#include "tests/support/children_of.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/sim_switch.h"
#include "tests/support/slave_process.h"

#include <csignal>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {

using figures_by_name = std::map<std::string, uint64_t>;

/// The figures of a slave by their metrics' names, those that are 0 left out.
figures_by_name counted(const slave_process &slave) {
    const counters_page found = counters_page_of(slave.pid());
    EXPECT_NE(nullptr, found.page) << found.error;
    figures_by_name figures;
    if (found.page == nullptr) {
        return figures;
    }
    const stat_figures all = stat_figures_of(*found.page, monotonic_us());
    for (const stat_figure &figure : all.figures) {
        figures[figure.key] = figure.value;
    }
    for (const stat_group &group : all.groups) {
        for (const stat_group::member &member : group.members) {
            figures[std::string(group.key) + " " + member.label] = member.value;
        }
    }
    std::erase_if(figures, [](const auto &figure) { return figure.second == 0; });
    return figures;
}

uint64_t figure(const slave_process &slave, const std::string &name) {
    const figures_by_name figures = counted(slave);
    const auto found = figures.find(name);
    return found == figures.end() ? 0 : found->second;
}

/// Those of some names alone.
figures_by_name of_kind(const figures_by_name &figures, const std::string &kind) {
    figures_by_name chosen = figures;
    std::erase_if(chosen, [&](const auto &figure) { return !figure.first.starts_with(kind); });
    return chosen;
}

void prepare() {
    EXPECT_TRUE(mb_counters_share());
    EXPECT_GT(sasiOpen(), 0);
}

} // namespace

TEST(MbStatSlave, CountsRequestsAndExceptionsByCode) {
    const sim_switch sw;
    const slave_process slave(prepare);
    modbus_client client(slave.port());
    const octets requests[] = {
        {0x01, 0, 0, 0, 1},
        {0x02, 0, 0, 0, 0},
        {0x03, 0x07, 0xCF, 0, 1},
        {0x04, 0x03, 0xE8, 0, 1},
        {0x05, 0, 0, 0xFF, 0},
        {0x06, 0x07, 0xCF, 0, 7},
        {0x0F, 0, 0, 0, 1, 1, 1},
        {0x10, 0x07, 0xCF, 0, 1, 2},
        {0x11},
        {0x17, 0x07, 0xCF, 0, 1, 0},
        {0x2B, 0x0E},
    };
    int times = 0;
    for (const octets &request : requests) { // the first one once, the second one twice, ...
        times++;
        for (int i = 0; i < times; i++) {
            ASSERT_FALSE(client.exchange(request).empty());
        }
    }
    const figures_by_name figures = counted(slave);
    EXPECT_EQ((figures_by_name{{"requests 0x01", 1},
                               {"requests 0x02", 2},
                               {"requests 0x03", 3},
                               {"requests 0x04", 4},
                               {"requests 0x05", 5},
                               {"requests 0x06", 6},
                               {"requests 0x0F", 7},
                               {"requests 0x10", 8},
                               {"requests 0x11", 9},
                               {"requests 0x17", 10},
                               {"requests other", 11}}),
              of_kind(figures, "requests"));
    EXPECT_EQ((figures_by_name{{"exceptions 1", 11}, {"exceptions 2", 1 + 5 + 7}, {"exceptions 3", 2}}),
              of_kind(figures, "exceptions"));
}

TEST(MbStatSlave, CountsAForeignFrameAndNoRequestForIt) {
    const slave_process slave([] { EXPECT_TRUE(mb_counters_share()); });
    modbus_client client(slave.port());
    octets frame = make_adu(1, {0x11});
    frame[2] = 0x5A;
    ASSERT_TRUE(client.send(frame));
    ASSERT_EQ((octets{0x11}), client.exchange({0x11}));
    const figures_by_name figures = counted(slave);
    EXPECT_EQ(1U, figures.at("foreign_frames"));
    EXPECT_EQ(1U, figures.at("requests 0x11"));
}

TEST(MbStatSlave, CountsWhatTheDeviceWasAskedAndHowLongItTook) {
    constexpr uint64_t k_late_ms = 30;
    const sim_switch sw;
    const slave_process slave(prepare);
    modbus_client client(slave.port());
    ASSERT_EQ(3U, client.read(4, 1003, 3).size());
    ASSERT_EQ(sw.requests(k_sasi_alarm, k_sub_alarm_status), figure(slave, "device_requests"));
    EXPECT_EQ(3U, figure(slave, "device_requests"));
    EXPECT_EQ(0U, figure(slave, "device_failures"));

    sw.fault(k_sasi_alarm, k_sub_alarm_status).what = k_sim_fault_code;
    sw.fault(k_sasi_alarm, k_sub_alarm_status).return_code = -5;
    ASSERT_EQ(1U, client.read(4, 1003, 1).size());
    EXPECT_EQ(1U, figure(slave, "device_failures")) << "answered, and refused";
    sw.fault(k_sasi_alarm, k_sub_alarm_status).what = k_sim_fault_fail;
    ASSERT_EQ(2U, client.read(4, 1003, 2).size());
    EXPECT_EQ(3U, figure(slave, "device_failures"));
    sw.fault(k_sasi_alarm, k_sub_alarm_status).what = 0;

    sw.fault(k_sasi_alarm, k_sub_alarm_status).delay_ms = k_late_ms;
    ASSERT_EQ(1U, client.read(4, 1003, 1).size());
    sw.fault(k_sasi_alarm, k_sub_alarm_status).delay_ms = 0;
    ASSERT_EQ(1U, client.read(4, 1003, 1).size());
    ASSERT_EQ((octets{0x84, 2}), client.exchange({0x04, 0x03, 0xE7, 0, 1})); // is no register
    const figures_by_name figures = counted(slave);
    EXPECT_EQ(8U, figures.at("device_requests"));
    EXPECT_EQ(5U, figures.at("input_reads"));
    EXPECT_GE(figures.at("slowest_input_read_us"), k_late_ms * 1000);
    EXPECT_GE(figures.at("input_read_us"), figures.at("slowest_input_read_us"));
}

TEST(MbStatSlave, ACrashedChildTakesNothingWithIt) {
    const sim_switch sw;
    const slave_process slave(prepare);
    for (int i = 0; i < 12; i++) { // more than there are places: they are used again, and go on counting
        modbus_client client(slave.port());
        ASSERT_EQ((octets{0x11}), client.exchange({0x11}));
        ASSERT_EQ(1U, client.read(4, 1001, 1).size());
        for (const pid_t child : children_of(slave.pid())) { // the one before may still be ending
            ::kill(child, SIGKILL);
        }
        ASSERT_TRUE(client.is_closed_by_peer());
    }
    ASSERT_TRUE(eventually([&] { return figure(slave, "ended crash") == 12; }));
    const figures_by_name figures = counted(slave);
    EXPECT_EQ(12U, figures.at("accepted"));
    EXPECT_EQ(12U, figures.at("requests 0x11"));
    EXPECT_EQ(12U, figures.at("device_requests"));
    EXPECT_TRUE(eventually([&] { return figure(slave, "open") == 0; }));
    EXPECT_EQ(1U, of_kind(figures, "ended").size());
}

TEST(MbStatSlave, AClientWithoutAProcessIsCountedAsThat) {
    const sim_switch sw;
    const slave_process slave([&] {
        prepare();
        sw->faults.fork_failures = 1;
    });
    EXPECT_TRUE(modbus_client(slave.port()).is_closed_by_peer());
    modbus_client client(slave.port());
    ASSERT_EQ((octets{0x11}), client.exchange({0x11}));
    const figures_by_name figures = counted(slave);
    EXPECT_EQ(2U, figures.at("accepted"));
    EXPECT_EQ(1U, figures.at("ended no_process"));
    EXPECT_EQ(1U, figures.at("open"));
}
