// Power over Ethernet, 802.3af and 802.3at.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"poe", "Power over Ethernet: devices that are fed by their port."},
    {"poe (enable|disable)", "Feed devices at this port, or not; enable by default."},
    {"total-power", "What all ports may take together."},
    {"<15-480>", "Watts, 15 to 480; 240 by default. No more than the power supply gives."},
    {"priority", "Which ports keep their power when there is not enough for all."},
    {"(critical|high|low)", "critical loses it last, low first; low by default."},
    {"power-limit", "What this port may take."},
    {"<1-30>", "Watts, 1 to 30; 30 by default."},
    {"power-delay", "How long this port waits for power after the start of the switch."},
    {"<0-300>", "Seconds, 0 to 300; 0 by default."},
    {"schedule", "Hours of the week in which a port has power."},
    {"schedule (enable|disable)", "Power by the hours of the schedule, or always; always by default."},
    {"day", "A day of the week."},
    {"(mon|tue|wed|thu|fri|sat|sun)", "Monday to Sunday; a day without hours has no power."},
    {"from", "When the power comes."},
    {"<0-23>", "The hour, 0 to 23."},
    {"to", "When the power goes."},
    {"<1-24>", "The hour, 1 to 24, later than the first; 24 is the end of the day."},
    {"restart", "Take the power away for a moment."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "poe total-power <15-480>", "Set what all ports may take together.").at_first("240"),
    setting(k_ports, "poe (enable|disable)", "Feed devices at this port, or not.").at_first("enable"),
    setting(k_ports, "poe priority (critical|high|low)", "Set how long this port keeps its power in need.")
        .at_first("low"),
    setting(k_ports, "poe power-limit <1-30>", "Cut the power when this port takes more.").at_first("30"),
    setting(k_ports, "poe power-delay <0-300>", "Wait this long after the start before giving power.")
        .at_first("0"),
    setting(k_ports, "poe schedule (enable|disable)", "Give power by the schedule, or always.")
        .at_first("disable"),
    setting(k_ports, "poe schedule day (mon|tue|wed|thu|fri|sat|sun) from <0-23> to <1-24>",
            "Set the hours in which this port has power on this day.")
        .keyed(1),
    action(k_actions, "poe restart PORTLISTS",
           "Restart the devices at these ports: power off, and on again."),
    undo(k_config, "no poe total-power", "Let all ports together take 240 watts again."),
    undo(k_ports, "no poe power-limit", "Let this port take 30 watts again."),
    undo(k_ports, "no poe power-delay", "Give power at once again."),
    undo(k_ports, "no poe schedule day (mon|tue|wed|thu|fri|sat|sun)", "Take the hours of this day away."),
    show(k_shown, "show poe", "Show what all ports may take and what they do, by port."),
    show(k_shown, "show poe schedule", "Show the hours in which ports have power."),
};

} // namespace

CMDS_FAMILY(poe, "poe", {k_mask_config, 8, 4, 2});
