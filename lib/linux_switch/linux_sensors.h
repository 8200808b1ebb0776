#pragma once

#include "lib/linux_switch/linux_config.h"

/// Reads what a configuration names and returns the bits of the alarm word that this raises. `sysfs` is the
/// folder that "power_supply" and "hwmon" lie in. May take as long as sensors take.
[[nodiscard]] uint32_t linux_read_sensors(const linux_config &config, const std::string &sysfs);

/// The bits that it raises when nothing can be read.
[[nodiscard]] uint32_t linux_lost_bits(const linux_config &config);
