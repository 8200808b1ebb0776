// VLANs of untagged frames by their source address.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"mac-vlan", "VLANs of untagged frames by their source address."},
    {"MACADDR", "The source address, such as 00:11:22:33:44:55."},
    {"vlan", "The VLAN of its frames."},
    {"<1-4094>", "A VLAN's id."},
    {"priority", "The priority of its frames; the port's own by default."},
    {"<0-7>", "0, low, to 7, high."},
    {"enable", "Look at the source addresses of untagged frames."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "mac-vlan MACADDR vlan <1-4094>", "Put untagged frames from this address into a VLAN.")
        .keyed(1),
    setting(k_config, "mac-vlan MACADDR vlan <1-4094> priority <0-7>",
            "Put untagged frames from this address into a VLAN, with a priority.")
        .keyed(1),
    setting(k_ports, "mac-vlan enable", "Sort untagged frames by source address; off by default."),
    undo(k_config, "no mac-vlan MACADDR", "Treat frames from this address as any others."),
    undo(k_ports, "no mac-vlan enable", "Put untagged frames into the port's own VLAN."),
    show(k_shown, "show mac-vlan", "Show the addresses with their VLANs, and the ports that look at them."),
};

} // namespace

CMDS_FAMILY(mac_vlan, "mac-vlan", {k_mask_config, 3, 2, 1});
