// The watch over powered devices: one that answers no ping any more is restarted by its power.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"pd-alive", "The watch over powered devices."},
    {"pd-alive (enable|disable)", "The watch at all ports on or off; off by default."},
    {"action", "What is done when the device does not answer."},
    {"(restart|power-off|none)",
     "Power off and on, power off for good, or nothing but a log; restart by default."},
    {"interval", "Time between two pings."},
    {"<10-300>", "Seconds, 10 to 300; 30 by default."},
    {"ip", "The device at this port."},
    {"ip IPADDR", "Its IPv4 address, such as 192.168.1.20; none by default."},
    {"power-off-time", "How long a restart leaves the device without power."},
    {"<3-120>", "Seconds, 3 to 120; 15 by default."},
    {"retry-times", "How many pings may be lost one after the other."},
    {"<1-10>", "Pings, 1 to 10; 3 by default."},
    {"startup-time", "How long the device takes to start."},
    {"<30-600>", "Seconds, 30 to 600; 90 by default. Until then it is not pinged."},
};

constexpr cmds_where k_watch = cmds_in(k_mode_pd_alive);

constexpr cmds_form k_forms[] = {
    setting(k_config, "pd-alive (enable|disable)", "Watch over the devices at the ports, or not.")
        .at_first("disable"),
    setting(k_watch, "ip IPADDR", "Ping the device at this address."),
    setting(k_watch, "interval <10-300>", "Ping so often.").at_first("30"),
    setting(k_watch, "retry-times <1-10>", "Act when so many pings are lost.").at_first("3"),
    setting(k_watch, "action (restart|power-off|none)", "Set what is done then.").at_first("restart"),
    setting(k_watch, "power-off-time <3-120>", "Leave the device without power for this long.")
        .at_first("15"),
    setting(k_watch, "startup-time <30-600>", "Wait this long for the device after power is on.")
        .at_first("90"),
    undo(k_watch, "no ip", "Ping nothing at this port."),
    show(k_shown, "show pd-alive",
         "Show the devices, whether they answer, and how often they were restarted."),
};

} // namespace

CMDS_FAMILY(pd_alive, "pd-alive", {k_mask_config, 7, 1, 1});
