// Several links to one neighbour used as one, by LACP or without.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"lacp", "How two neighbours agree on aggregated links, LACP, 802.1AX."},
    {"system-priority", "The switch with the lower value chooses the links that are used."},
    {"port-priority", "Ports with lower values are used before others."},
    {"<1-65535>", "1, first, to 65535, last; 32768 by default."},
    {"sys-id", "The address by which the switch names itself to neighbours."},
    {"MACADDR", "A MAC address, such as 00:11:22:33:44:55; the switch's own by default."},
    {"timeout", "How soon a silent neighbour is given up."},
    {"(short|long)", "short: after 3 seconds; long: after 90, the default."},
    {"counters", "LACP frames of each port."},
    {"internal", "The switch's own side of LACP."},
    {"neighbor", "The other side of LACP."},
    {"link-aggregation", "Several links to one neighbour used as one, 802.1AX."},
    {"group", "Aggregated links."},
    {"GROUP_ID", "The group's number, 1 to 6."},
    {"mode", "How the neighbour agrees."},
    {"(active|passive|static)",
     "active: by LACP, and the switch begins; passive: by LACP, the neighbour begins; static: not asked."},
    {"minimum-links", "The group is down while it has fewer links."},
    {"GROUP_ID <1-8>", "Links, 1 to 8."},
    {"maximum-links", "Links used at a time; further ones stand by."},
    {"wait-to-restore", "A link that comes back is not used before that."},
    {"<0-3600>", "Seconds, 0 to 3600; 0 by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "lacp system-priority <1-65535>", "Set the switch's priority; 32768 by default.")
        .at_first("32768"),
    setting(k_config, "lacp sys-id MACADDR", "Name the switch by this address to its neighbours."),
    setting(k_ports, "lacp port-priority <1-65535>", "Set the port's priority; 32768 by default.")
        .at_first("32768"),
    setting(k_ports, "lacp timeout (short|long)", "Give a silent neighbour up after 3 or 90 seconds.")
        .at_first("long"),
    setting(k_ports, "link-aggregation group GROUP_ID mode (active|passive|static)",
            "Use the port as one of the group's; none by default."),
    setting(k_ports, "link-aggregation wait-to-restore <0-3600>",
            "Use a link that came back after so many seconds; 0 by default.")
        .at_first("0"),
    setting(k_config, "link-aggregation minimum-links GROUP_ID <1-8>",
            "Use the group only with at least so many links; 1 by default.")
        .keyed(1)
        .at_first("1"),
    setting(k_config, "link-aggregation maximum-links GROUP_ID <1-8>",
            "Use at most so many links of the group; 8 by default.")
        .keyed(1)
        .at_first("8"),
    action(k_actions, "clear lacp counters", "Begin to count LACP frames from 0."),
    undo(k_config, "no lacp system-priority", "Set the switch's priority to 32768 again."),
    undo(k_config, "no lacp sys-id", "Name the switch by its own address again."),
    undo(k_ports, "no lacp port-priority", "Set the port's priority to 32768 again."),
    undo(k_ports, "no link-aggregation group", "Take the port out of its group."),
    undo(k_config, "no link-aggregation minimum-links GROUP_ID", "Use the group with one link again."),
    show(k_shown, "show lacp internal", "Show the switch's id, and each port's priority and state."),
    show(k_shown, "show lacp neighbor", "Show the neighbour of each port: its id, priority and state."),
    show(k_shown, "show lacp counters", "Show the LACP frames of each port."),
    show(k_shown, "show link-aggregation", "Show the groups with their links, used or standing by."),
};

} // namespace

CMDS_FAMILY(link_aggregation, "link-aggregation", {k_mask_config, 9, 5, 4});
