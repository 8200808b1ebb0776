#include "lib/linux_switch/linux_sensors.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

namespace fs = std::filesystem;

linux_config parsed(std::string_view text) {
    linux_config config;
    std::string error;
    EXPECT_TRUE(linux_config_parse(text, "file", config, error)) << error;
    return config;
}

std::string refusal(std::string_view text) {
    linux_config config;
    std::string error;
    EXPECT_FALSE(linux_config_parse(text, "file", config, error)) << text;
    return error;
}

TEST(LinuxConfig, LinesAreTakenWithBlanksAndComments) {
    const linux_config config = parsed("# alarms\r\n\n  alarm.link-down\teth1  lan#2 # both\n"
                                       "power.main.online AC\n"
                                       "input.5v0 ina@3-0040 in1 4.75 5.25\ntemperature.cpu cpu temp1");
    EXPECT_FALSE(config.watch_all);
    ASSERT_EQ(2U, config.watched.size());
    EXPECT_STREQ("lan#2", config.watched[1].data());
    ASSERT_EQ(1U, config.supplies.size());
    EXPECT_EQ(uint32_t{1} << 21, config.supplies[0].bits);
    ASSERT_EQ(2U, config.sensors.size());
    EXPECT_EQ("ina", config.sensors[0].chip);
    EXPECT_EQ("3-0040", config.sensors[0].device);
    EXPECT_EQ(4750, config.sensors[0].limits.low);
    EXPECT_EQ(5250, config.sensors[0].limits.high);
    EXPECT_FALSE(config.sensors[1].limits.high.has_value());
    EXPECT_TRUE(parsed("alarm.link-down *").watch_all);
    EXPECT_TRUE(linux_config_is_empty(parsed("# nothing\n")));
}

TEST(LinuxConfig, WhatIsWrongIsSaidWithItsLine) {
    const std::map<std::string, const char *> cases = {
        {"\nalarm", "file:2: 'alarm' is no key"},
        {"battery", "file:1: battery lacks its value"},
        {"battery # in1", "file:1: battery lacks its value"},
        {"battery a in1 1 2\nbattery a in1 1 2", "file:2: battery is given twice"},
        {"alarm.link-down sixteen-letters!", "'sixteen-letters!' is no name"},
        {"alarm.link-down a/b", "'a/b' is no name"},
        {"alarm.link-down * eth1 a:b", "'a:b' is no name"},
        {"power.main.online ..", "takes the name of a power supply"},
        {"power.main.online a/b", "takes the name of a power supply"},
        {"power.main.online AC on", "takes the name of a power supply"},
        {"power.main.voltage a in", "takes CHIP inN [LOW HIGH]"},
        {"power.main.voltage a temp1", "takes CHIP inN [LOW HIGH]"},
        {"power.main.voltage a in1 5", "takes CHIP inN [LOW HIGH]"},
        {"temperature.cpu a temp1 5 6", "takes CHIP tempN [HIGH]"},
        {"temperature.cpu a temp1/../x", "takes CHIP tempN [HIGH]"},
        {"temperature.cpu a temp-1", "takes CHIP tempN [HIGH]"},
        {"temperature.cpu a@ temp1", "'a@' is no chip"},
        {"temperature.cpu @b temp1", "'@b' is no chip"},
        {"temperature.cpu a@../b temp1", "'a@../b' is no chip"},
        {"temperature.cpu a temp1 85C", "a limit is a number of degrees"},
        {"input.1v0 a in1 1.1 0.9", "the lower one first"},
        {"input.1v0 a in1 1 1", "the lower one first"},
        {"input.1v0 a in1 nan 1", "the lower one first"},
        {"input.1v0 a in1 0 1e3", "the lower one first"},
    };
    for (const auto &[text, error] : cases) {
        EXPECT_THAT(refusal(text), HasSubstr(error)) << text;
    }
}

/// A folder of sensors that is made of files and gone at the end.
class Sensors : public testing::Test {
protected:
    void SetUp() override {
        std::string name = "/tmp/sensors-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(name.data()));
        m_root = name;
        put("hwmon/hwmon0/name", "ina");
        put("hwmon/hwmon1/name", "ina");
        put("hwmon/hwmon2/name", "board");
        fs::create_directory_symlink("../../../devices/i2c-3/3-0040", m_root + "/hwmon/hwmon0/device");
        fs::create_directory_symlink("../../../devices/i2c-3/3-0041", m_root + "/hwmon/hwmon1/device");
    }
    void TearDown() override { fs::remove_all(m_root); }

    void put(const std::string &file, const std::string &text) const {
        fs::create_directories(fs::path(m_root + "/" + file).parent_path());
        std::ofstream(m_root + "/" + file) << text << "\n";
    }

    /// The numbers of the alarm word's bits that are raised.
    [[nodiscard]] std::vector<uint32_t> raised(const std::string &config) const {
        std::vector<uint32_t> bits;
        const uint32_t word = linux_read_sensors(parsed(config), m_root);
        for (uint32_t bit = 0; bit < 32; bit++) {
            if ((word >> bit & 1U) != 0) {
                bits.push_back(bit);
            }
        }
        return bits;
    }

    std::string m_root;
};

TEST_F(Sensors, PowerIsThereWhenItsSupplySaysSo) {
    const std::string both = "power.main.online AC\npower.redundant.online DC";
    put("power_supply/AC/online", "1");
    EXPECT_THAT(raised(both), ElementsAre(24)) << "one that is not there has no input";
    put("power_supply/DC/online", "2");
    EXPECT_THAT(raised(both), ElementsAre());
    put("power_supply/AC/online", "0");
    put("power_supply/DC/online", "yes");
    EXPECT_THAT(raised(both), ElementsAre(21, 24));
}

TEST_F(Sensors, LimitsAreTheLastValuesThatAreGood) {
    const std::string given = "power.main.voltage ina@3-0041 in1 10 14\ninput.1v8 board in2 1.7 1.9";
    put("hwmon/hwmon0/in1_input", "99000");
    put("hwmon/hwmon2/in2_input", "1800");
    for (const auto &[value, bits] : std::map<std::string, std::vector<uint32_t>>{
             {"9999", {20}}, {"10000", {}}, {"14000", {}}, {"14001", {19}}, {"", {21}}, {"12V", {21}}}) {
        put("hwmon/hwmon1/in1_input", value);
        EXPECT_EQ(bits, raised(given)) << value;
    }
    put("hwmon/hwmon1/in1_input", "12000");
    put("hwmon/hwmon2/in2_input", "1699");
    EXPECT_THAT(raised(given), ElementsAre(4));
    fs::remove_all(m_root + "/hwmon/hwmon1");
    EXPECT_THAT(raised(given), ElementsAre(4, 21)) << "the other chip of the name is not taken";
}

TEST_F(Sensors, WithoutGivenLimitsTheChipsOwnCount) {
    const std::string own = "temperature.board board temp1\nbattery board in1";
    put("hwmon/hwmon2/temp1_input", "70000");
    put("hwmon/hwmon2/in1_input", "11000");
    EXPECT_THAT(raised(own), ElementsAre(0, 6)) << "no limits at all: nobody can say that it is well";
    put("hwmon/hwmon2/temp1_crit", "69999");
    put("hwmon/hwmon2/in1_min", "11001");
    EXPECT_THAT(raised(own), ElementsAre(0, 6));
    put("hwmon/hwmon2/temp1_max", "70000");
    put("hwmon/hwmon2/in1_min", "-5");
    EXPECT_THAT(raised(own), ElementsAre());
    EXPECT_EQ(uint32_t{1} | uint32_t{1} << 6, linux_lost_bits(parsed(own)));
}

} // namespace
