#pragma once

#include "lib/linux_switch/linux_facts.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What of a Linux machine raises the switch's alarms. A file of "KEY VALUE" lines; "#" begins a comment where
// a word could begin.

/// Limits in thousandths of a volt or of a degree Celsius; one that is not given is the sensor's own.
struct linux_limits {
    std::optional<int64_t> low;
    std::optional<int64_t> high;
};

/// A sensor that hwmon shows: "in1" or "temp1" of a chip.
struct linux_sensor {
    std::string chip;    // its name
    std::string device;  // the device it belongs to, for chips that share a name; empty: any
    std::string feature; // "in1"
    linux_limits limits;
    uint32_t low_bits; // of the alarm word, below the lower limit
    uint32_t high_bits;
    uint32_t lost_bits; // when it cannot be read, or has no limit
};

/// A power supply that tells whether there is power.
struct linux_supply {
    std::string name;
    uint32_t bits; // of the alarm word, when there is none, or it does not tell
};

struct linux_config {
    bool watch_all = false;          // ports, for links that are down
    std::vector<linux_name> watched; // or only these
    std::vector<linux_supply> supplies;
    std::vector<linux_sensor> sensors;
};

/// Whether nothing can raise an alarm.
[[nodiscard]] bool linux_config_is_empty(const linux_config &config);

/// Makes a name of an interface of a text. Returns false for what no interface can be called.
[[nodiscard]] bool linux_name_of(std::string_view text, linux_name *name);

/// Reads a configuration. On failure returns false and says in `error` what is wrong, with `file` and the
/// line's number.
[[nodiscard]] bool linux_config_parse(std::string_view text, const std::string &file, linux_config &config,
                                      std::string &error);
