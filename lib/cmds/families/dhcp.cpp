// The DHCP relay: requests of a VLAN go on to servers elsewhere.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_vlan_interface = cmds_in(k_mode_interface_vlan);

constexpr cmds_word k_words[] = {
    {"dhcp", "The DHCP relay."},
    {"relay", "Requests that go on to servers in other networks."},
    {"(enable|disable)", "Pass them on, or not, the default."},
    {"max-hops", "Relays that a request may have come through."},
    {"<1-16>", "Relays, 1 to 16; requests that came through more are dropped; 4 by default."},
    {"helper-address", "The DHCP servers for this VLAN; none by default."},
    {"IPADDR", "The server's IPv4 address, such as 192.168.1.1."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "dhcp relay (enable|disable)",
            "Pass DHCP requests on to the servers of their VLANs; disable by default.")
        .at_first("disable"),
    setting(k_config, "dhcp relay max-hops <1-16>",
            "Drop requests that came through more relays; 4 by default.")
        .at_first("4"),
    setting(k_vlan_interface, "dhcp helper-address IPADDR",
            "Pass the requests of this VLAN on to this server; each of several gets them.")
        .keyed(1),
    undo(k_vlan_interface, "no dhcp helper-address IPADDR", "Pass no requests on to this server."),
    show(k_shown, "show dhcp relay", "Show the servers of each VLAN, and what has been passed on."),
};

} // namespace

CMDS_FAMILY(dhcp, "dhcp", {k_mask_config, 3, 1, 1});
