// The client against the time service of a simulated switch, whose clocks and management interface it uses.

#include "lib/sasi/sasi.h"
#include "lib/time/sntp_client.h"
#include "lib/time/sntp_clock.h"
#include "lib/time/sntp_reach.h"
#include "sim/time_service.h"
#include "tests/support/private_network.h"
#include "tests/support/sim_switch.h"
#include "tests/time/own_machine.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/time.h>

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using words = std::array<uint32_t, 4>;

constexpr in6_addr k_link_local = {{{0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}};
constexpr in6_addr k_global = {{{0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0, 9}}};

/// A simulated switch whose time service runs, to the end of its scope.
class desk : public sim_switch {
public:
    desk() : m_service(sim_time_start(state(), -1)) { sasiOpen(); }
    ~desk() {
        sasiClose();
        sim_time_stop(m_service);
    }
    desk(const desk &) = delete;
    desk &operator=(const desk &) = delete;

private:
    pid_t m_service;
};

int32_t set_name(const char *name) { return sntp_set_server(sntp_server_kind::host_name, name, 0, {}); }

int32_t set_ipv4(uint32_t address) { return sntp_set_server(sntp_server_kind::ipv4, nullptr, address, {}); }

int32_t set_ipv6(const in6_addr &address) {
    return sntp_set_server(sntp_server_kind::ipv6, nullptr, 0, address);
}

std::string text_of(const uint8_t *bytes) { return reinterpret_cast<const char *>(bytes); }

words array_of(const uint32_t (&from)[4]) { return {from[0], from[1], from[2], from[3]}; }

double seconds_of_reading(words &settings) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(0, sntp_read_settings(settings));
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void interrupt_every(suseconds_t microseconds) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, nullptr);
    const itimerval every{{0, microseconds}, {0, microseconds}};
    ::setitimer(ITIMER_REAL, &every, nullptr);
}

int32_t status_of_exchange() {
    sntp_record record{};
    record.status = 5;
    sntp_send_pkt_ack(&record);
    return record.status;
}

class TimeClient : public own_machine {};

} // namespace

TEST_F(TimeClient, ServiceGetsAndGives) {
    const desk on;
    const sim_time &time = on->time;
    EXPECT_EQ(uint32_t{k_sntp_port}, time.port);
    EXPECT_EQ(0, sntp_set_rule(sntp_rule_choice::first, {1, 0, 2, 23}));
    EXPECT_EQ((words{1, 0, 2, 23}), array_of(time.rules[0]));
    EXPECT_EQ(0, sntp_set_rule(sntp_rule_choice::second, {5, 6, 12, 0}));
    EXPECT_EQ((words{5, 6, 12, 0}), array_of(time.rules[1]));
    EXPECT_EQ(0, sntp_set_server_address(0xC0A80105));
    EXPECT_EQ(0xC0A80105, time.address);

    const std::string longest(50, 'n');
    EXPECT_EQ(0, set_name(longest.c_str()));
    EXPECT_EQ(1U, time.server_kind);
    EXPECT_EQ(longest, text_of(time.server_name));
    EXPECT_EQ(0, set_ipv6(k_link_local));
    EXPECT_EQ(2U, time.server_kind);
    EXPECT_EQ(0, std::memcmp(&k_link_local, time.server_ipv6, sizeof time.server_ipv6));
    EXPECT_EQ("", text_of(time.server_name)) << "what is not of the kind is zero";
    EXPECT_EQ(0, set_ipv4(0x0A000001));
    EXPECT_EQ(0U, time.server_kind);
    EXPECT_EQ(0x0A000001U, time.server_ipv4);

    words settings{};
    std::copy_n(words{7, 8, 9, 10}.begin(), 4, on->time.settings);
    EXPECT_EQ(0, sntp_read_settings(settings));
    EXPECT_EQ((words{7, 8, 9, 10}), settings);
    std::array<char, 38> text{};
    text.fill('?');
    std::fill_n(on->time.text, 37, uint8_t{'x'}); // to the record's last byte, without an end of its own
    EXPECT_EQ(0, sntp_read_text(text));
    EXPECT_EQ(std::string(37, 'x'), text.data());
    EXPECT_EQ(8U, time.requests);
}

TEST_F(TimeClient, StatusOfTheServiceStands) {
    const desk on;
    on->time.status = -4711;
    on->ip = {0xC0A80101, 0xFFFFFF00, 0, 0};
    words settings{};
    std::array<char, 38> text{"kept"};
    EXPECT_EQ(-4711, sntp_read_settings(settings));
    EXPECT_EQ(-4711, sntp_set_rule(sntp_rule_choice::first, {1, 0, 1, 0}));
    EXPECT_EQ(-4711, sntp_set_server_address(0x0A000001)) << "not -59";
    EXPECT_EQ(-4711, set_ipv4(0x0A000001)) << "not -85";
    EXPECT_EQ(-4711, set_name("n"));
    EXPECT_EQ(-4711, set_ipv6(k_global)) << "not -86";
    EXPECT_EQ(-4711, sntp_read_text(text));
    EXPECT_STREQ("kept", text.data());
}

TEST_F(TimeClient, BadArgumentsMakeNoRequest) {
    const desk on;
    const sntp_rule bad_rules[] = {{0, 0, 1, 0}, {6, 0, 1, 0},  {1, 7, 1, 0},
                                   {1, 0, 0, 0}, {1, 0, 13, 0}, {1, 0, 1, 24}};
    for (const sntp_rule &rule : bad_rules) {
        EXPECT_EQ(-6, sntp_set_rule(sntp_rule_choice::first, rule));
    }
    EXPECT_EQ(-10, sntp_set_server_address(0x0A000000));
    EXPECT_EQ(-10, set_ipv4(0xE0000001));
    EXPECT_EQ(-180, set_name(nullptr));
    EXPECT_EQ(-180, set_name(std::string(51, 'n').c_str()));
    EXPECT_EQ(-181, set_name(""));
    EXPECT_EQ(0U, on->time.requests);
}

TEST_F(TimeClient, ServersOutOfReachAreSetAllTheSame) {
    const desk on;
    on->ip = {0xC0A80101, 0xFFFFFF00, 0, 0};
    EXPECT_EQ(0, sntp_set_server_address(0xC0A801FE));
    EXPECT_EQ(-59, sntp_set_server_address(0xC0A802FE));
    EXPECT_EQ(0xC0A802FE, on->time.address);
    EXPECT_EQ(-85, set_ipv4(0xC0A802FD));
    EXPECT_EQ(0xC0A802FD, on->time.server_ipv4);
    EXPECT_EQ(0, sntp_set_server_address(0));
    EXPECT_EQ(0U, on->time.address);
    on->ip.route = 1;
    EXPECT_EQ(0, sntp_set_server_address(0xC0A802FE));
    EXPECT_EQ(0, set_ipv4(0xC0A802FD));
    EXPECT_EQ(6U, on.requests(k_sasi_ip, k_sub_ip_netmask));

    EXPECT_EQ(-86, set_ipv6(k_global)) << "there is no tap0";
    EXPECT_EQ(0, set_ipv6(k_link_local));
    sntp_set_ipv6_source([](in6_addr *address, uint32_t *prefix_length) {
        *address = k_global;
        address->s6_addr[7] = 6; // differs in the last bit of 64
        *prefix_length = 63;
        return true;
    });
    EXPECT_EQ(0, set_ipv6(k_global));
    in6_addr beyond = k_global;
    beyond.s6_addr[7] = 5;
    EXPECT_EQ(-85, set_ipv6(beyond));
    EXPECT_EQ(0, std::memcmp(&beyond, on->time.server_ipv6, sizeof beyond));
    sntp_set_ipv6_source(nullptr);
}

TEST_F(TimeClient, AnswersComeShortLateOrNever) {
    const desk on;
    std::copy_n(words{7, 8, 9, 10}.begin(), 4, on->time.settings);
    words settings{};
    on->faults.time_size = 120;
    seconds_of_reading(settings);
    EXPECT_EQ((words{7, 8, 0, 0}), settings);

    on->faults.time_size = k_sim_time_silent;
    EXPECT_GE(seconds_of_reading(settings), 1);
    EXPECT_EQ(words{}, settings);
    interrupt_every(30000);
    EXPECT_GE(seconds_of_reading(settings), 1) << "and it ends";

    on->faults.time_size = k_sim_time_whole;
    on->faults.time_late_ms = 300;
    seconds_of_reading(settings);
    EXPECT_EQ((words{7, 8, 9, 10}), settings);
    interrupt_every(0);
}

TEST_F(TimeClient, ReplyWordsWriteTheClock) {
    const desk on;
    const struct {
        uint32_t reply1, reply2;
        int32_t status;
        uint32_t writes; // in all
    } k_cases[] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {2, 1, 0, 0}, {1, 2, 0, 0}, {1, 1, 0, 1}, {1, 1, -9, 2}};
    EXPECT_EQ(0, std::system("date 022923582024.30"));
    for (const auto &c : k_cases) {
        on->time.reply1 = c.reply1;
        on->time.reply2 = c.reply2;
        on->time.status = c.status;
        EXPECT_EQ(c.status, status_of_exchange());
        EXPECT_EQ(c.writes, on->clocks.writes) << c.reply1 << ' ' << c.reply2;
    }
    EXPECT_EQ(2024, on->clocks.year);
    EXPECT_EQ(58, on->clocks.minute);

    // Where the date cannot be read there is none to write.
    EXPECT_EQ(0, ::mount(nullptr, "/var/tmp", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    CaptureStdout();
    EXPECT_EQ(-9, status_of_exchange());
    EXPECT_EQ("sntp_read_date: /var/tmp/date.XXXXXX: Read-only file system!\n", GetCapturedStdout());
    EXPECT_EQ(2U, on->clocks.writes);
}

TEST_F(TimeClient, HardwareClockGetsWhatDateGot) {
    const desk on;
    const sim_clocks &clocks = on->clocks;
    EXPECT_EQ(0, sntp_set_date(2031, 12, 7));
    EXPECT_EQ(0, sntp_set_time(1, 2, 3));
    const std::array<int32_t, 6> written{clocks.year, clocks.month,  clocks.day,
                                         clocks.hour, clocks.minute, clocks.second};
    EXPECT_EQ((std::array<int32_t, 6>{2031, 12, 7, 1, 2, 3}), written);
    EXPECT_EQ(2U, clocks.writes);
    for (uint32_t *const fault : {&on->faults.rtc_missing, &on->faults.rtc_failing}) {
        *fault = 1;
        CaptureStdout();
        EXPECT_EQ(-1, sntp_set_systime_to_rtc({}));
        EXPECT_EQ("sntp_set_systime_to_rtc: ioctl fail(-1)!\n", GetCapturedStdout());
        EXPECT_EQ(0, sntp_set_time(4, 5, 6) + sntp_set_date(2024, 2, 29));
        *fault = 0;
    }
    sntp_time now{};
    EXPECT_EQ(0, sntp_read_date(&now));
    EXPECT_EQ(2024, now.year) << "the system's date is set without the hardware clock";
}

TEST_F(TimeClient, FailsWithoutAnAddressOrAWay) {
    ASSERT_TRUE(with_private_network(false));
    EXPECT_EQ(-27, status_of_exchange());
    // Now any address may be bound, but none is reached.
    std::ofstream("/proc/sys/net/ipv4/ip_nonlocal_bind") << 1 << std::flush;
    EXPECT_EQ(-28, status_of_exchange());
}

TEST_F(TimeClient, FailsWithoutADescriptorThatSelectCanWatch) {
    const rlimit limits = {FD_SETSIZE + 1, FD_SETSIZE + 1};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limits));
    CaptureStdout();
    while (::dup(STDERR_FILENO) >= 0) {
    }
    EXPECT_EQ(-26, status_of_exchange());
    ::close(FD_SETSIZE);
    EXPECT_EQ(-29, status_of_exchange());
    EXPECT_EQ("sntp_send_pkt_ack: open socket fail!\n", GetCapturedStdout());
    ::closefrom(STDERR_FILENO + 1);
}
