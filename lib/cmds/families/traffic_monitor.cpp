// The traffic monitor: a port that takes too much is quarantined for a time.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"traffic-monitor", "Quarantine for ports that take too much."},
    {"traffic-monitor (enable|disable)", "The monitor on or off, at all ports; off by default."},
    {"type", "What is counted."},
    {"(broadcast|broadcast-multicast|all)", "Which frames that arrive are counted; all by default."},
    {"rate", "What is too much."},
    {"<1-1000000>", "Frames per second, 1 to 1000000; no limit by default."},
    {"quarantine", "What is done to ports that take too much."},
    {"(block|shutdown)", "Its frames are dropped, or its link goes down; block by default."},
    {"recovery", "How long a quarantine lasts."},
    {"<0-86400>", "Seconds, 0 to 86400, 0: until it is ended by hand; 300 by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "traffic-monitor (enable|disable)", "Watch the ports that have a rate, or none.")
        .at_first("disable"),
    setting(k_ports, "traffic-monitor type (broadcast|broadcast-multicast|all)", "Set what is counted.")
        .at_first("all"),
    setting(k_ports, "traffic-monitor rate <1-1000000>", "Quarantine this port when more arrives than this."),
    setting(k_ports, "traffic-monitor quarantine (block|shutdown)", "Set how it is quarantined.")
        .at_first("block"),
    setting(k_ports, "traffic-monitor recovery <0-86400>", "End a quarantine of this port after this time.")
        .at_first("300"),
    action(k_actions, "clear traffic-monitor quarantine PORTLISTS", "End the quarantine of these ports now."),
    undo(k_ports, "no traffic-monitor rate", "Do not watch this port."),
    show(k_shown, "show traffic-monitor", "Show the ports' rates, and which ports are in quarantine."),
};

} // namespace

CMDS_FAMILY(traffic_monitor, "traffic-monitor", {k_mask_config, 6, 1, 1});
