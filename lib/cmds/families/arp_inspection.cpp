// ARP inspection: ARP packets that lie about who has an address are dropped.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"arp-inspection", "The watch over ARP, by what DHCP snooping knows."},
    {"arp-inspection vlan", "The VLANs that are watched; none by default."},
    {"trust", "ARP packets at the port are believed; by default they are checked."},
    {"mac-filter", "Devices whose frames are dropped because they forged an ARP packet."},
    {"aging-time", "How long such a device is kept out."},
    {"<0-86400>", "Seconds, 0 to 86400; 300 by default; 0: until the filter is emptied."},
    {"arp-inspection statistics", "ARP packets passed and dropped, of each VLAN."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "arp-inspection vlan VLANLISTS", "Check ARP in these VLANs and in no others."),
    setting(k_config, "arp-inspection mac-filter aging-time <0-86400>",
            "Keep forgers out for so long; 300 s by default.")
        .at_first("300"),
    setting(k_ports, "arp-inspection trust", "Check no ARP packets at the port."),
    action(k_actions, "clear arp-inspection mac-filter", "Let all devices in again that are kept out."),
    action(k_actions, "clear arp-inspection statistics", "Begin to count ARP packets from 0."),
    undo(k_config, "no arp-inspection vlan", "Check ARP in no VLAN."),
    undo(k_config, "no arp-inspection mac-filter aging-time", "Keep forgers out for 300 s again."),
    undo(k_ports, "no arp-inspection trust", "Check the ARP packets at the port."),
    show(k_shown, "show arp-inspection", "Show the settings, and the ARP packets passed and dropped."),
    show(k_shown, "show arp-inspection mac-filter", "Show which devices are kept out, and for how long."),
};

} // namespace

CMDS_FAMILY(arp_inspection, "arp-inspection", {k_mask_config, 5, 3, 2});
