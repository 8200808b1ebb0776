#include "sim/device.h"
#include "sim/scenario.h"
#include "sim/settings.h"
#include "sim/show.h"
#include "tests/support/sim_switch.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>

namespace {

/// Sets one thing; the error, or "" when it went well.
std::string set(sim_state &state, std::string_view name, std::string_view value) {
    std::vector<sim_change> changes;
    std::string error;
    if (!sim_change_parse(name, value, changes, error)) {
        return error;
    }
    for (const sim_change &change : changes) {
        sim_change_apply(state, change);
    }
    return "";
}

/// The first and the last element of every setting that can be set.
std::vector<sim_target> edge_targets() {
    std::vector<sim_target> targets;
    for (const sim_setting &setting : sim_settings()) {
        const uint32_t lasts[] = {sim_index_count(setting.index[0]) - 1,
                                  sim_index_count(setting.index[1]) - 1};
        for (uint32_t first = 0; !setting.read_only && first <= lasts[0]; first += std::max(1U, lasts[0])) {
            for (uint32_t second = 0; second <= lasts[1]; second += std::max(1U, lasts[1])) {
                targets.push_back({&setting, {first, second}});
            }
        }
    }
    return targets;
}

/// Sets the first of these that the setting takes; they differ with `number` where it has enough values.
bool set_something(sim_state &state, const sim_target &target, size_t number) {
    const std::string n = std::to_string(100 + number % 100);
    const auto &names = target.setting->names;
    const std::string values[] = {"00:00:00:00:01:" + n.substr(1),
                                  "10.0.0." + n,
                                  "fe80::" + n,
                                  "0,0," + n,
                                  "fail,code=-" + n + ",late=" + n,
                                  n,
                                  names.size() < 2 ? "1" : names[1].name};
    return std::any_of(std::begin(values), std::end(values), [&](const std::string &value) {
        return set(state, sim_target_name(target), value).empty();
    });
}

std::unique_ptr<sim_state> new_state() {
    auto state = std::make_unique<sim_state>();
    sim_state_reset(*state);
    return state;
}

TEST(Settings, EveryTargetTakesBackWhatItPrintsAndTouchesNoOther) {
    const auto from = new_state();
    const auto to = new_state();
    const std::vector<sim_target> targets = edge_targets();
    std::vector<std::string> printed;
    for (const sim_target &target : targets) {
        EXPECT_TRUE(set_something(*from, target, printed.size())) << target.setting->name;
        printed.push_back(sim_target_value(*from, target));
    }
    for (size_t i = 0; i < targets.size(); i++) {
        const std::string name = sim_target_name(targets[i]);
        const sim_kind kind = targets[i].setting->kind;
        const std::string now = sim_target_value(*from, targets[i]);
        // The alarm bits are parts of the alarm word, and counters run.
        if (kind != sim_kind::bits && kind != sim_kind::counter) {
            EXPECT_EQ(printed[i], now) << name << " was changed by another setting";
        }
        EXPECT_EQ("", set(*to, name, now));
        EXPECT_EQ(now, sim_target_value(*to, targets[i])) << name;
    }
}

TEST(Settings, ValuesAtTheirLimits) {
    const auto state = new_state();
    const struct {
        const char *name, *value;
        const char *becomes; // null: refused
    } k_cases[] = {
        {"port.12.media", "4294967295", "4294967295"},
        {"port.12.media", "4294967296", nullptr},
        {"port.1.media", "0x2", "fibre"},
        {"port.1.media", "-1", nullptr},
        {"port.1.link", "2", nullptr},
        {"ring.255.byte137", "256", nullptr},
        {"ring.1.name", "123456789012345678901234567890123", "123456789012345678901234567890123"},
        {"ring.1.name", "1234567890123456789012345678901234", nullptr},
        {"identity.header-a", "1,2,3,4,5,6,7,8,9,10,11,0xffff",
         "0x0001,0x0002,0x0003,0x0004,0x0005,0x0006,0x0007,0x0008,0x0009,0x000a,0x000b,0xffff"},
        {"identity.header-a", "1,2,3,4,5,6,7,8,9,10,11,12,13", nullptr},
        {"identity.header-a", "1,,2", nullptr},
        {"identity.header-a", "text:AbC", "0x4162,0x4300"},
        {"identity.header-a", "text:1234567890123456789012345", nullptr},
        {"identity.mac", "02:1B:fe:80:7f:06", "02:1b:fe:80:7f:06"},
        {"identity.mac", "02:1b:fe:80:7f", nullptr},
        {"ip.address", "192.168.1", nullptr},
        {"time.server.ipv6", "2001:DB8::0", "2001:db8::"},
        {"time.status", "2147483648", nullptr},
        {"rtc.year", "2024", nullptr},
        {"power.main", "ok", "good"},
        {"fault.mtd1", "4097", nullptr},
        {"fault.24284/0", "late=600000", "late=600000"},
        {"fault.24284/0", "late=600001", nullptr},
        {"fault.24284/0", "ok,fail", nullptr},
        {"requests.24284/0", "1", nullptr},
    };
    for (const auto &[name, value, becomes] : k_cases) {
        std::vector<sim_change> changes;
        std::string error;
        if (!sim_change_parse(name, value, changes, error)) {
            EXPECT_EQ(nullptr, becomes) << name << " " << value << ": " << error;
            continue;
        }
        sim_change_apply(*state, changes.at(0));
        EXPECT_STREQ(becomes, sim_target_value(*state, changes[0].target).c_str()) << name << " " << value;
    }
}

TEST(Settings, WrongNamesAreToldWhatThereIs) {
    const auto state = new_state();
    EXPECT_THAT(set(*state, "port.13.link", "up"), testing::HasSubstr("1..12"));
    EXPECT_THAT(set(*state, "port.1.counter.5", "1"), testing::HasSubstr("second # is one of 3, 4, 6, 9"));
    EXPECT_THAT(set(*state, "port.1.lnk", "up"), testing::HasSubstr("port.#.link, port.#.alarm"));
    EXPECT_THAT(set(*state, "prt", "up"), testing::HasSubstr("names begin with modbus, identity"));
    for (const char *name : {"", ".", "port", "port.1", "port.1.link.", "port..link", "port.#.link", "*"}) {
        EXPECT_NE("", set(*state, name, "up")) << name;
    }
}

// ---- counters

TEST(Counters, RunByRateStandWithoutLinkAndWrap) {
    const auto state = new_state();
    sim_port &port = state->ports[0];
    sim_counter &counter = port.counters[2];
    const auto value_after = [&](uint64_t seconds) {
        return sim_counter_value(*state, counter, sim_now_ns() + seconds * 1'000'000'000);
    };
    sim_counter_set(*state, port, counter, 0xFFFFFFFF);
    EXPECT_EQ(0xFFFFFFFF, value_after(1'000'000));
    sim_counter_set_rate(*state, port, counter, 1);
    EXPECT_EQ(1'000'000U - 1, value_after(1'000'000));
    sim_counter_set_rate(*state, port, counter, 4'000'000'000);
    EXPECT_NEAR(static_cast<double>(4'000'000'000U * 7 - 1), value_after(7), 4e9 / 2);
    sim_port_set_link(*state, port, false);
    const uint32_t stands_at = value_after(0);
    EXPECT_EQ(stands_at, value_after(100));
    sim_counter_set_rate(*state, port, counter, 10);
    EXPECT_EQ(stands_at, value_after(100));
    sim_port_set_link(*state, port, true);
    EXPECT_NEAR(stands_at + 1000, value_after(100), 20);
}

// ---- scenarios

/// The error of a scenario, or "".
std::string scenario_error(std::string_view text) {
    std::vector<sim_step> steps;
    std::string error;
    return sim_scenario_parse(text, "file", steps, error) ? "" : error;
}

TEST(Scenario, ErrorsNameFileAndLine) {
    EXPECT_EQ("", scenario_error(
                      "# all\n\n  port.1.link\tdown # tells\r\nafter 0.5\nevery 0.01\nafter 1 every 2\n"));
    EXPECT_THAT(scenario_error("port.1.link down\nport.1.link sideways\n"),
                testing::StartsWith("file:2: port.1.link"));
    for (const char *line :
         {"after", "after -1", "after 1s", "after inf", "after nan", "every 0", "every 0.009",
          "after 1 after 2", "every 1 every 2", "after 1 every", "port.1.link", "identity.serial"}) {
        EXPECT_THAT(scenario_error(std::string("\n") + line), testing::StartsWith("file:2: ")) << line;
    }
}

TEST(Scenario, StepsAreMadeInTheirTimeAndAgain) {
    std::vector<sim_step> steps;
    std::string error;
    ASSERT_TRUE(sim_scenario_parse(
        "port.2.media 9\nafter 3 every 2\nport.1.media 5\nafter 4\nport.1.media 6\n", "file", steps, error));
    const auto state = new_state();
    constexpr uint64_t k_second = 1'000'000'000;
    const struct {
        uint64_t at;
        uint32_t media;
        uint64_t next;
    } k_cases[] = {{0, 0, 3}, {2, 0, 3}, {3, 5, 4}, {4, 6, 5}, {5, 5, 7}, {12, 5, 13}};
    for (const auto &[at, media, next] : k_cases) {
        EXPECT_EQ(next * k_second, sim_scenario_apply(*state, steps, at * k_second)) << at;
        EXPECT_EQ(media, state->ports[0].media) << at;
        EXPECT_EQ(9U, state->ports[1].media);
    }
}

TEST(Scenario, WhatIsShownIsReadBack) {
    for (const char *serial : {"AB #1", " A ", "#1", "\"A\" #", "A\"B", "AB#", "\"\""}) {
        const auto state = new_state();
        ASSERT_EQ("", set(*state, "identity.serial", serial));
        testing::internal::CaptureStdout();
        sim_show(*state, "identity.serial", true, false);
        std::vector<sim_step> steps;
        std::string text = testing::internal::GetCapturedStdout() + "port.1.media 5 # after it\n";
        ASSERT_TRUE(sim_scenario_parse(text, "file", steps, text)) << text;
        const auto read_back = new_state();
        sim_scenario_apply(*read_back, steps, 0);
        EXPECT_STREQ(reinterpret_cast<const char *>(state->identity.serial),
                     reinterpret_cast<const char *>(read_back->identity.serial));
        EXPECT_EQ(5U, read_back->ports[0].media);
    }
}

TEST(Scenario, SuppliedOnesAreRight) {
    EXPECT_EQ("", scenario_error(k_sim_healthy));
    for (const char *name : {"ring-break", "power-loss", "link-flap"}) {
        std::ifstream file(std::string(TEST_SCENARIOS) + "/" + name + ".txt");
        std::ostringstream text;
        text << file.rdbuf();
        EXPECT_NE("", text.str());
        EXPECT_EQ("", scenario_error(text.str())) << name;
    }
}

} // namespace
