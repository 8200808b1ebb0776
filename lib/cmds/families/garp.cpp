// GVRP, by which switches tell each other their VLANs, and the timers of GARP below it.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"garp", "GARP: what GVRP is carried by, 802.1D."},
    {"timer", "Its timers, the same on all switches."},
    {"join-timer", "The longest wait before a port tells what it is a member of."},
    {"<10-1000>", "Hundredths of a second, 10 to 1000; 20 by default."},
    {"leave-timer", "How long a membership outlives the message that ends it."},
    {"<30-3000>", "Hundredths of a second, 30 to 3000; 60 by default."},
    {"leaveall-timer", "How often all memberships are asked for anew."},
    {"<100-30000>", "Hundredths of a second, 100 to 30000; 1000 by default."},
    {"gvrp", "GVRP: VLANs that neighbours tell each other, 802.1Q."},
    {"(enable|disable)", "On or off; off by default."},
    {"registration", "Which VLANs a port becomes a member of because a neighbour asks."},
    {"(normal|fixed|forbidden)",
     "normal: those asked for, the default; fixed: those it has; forbidden: VLAN 1 only."},
    {"restricted-vlan", "Asking only for VLANs that this switch has; others are not made."},
    {"applicant", "What the port tells its neighbour."},
    {"(normal|non-participant)", "Its VLANs, the default; or nothing."},
    {"statistics", "GVRP messages by kind, and registrations that failed."},
    {"configuration", "The settings of the switch and of its ports."},
    {"port", "These ports only."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "garp timer join-timer <10-1000>",
            "Tell memberships within this time; 0.2 s by default.")
        .at_first("20"),
    setting(k_config, "garp timer leave-timer <30-3000>",
            "End memberships after this time, at least three times the join timer; 0.6 s by default.")
        .at_first("60"),
    setting(k_config, "garp timer leaveall-timer <100-30000>",
            "Ask anew this often, longer than the leave timer; 10 s by default.")
        .at_first("1000"),
    setting(k_config, "gvrp (enable|disable)", "Run GVRP at the ports where it is on; off by default.")
        .at_first("disable"),
    setting(k_ports, "gvrp (enable|disable)", "Run GVRP at the port; off by default.").at_first("disable"),
    setting(k_ports, "gvrp registration (normal|fixed|forbidden)",
            "Say what a neighbour can make the port a member of; normal by default.")
        .at_first("normal"),
    setting(k_ports, "gvrp restricted-vlan (enable|disable)",
            "Make no VLANs because a neighbour at the port asks; off by default.")
        .at_first("disable"),
    setting(k_ports, "gvrp applicant (normal|non-participant)",
            "Tell the neighbour the port's VLANs, or nothing; normal by default.")
        .at_first("normal"),
    action(k_actions, "clear gvrp statistics", "Begin to count at all ports from 0."),
    action(k_actions, "clear gvrp statistics port PORTLISTS", "Begin to count at these ports from 0."),
    undo(k_config, "no garp timer join-timer", "Tell memberships within 0.2 s again."),
    undo(k_config, "no garp timer leave-timer", "End memberships after 0.6 s again."),
    undo(k_config, "no garp timer leaveall-timer", "Ask anew every 10 s again."),
    undo(k_ports, "no gvrp registration", "Make the port a member of what a neighbour asks for again."),
    show(k_shown, "show garp timer", "Show the timers."),
    show(k_shown, "show gvrp configuration", "Show the settings of the switch and of its ports."),
    show(k_shown, "show gvrp registration", "Show the VLANs that each port is a member of by GVRP."),
    show(k_shown, "show gvrp statistics", "Show the messages and failures counted at each port."),
};

} // namespace

CMDS_FAMILY(garp, "garp", {k_mask_config, 10, 4, 4});
