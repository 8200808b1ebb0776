// VLANs of untagged frames by their protocol.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"protocol-vlan", "VLANs of untagged frames by their protocol, 802.1v."},
    {"group", "A protocol that ports can refer to."},
    {"bind", "Sort the untagged frames that arrive at the port."},
    {"<1-16>", "The group's number, 1 to 16."},
    {"protocol", "A protocol by its name."},
    {"(ip|arp|ipv6|ipx|appletalk|profinet)", "The protocol, in Ethernet II frames."},
    {"(ethernet|snap|llc)",
     "ethernet: by the EtherType; snap: by the SNAP type; llc: by DSAP and SSAP, one octet each."},
    {"HEX_VALUE", "The type, hexadecimal, 600 to ffff; DSAP and SSAP 0 to ffff, such as f0f0."},
    {"vlan", "The VLAN of the group's frames."},
    {"<1-4094>", "A VLAN's id."},
    {"priority", "The priority of the group's frames; the port's own by default."},
    {"<0-7>", "0, low, to 7, high."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "protocol-vlan group <1-16> protocol (ip|arp|ipv6|ipx|appletalk|profinet)",
            "Make a group of the frames of this protocol.")
        .keyed(1),
    setting(k_config, "protocol-vlan group <1-16> (ethernet|snap|llc) HEX_VALUE",
            "Make a group of the frames of this type.")
        .keyed(1)
        .up_to(4),
    setting(k_ports, "protocol-vlan bind group <1-16> vlan <1-4094>",
            "Put untagged frames of this group into a VLAN.")
        .keyed(1),
    setting(k_ports, "protocol-vlan bind group <1-16> vlan <1-4094> priority <0-7>",
            "Put untagged frames of this group into a VLAN, with a priority.")
        .keyed(1),
    undo(k_config, "no protocol-vlan group <1-16>", "Remove a group."),
    undo(k_ports, "no protocol-vlan bind group <1-16>", "Put its untagged frames into the port's own VLAN."),
    show(k_shown, "show protocol-vlan", "Show the groups, and their VLANs at each port."),
};

} // namespace

CMDS_FAMILY(protocol_vlan, "protocol-vlan", {k_mask_config, 4, 2, 1});
