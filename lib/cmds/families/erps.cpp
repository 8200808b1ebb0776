// Ethernet ring protection, G.8032.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"erps", "Ethernet ring protection, G.8032."},
    {"erps enable", "All rings on; off by default."},
    {"ring", "A ring."},
    {"ring-id", "A ring."},
    {"<1-239>", "The ring's id, 1 to 239."},
    {"instance", "A set of VLANs that rings protect."},
    {"erps instance", "Sets of VLANs that rings protect."},
    {"<1-16>", "The set's number, 1 to 16."},
    {"vlan VLANLISTS", "The VLANs of the set, such as 1,10-19."},
    {"<0-16>", "The set's number, 1 to 16, or 0: all VLANs; 0 by default."},
    {"(forced-switch|manual-switch)", "Block a port whatever else fails, or as long as nothing fails."},
    {"(left-port|right-port)", "One of the two ports in the ring."},
    {"rpl (left-port|right-port)", "The port at the protection link."},
    {"clear", "End a switch by hand, or the waiting before going back."},
    {"control-vlan", "The VLAN of the messages between the switches of the ring."},
    {"VLANID", "A VLAN, 1 to 4094, that carries nothing else; none by default."},
    {"ring-type", "Whether it is a ring of its own."},
    {"(major-ring|sub-ring)", "Closed by itself, or by another ring; major-ring by default."},
    {"guard-timer", "How long old messages are ignored after a recovery."},
    {"<10-2000>", "Milliseconds, 10 to 2000 in steps of 10; 500 by default."},
    {"holdoff-timer", "How long a failure must last before it counts."},
    {"<0-10000>", "Milliseconds, 0 to 10000 in steps of 100; 0 by default."},
    {"wtr-timer", "How long the owner waits after a recovery, the wait to restore."},
    {"<1-12>", "Minutes, 1 to 12; 5 by default."},
    {"mel", "The maintenance level of the messages."},
    {"<0-7>", "A level, 0 to 7; 7 by default."},
    {"revertive", "Whether the protection link is blocked again after a recovery."},
    {"revertive (enable|disable)", "Go back after a recovery, or stay; back by default."},
    {"right-port", "One of the two ports in the ring."},
    {"left-port", "The other port in the ring; a sub-ring that ends here has one only."},
    {"PORT_ID", "A port, 1 to 12; none by default."},
    {"rpl", "The ring protection link, blocked while all links are up."},
    {"(owner|neighbor)", "The end that decides and blocks, or the other end; neither by default."},
};

constexpr cmds_where k_ring = cmds_in(k_mode_erps_ring);

constexpr cmds_form k_forms[] = {
    setting(k_config, "erps enable", "Switch all rings on."),
    setting(k_config, "erps instance <1-16> vlan VLANLISTS", "Put these VLANs, and no others, into the set.")
        .keyed(1),
    setting(k_ring, "control-vlan VLANID", "Set the VLAN of the ring's messages, the same in all switches."),
    setting(k_ring, "instance <0-16>", "Set which VLANs the ring protects.").at_first("0"),
    setting(k_ring, "ring-type (major-ring|sub-ring)", "Set whether the ring is closed by itself.")
        .at_first("major-ring"),
    setting(k_ring, "right-port PORT_ID", "Set the right port of the ring."),
    setting(k_ring, "left-port PORT_ID", "Set the left port of the ring."),
    setting(k_ring, "rpl (left-port|right-port) (owner|neighbor)",
            "Set that this port is at the protection link."),
    setting(k_ring, "revertive (enable|disable)", "Go back after a recovery, or stay; the owner decides.")
        .at_first("enable"),
    setting(k_ring, "wtr-timer <1-12>", "Wait this long after a recovery before going back.").at_first("5"),
    setting(k_ring, "guard-timer <10-2000>", "Ignore old messages for this long.").at_first("500"),
    setting(k_ring, "holdoff-timer <0-10000>", "Wait this long before a failure is acted upon.")
        .at_first("0"),
    setting(k_ring, "mel <0-7>", "Set the maintenance level, the same in all switches.").at_first("7"),
    action(k_actions, "erps ring-id <1-239> (forced-switch|manual-switch) (left-port|right-port)",
           "Block this port of the ring, and open the protection link."),
    action(k_actions, "erps ring-id <1-239> clear",
           "End a switch by hand, or go back now instead of waiting."),
    undo(k_config, "no erps enable", "Switch all rings off."),
    undo(k_config, "no erps instance <1-16>", "Empty this set of VLANs."),
    undo(k_ring, "no right-port", "Take the right port out of the ring."),
    undo(k_ring, "no left-port", "Take the left port out of the ring."),
    undo(k_ring, "no rpl", "Set that no port of this switch is at the protection link."),
    show(k_shown, "show erps", "Show all rings, a line each."),
    show(k_shown, "show erps ring <1-239>", "Show a ring: its state, settings, ports and messages."),
    show(k_shown, "show erps instance", "Show the sets of VLANs, and which rings protect them."),
};

} // namespace

CMDS_FAMILY(erps, "erps", {k_mask_config, 15, 5, 3});
