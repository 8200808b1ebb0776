// The time service behind the shell, on a simulated switch.

#include "lib/services/services.h"
#include "sim/time_service.h"
#include "tests/support/private_scenario.h"
#include "tests/support/sim_switch.h"

namespace {

using strings = std::vector<std::string>;
using rule = std::array<uint32_t, 4>;

/// A switch whose time service runs, in a subnet without a way out of it.
class desk : public sim_switch {
public:
    desk() : m_service(sim_time_start(state(), -1)) {
        sasiOpen();
        state().ip = {0xC0A80101, 0xFFFFFF00, 0, 0};
    }
    ~desk() {
        sasiClose();
        sim_time_stop(m_service);
    }
    desk(const desk &) = delete;
    desk &operator=(const desk &) = delete;

private:
    pid_t m_service;
};

constexpr const char *k_server = "time ntp-server";
constexpr const char *k_ipv6_server = "time ntp-ipv6-server";
constexpr const char *k_recurring = "time daylight-saving-time recurring";

const service_answer k_done = {};
const service_answer k_not_supported = {service_outcome::not_supported};

service_answer done(const std::string &text) { return {service_outcome::done, text + "\n"}; }
service_answer refused(const std::string &text) { return {service_outcome::refused, text}; }
service_answer no_way() { return done("There is no way to this server at present."); }
service_answer rules_stay() {
    return done("The time service keeps its rules of summer time until it gets others.");
}

void expect(const service_answer &wanted, service_answer (*change)(const service_call &call),
            const std::string &words, const strings &arguments) {
    const service_answer got = change({words, arguments, ""});
    EXPECT_EQ(wanted.outcome, got.outcome) << words << ' ' << testing::PrintToString(arguments);
    EXPECT_EQ(wanted.text, got.text);
}

std::string shown() {
    report to;
    EXPECT_EQ(service_outcome::done, service_time.show({"time", {}, ""}, to).outcome);
    return report_json(to);
}

using Time = own_var_tmp;

} // namespace

TEST_F(Time, ClockIsSetAndShown) {
    EXPECT_FALSE(service_time.is_here()) << "this machine's clock is nobody's to set";
    const desk on;
    EXPECT_TRUE(service_time.is_here());
    expect(k_done, service_time.act, "time date", {"2031/12/07"});
    expect(k_done, service_time.act, "time", {"01:02:03"});
    const sim_clocks &clocks = on->clocks;
    EXPECT_EQ((std::array<int32_t, 6>{2031, 12, 7, 1, 2, 3}),
              (std::array<int32_t, 6>{clocks.year, clocks.month, clocks.day, clocks.hour, clocks.minute,
                                      clocks.second}));
    expect(refused("A year is 1970 to 2037"), service_time.act, "time date", {"2038/01/01"});
    expect(refused("The month has no such day"), service_time.act, "time date", {"2031/02/29"});
    expect(refused("An hour is 0 to 23"), service_time.act, "time", {"24:00:00"});
    expect(refused("A second is 0 to 59"), service_time.act, "time", {"23:59"});

    const std::string text = shown();
    EXPECT_TRUE(text.starts_with(R"({"date":"2031/12/07","time":"01:0)")) << text;
    EXPECT_TRUE(text.ends_with(R"("server":null,"service_settings":null})")) << text;
    on->time.settings[1] = 8;
    expect(k_done, service_time.apply, k_server, {"192.168.1.9"});
    EXPECT_TRUE(shown().ends_with(R"("server":"192.168.1.9","service_settings":"0 8 0 0"})"));
    expect(k_done, service_time.withdraw, k_server, {"192.168.1.9"});
}

TEST_F(Time, TheOldestServerThatIsSetIsFollowed) {
    const desk on;
    const sim_time &time = on->time;
    expect(no_way(), service_time.apply, k_server, {"10.0.0.1"});
    expect(refused("No server can have this address"), service_time.apply, k_server, {"224.0.0.1"});
    EXPECT_EQ(0x0A000001U, time.server_ipv4);
    const auto later = done("The time service follows one server; it is 10.0.0.1 while that is set.");
    for (int i = 0; i < 2; i++) { // all may be set again
        expect(no_way(), service_time.apply, k_server, {"10.0.0.1"});
        expect(later, service_time.apply, k_server, {"192.168.1.7"});
        expect(later, service_time.apply, k_ipv6_server, {"fe80:0:0:0:0:0:0:7"});
    }
    EXPECT_EQ(0x0A000001U, time.server_ipv4);
    on->time.status = -7;
    const auto code = refused("The time service refuses it with code -7");
    expect(code, service_time.withdraw, k_server, {"10.0.0.1"});
    EXPECT_TRUE(shown().find(R"("server":"10.0.0.1")") != std::string::npos);
    on->time.status = 0;
    expect(k_done, service_time.withdraw, k_server, {"192.168.1.7"});
    expect(k_done, service_time.withdraw, k_server, {"10.0.0.1"});
    EXPECT_EQ(2U, time.server_kind);
    EXPECT_EQ(7, time.server_ipv6[15]);
    expect(k_done, service_time.withdraw, k_ipv6_server, {"fe80:0:0:0:0:0:0:7"});
    EXPECT_EQ(0U, time.server_kind + time.server_ipv4);
    expect(done("The switch has no IPv6 address at present."), service_time.apply, k_ipv6_server,
           {"2001:db8:0:0:0:0:0:9"});
    expect(k_done, service_time.withdraw, k_ipv6_server, {"2001:db8:0:0:0:0:0:9"});
}

TEST_F(Time, SummerTimeIsSetWhereRulesCanSayIt) {
    const desk on;
    const auto rules = [&] {
        std::array<rule, 2> got{};
        std::copy_n(on->time.rules[0], 4, got[0].begin());
        std::copy_n(on->time.rules[1], 4, got[1].begin());
        return got;
    };
    const std::array<rule, 2> america = {{{2, 0, 3, 2}, {1, 0, 11, 2}}};
    const std::array<rule, 2> own = {{{5, 6, 10, 0}, {4, 1, 4, 23}}};
    expect(k_not_supported, service_time.apply, "time daylight-saving-time", {"european-union"});
    expect(k_not_supported, service_time.withdraw, "time daylight-saving-time", {});
    expect(k_not_supported, service_time.apply, "time timezone", {"plus", "1", "0"});
    EXPECT_EQ(0U, on->time.requests);
    expect(k_done, service_time.apply, "time daylight-saving-time", {"north-america"});
    EXPECT_EQ(america, rules());
    const strings words = {"last", "saturday", "10", "00:00:00", "fourth", "monday", "4", "23:00:00"};
    expect(k_done, service_time.apply, k_recurring, words);
    EXPECT_EQ(own, rules());
    for (const size_t at : {3U, 7U}) {
        strings between = words;
        between[at] = "02:30:00";
        expect(refused("Summer time begins and ends at full hours"), service_time.apply, k_recurring,
               between);
    }
    expect(rules_stay(), service_time.apply, "time daylight-saving-time date",
           {"2027/03/28", "02:00:00", "2027/10/31", "03:00:00"});
    expect(rules_stay(), service_time.withdraw, "time daylight-saving-time", {});
    on->time.status = -3;
    expect(refused("The time service refuses it with code -3"), service_time.apply,
           "time daylight-saving-time", {"north-america"});
}
