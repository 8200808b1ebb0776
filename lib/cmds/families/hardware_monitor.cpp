// What the switch measures of itself, and when that is an alarm.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"hardware-monitor", "Temperatures and voltages of the switch."},
    {"alarm", "When a value is an alarm."},
    {"alarm (enable|disable)", "Alarms of the hardware on or off; on by default."},
    {"high-temperature", "When it is too hot."},
    {"<40-100>", "Degrees Celsius, 40 to 100; 85 by default."},
    {"low-temperature", "When it is too cold."},
    {"(-40|-35|-30|-25|-20|-15|-10|-5|0|5|10)", "Degrees Celsius, -40 to 10 in steps of 5; -40 by default."},
    {"voltage", "When a voltage is wrong."},
    {"<5-20>", "Percent off its nominal value, 5 to 20; 10 by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "hardware-monitor alarm (enable|disable)", "Report what is beyond the limits.")
        .at_first("enable"),
    setting(k_config, "hardware-monitor alarm high-temperature <40-100>", "Set above what it is too hot.")
        .at_first("85"),
    setting(k_config, "hardware-monitor alarm low-temperature (-40|-35|-30|-25|-20|-15|-10|-5|0|5|10)",
            "Set below what it is too cold.")
        .at_first("-40"),
    setting(k_config, "hardware-monitor alarm voltage <5-20>", "Set how far off a voltage may be.")
        .at_first("10"),
    show(k_shown, "show hardware-monitor",
         "Show temperatures and voltages, and which are beyond their limits."),
};

} // namespace

CMDS_FAMILY(hardware_monitor, "hardware-monitor", {k_mask_config, 4, 0, 1});
