// VLANs: their ports, and what ports do with the frames of VLANs.

#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_vlans.h"

namespace {

constexpr cmds_word k_words[] = {
    {"name", "The VLAN's name."},
    {"STRINGS", "A name, up to 32 characters without a blank."},
    {"state", "Whether the VLAN's frames are forwarded."},
    {"(active|suspended)", "active: forwarded, the default; suspended: dropped at all ports."},
    {"unknown-unicast", "Frames to addresses that have not been learned."},
    {"(flood|drop)", "flood: to all ports of the VLAN, the default; drop: to none."},
    {"add", "Ports of the VLAN."},
    {"fixed", "A port that is a member at all times, not only while it registers."},
    {"tagged", "Its frames leave the port with a tag."},
    {"untagged", "Its frames leave the port without a tag."},
    {"pvid", "The VLAN of frames that arrive without a tag."},
    {"<1-4094>", "A VLAN's id."},
    {"pvid <1-4094>", "A VLAN's id; 1 by default."},
    {"forbidden", "VLANs that the port never becomes a member of."},
    {"vlan-list", "A list of VLANs."},
    {"acceptable-frames", "Which frames the port takes."},
    {"(all|tagged|untagged)", "all by default; tagged: those with a VLAN's tag; untagged: those without."},
    {"ingress-filter", "The check whether the port is a member of an arriving frame's VLAN."},
    {"learning", "How addresses are learned in several VLANs."},
    {"(independent|shared)",
     "independent: a table for each VLAN, the default; shared: one table for all of them."},
    {"clear vlan", "VLANs, 802.1Q."},
    {"counters", "Frames and octets of each VLAN."},
    {"range", "Several VLANs."},
    {"ports", "The ports and their settings for VLANs."},
};

constexpr cmds_form k_forms[] = {
    setting(k_vlans, "name STRINGS", "Give the VLAN a name; none by default.").up_to(32),
    setting(k_vlans, "state (active|suspended)", "Forward the VLAN's frames, or drop them.")
        .at_first("active"),
    setting(k_vlans, "unknown-unicast (flood|drop)", "Flood frames to addresses not learned, or drop them.")
        .at_first("flood"),
    setting(k_vlans, "add fixed PORT_ID tagged", "Make the port a member whose frames have a tag.").keyed(1),
    setting(k_vlans, "add fixed PORT_ID untagged", "Make the port a member whose frames have no tag.")
        .keyed(1),
    setting(k_ports, "vlan pvid <1-4094>", "Put untagged frames into this VLAN; 1 by default.").at_first("1"),
    setting(k_ports, "vlan forbidden vlan-list VLANLISTS",
            "Never make the port a member of these VLANs, though it registers; none by default."),
    setting(k_ports, "vlan acceptable-frames (all|tagged|untagged)", "Drop frames of another sort.")
        .at_first("all"),
    setting(k_ports, "vlan ingress-filter",
            "Drop frames of VLANs that the port is no member of; on by default.")
        .on_at_first(),
    setting(k_config, "vlan learning (independent|shared)", "Learn addresses for each VLAN, or for all.")
        .at_first("independent"),
    action(k_actions, "clear vlan counters", "Begin to count the frames of all VLANs from 0."),
    undo(k_vlans, "no name", "Take the VLAN's name away."),
    undo(k_vlans, "no add fixed PORT_ID", "Make the port no fixed member any more."),
    undo(k_ports, "no vlan pvid", "Put untagged frames into VLAN 1 again."),
    undo(k_ports, "no vlan forbidden vlan-list", "Let the port register for any VLAN again."),
    undo(k_ports, "no vlan ingress-filter", "Take frames of VLANs that the port is no member of."),
    show(k_shown, "show vlan", "Show the configured VLANs with their names and ports.").by(cmds_show_vlans),
    show(k_shown, "show vlan <1-4094>", "Show how one VLAN is configured.").by(cmds_show_vlan),
    show(k_shown, "show vlan range VLANLISTS", "Show these VLANs with their names and ports.")
        .by(cmds_show_vlan_range),
    show(k_shown, "show vlan ports",
         "Show each port's configured VLAN, its memberships and which frames it takes.")
        .by(cmds_show_vlan_ports),
    show(k_shown, "show vlan counters", "Show the frames and octets of each VLAN."),
};

} // namespace

CMDS_FAMILY(vlan, "vlan", {k_mask_config, 11, 5, 5});
