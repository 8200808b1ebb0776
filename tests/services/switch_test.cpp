// What the shell shows of the switch-access device, on a simulated switch.

#include "lib/services/services.h"
#include "tests/support/sim_switch.h"

#include <chrono>
#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

struct shown {
    service_outcome outcome;
    std::string text; // or the reason
    std::string json;
};

shown show(std::string_view words, const std::vector<std::string> &arguments = {}) {
    const service *const to = services_find(words);
    report made;
    const service_answer answer = to->show({words, arguments, ""}, made);
    const bool done = answer.outcome == service_outcome::done;
    return {answer.outcome, done ? report_text(made) : answer.text, done ? report_json(made) : ""};
}

/// A simulated switch whose device is open.
class SwitchService : public testing::Test {
protected:
    void SetUp() override { ASSERT_GT(sasiOpen(), 0); }

    sim_switch sw; // first: the device is in it
};

TEST_F(SwitchService, AlarmsAreToldBitByBitAndByPowerInput) {
    const struct {
        uint32_t bit;
        const char *line;
        const char *main;
        const char *redundant;
    } rows[] = {
        {0, "  0  board temperature              alarm\n", "good", "good"},
        {6, "  6  DC battery                     alarm\n", "good", "good"},
        {7, "  7  link down, port 1              alarm\n", "good", "good"},
        {18, " 18  link down, port 12             alarm\n", "good", "good"},
        {19, " 19  main power over-voltage        alarm\n", "over-voltage", "good"},
        {20, " 20  main power under-voltage       alarm\n", "under-voltage", "good"},
        {24, " 24  redundant power no input       alarm\n", "good", "no input"},
        {31, " 31  unknown                        alarm\n", "good", "good"},
    };
    for (const auto &row : rows) {
        sw->alarm_word = uint32_t{1} << row.bit;
        const shown all = show("alarm-info");
        EXPECT_THAT(all.text, AllOf(HasSubstr("Alarm               : present\n"), HasSubstr(row.line),
                                    HasSubstr(std::string("Main power          : ") + row.main),
                                    HasSubstr(std::string("Redundant power     : ") + row.redundant)));
        const size_t first = all.text.find("  alarm\n");
        EXPECT_EQ(std::string::npos, all.text.find("  alarm\n", first + 1)) << "one bit, one alarm";
    }
    sw->alarm_word = 0;
    sw->alarm_first = 77;
    sw.set_link(2, false);
    EXPECT_THAT(show("alarm-info").json,
                AllOf(HasSubstr(R"("alarm":"present","main_power":"good","redundant_power":"good",)"
                                R"("first_word":77,)"),
                      HasSubstr(R"({"bit":8,"alarm":"link down, port 2","state":"alarm"})")));
    EXPECT_THAT(show("hardware-monitor").text, AllOf(HasSubstr("PHY temperature"), Not(HasSubstr("link"))));
}

TEST_F(SwitchService, PortsHaveTheirStateMediaAndCounters) {
    sim_port &port = sw.port(12);
    port.media = 2;
    for (uint32_t i = 0; i < 5; i++) {
        port.words[i] = 0x100 * (i + 1) + i;
    }
    for (const uint32_t sub : k_counter_subs) {
        sw.set_counter(12, sub, 4'000'000'000 + sub);
    }
    constexpr const char *k_state =
        R"("media":"gigabit fibre","state":4,"word1":256,"word2":513,"word3":770,)"
        R"("word4":1027,"word5":1284)";
    constexpr const char *k_counters =
        R"("counter_3":4000000003,"counter_4":4000000004,"counter_6":4000000006,"counter_9":4000000009,)"
        R"("counter_10":4000000010,"counter_12":4000000012,"counter_24":4000000024,"counter_28":4000000028})";
    EXPECT_THAT(show("interface").json, HasSubstr(std::string(R"({"port":12,)") + k_state + "}]"));
    EXPECT_EQ(std::string(R"({"port":12,)") + k_state + "," + k_counters,
              show("interface gigabitethernet1/0/", {"12"}).json);
    EXPECT_THAT(show("port-statistics").json, HasSubstr(std::string(R"({"port":12,)") + k_counters + "]"));
    EXPECT_EQ(std::string(R"({"ports":[{"port":12,)") + k_counters + "]}",
              show("rmon statistics", {"gigabitethernet1/0/12"}).json);
    EXPECT_EQ("Ports that take modules\nPort  Media\n  12  gigabit fibre\n", show("sfp info").text);
    for (const char *name :
         {"gigabitethernet1/0/13", "gigabitethernet1/0/0", "gigabitethernet1/0/1x", "12", ""}) {
        EXPECT_EQ(service_outcome::refused, show("rmon statistics", {name}).outcome) << name;
    }
    EXPECT_EQ(service_outcome::not_supported, show("interface vlan").outcome);
    sw.fault(k_sasi_counter, 9) = {k_sim_fault_fail, 0, 0};
    sw.fault(k_sasi_port, k_sub_port_media) = {k_sim_fault_code, -5, 0};
    EXPECT_THAT(show("interface gigabitethernet1/0/", {"12"}).json,
                AllOf(HasSubstr(R"("media":null,"state":4)"),
                      HasSubstr(R"("counter_9":null,"counter_10":4000000010)")))
        << "an older answer is not taken for one";
}

TEST_F(SwitchService, SpanningTreeHasTheBridgeAndItsInstances) {
    sw->bridge_enabled = 1;
    sw->bridge_mode = 3;
    sw.mst(63).address = 0x001BFE807F06;
    sw.mst(63).byte1 = 9;
    sw.mst_port(63, 12) = {1, 2, 4, 5, 8, 255, {}};
    const std::string bridge = "Spanning tree on    : yes\nProtocol mode       : 3\n";
    EXPECT_EQ(bridge, show("spanning-tree summary").text);
    EXPECT_THAT(show("spanning-tree").text,
                AllOf(HasSubstr(bridge +
                                "\nMST instances with a bridge address\nInstance  Bridge address     Byte 1\n"
                                "      63  00:1B:FE:80:7F:06       9\n"),
                      HasSubstr("\n      63    12       1       2       4       5       8     255\n")));
    constexpr const char *k_entry = R"({"instance":63,"port":12,"byte0":1,"byte1":2,"byte4":4,"byte5":5,)"
                                    R"("byte8":8,"byte9":255}])";
    EXPECT_THAT(show("spanning-tree mst", {"63"}).json,
                AllOf(HasSubstr(R"({"instance":63,"bridge_address":"00:1B:FE:80:7F:06","byte1":9,"ports":[)"),
                      HasSubstr(k_entry)));
    EXPECT_THAT(show("spanning-tree mst", {"0"}).json, HasSubstr(R"("bridge_address":null,"byte1":0)"));
    const std::string some = show("spanning-tree port", {"2,11-12"}).json;
    EXPECT_THAT(some, AllOf(HasSubstr(R"("ports":[{"instance":63,"port":2,)"), HasSubstr(k_entry),
                            HasSubstr(R"("port":11,)"), Not(HasSubstr(R"("port":10,)"))));
    EXPECT_EQ(service_outcome::not_supported, show("spanning-tree counters").outcome);
}

TEST_F(SwitchService, RingsAreThoseThatTheDeviceHas) {
    sim_redundant_ring &redundant = sw.redundant_ring(1);
    redundant.state = 1;
    redundant.address = 0x001BFE807F06;
    redundant.word14 = 14;
    redundant.word18 = 18;
    redundant.byte22 = 22;
    redundant.word26 = 26;
    redundant.byte30 = 30;
    redundant.word34 = 0x80000034;
    EXPECT_EQ(
        R"({"ring":2,"enabled":"yes","address":"00:1B:FE:80:7F:06","word14":14,"word18":18,"byte22":22,)"
        R"("word26":26,"byte30":30,"word34":2147483700})",
        show("tarn-ring ring", {"2"}).json);
    EXPECT_THAT(show("tarn-ring ring", {"1"}).text, HasSubstr("Enabled             : no\n"));

    EXPECT_EQ("none\n", show("erps").text);
    sw.ring(255) = {{}, 1, 24, 2828, 11, 2, 60, 12, 0, 72, 1, 133, 137, 141};
    sw.set_ring_name(255, "a\x1b[2J\xff");
    EXPECT_EQ("Ring  Name    Enabled  Port 1  Port 1 state  Port 2  Port 2 state\n"
              " 255  a?[2J?  yes          11             2      12             0\n",
              show("erps").text);
    EXPECT_EQ(R"({"ring":255,"name":"a?[2J?","enabled":"yes","port1":11,"port1_state":2,"port2":12,)"
              R"("port2_state":0,"word24":24,"value28":2828,"word60":60,"word72":72,"word133":133,)"
              R"("byte137":137,"word141":141})",
              show("erps ring", {"255"}).json);
    sw.set_ring_name(255, std::string(40, 'n'));
    EXPECT_THAT(show("erps ring", {"255"}).text, HasSubstr(": " + std::string(33, 'n') + "\n"));
    EXPECT_EQ("No such ring is configured in the switch", show("erps ring", {"254"}).text);
    EXPECT_EQ(service_outcome::not_supported, show("erps ring", {"256"}).outcome);
}

TEST_F(SwitchService, ADeviceThatFailsOrIsSlowIsToldFromOneWithNothing) {
    EXPECT_EQ("none\n", show("erps").text); // what a failing request could be taken for
    sw.fault(k_sasi_ring_redundancy, k_sub_ring_record) = {k_sim_fault_fail, 0, 0};
    sw.fault(k_sasi_alarm, k_sub_alarm_status) = {k_sim_fault_fail, 0, 0};
    sw.fault(k_sasi_redundant_ring, k_sub_redundant_record) = {k_sim_fault_fail, 0, 0};
    const std::pair<const char *, const char *> silent[] = {
        {"erps", ""}, {"erps ring", "1"}, {"alarm-info", ""}, {"tarn-ring ring", "1"}};
    for (const auto &[words, argument] : silent) {
        const shown nothing = show(words, {argument});
        EXPECT_EQ(service_outcome::refused, nothing.outcome) << words;
        EXPECT_EQ("The switch does not answer", nothing.text) << words;
    }
    sw.fault(k_sasi_ring_redundancy, k_sub_ring_record) = {0, 0, 100};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ("The switch answers too slowly", show("erps").text);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_TRUE(services_find("erps")->is_here());
    sasiClose();
    EXPECT_FALSE(services_find("erps")->is_here());
}

} // namespace
