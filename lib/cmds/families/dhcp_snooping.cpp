// DHCP snooping: DHCP servers answer from where they may, and who got which address is remembered.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"dhcp-snooping", "The watch over DHCP: false servers, and who has which address."},
    {"(enable|disable)", "Watch, or not, the default."},
    {"dhcp-snooping vlan", "The VLANs that are watched; none by default."},
    {"server", "The DHCP servers that may answer; any at trusted ports by default."},
    {"server IPADDR", "The server's IPv4 address, such as 192.168.1.1."},
    {"host", "Devices with a fixed address, which no DHCP server tells."},
    {"MACADDR vlan", "The VLAN that the device is in."},
    {"ip", "The address that it has."},
    {"port", "The port that it is at."},
    {"verify-mac", "Requests in another device's name."},
    {"verify-mac (enable|disable)",
     "Drop requests whose MAC address is not their sender's, the default, or pass them."},
    {"trust", "DHCP servers are behind the port; by default they are not."},
    {"rate-limit", "DHCP packets that may come in at the port; as many as like by default."},
    {"<1-300>", "Packets a second, 1 to 300; no limit by default."},
    {"binding", "Which device has which address, at which port."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "dhcp-snooping (enable|disable)",
            "Watch DHCP in the VLANs of the list; disable by default.")
        .at_first("disable"),
    setting(k_config, "dhcp-snooping vlan VLANLISTS", "Watch DHCP in these VLANs and in no others."),
    setting(k_config, "dhcp-snooping server IPADDR", "Let this server answer, and only those listed so.")
        .keyed(1),
    setting(k_config, "dhcp-snooping host MACADDR vlan VLANID ip IPADDR port PORT_ID",
            "Know this device at this port, by its fixed address.")
        .keyed(2),
    setting(k_config, "dhcp-snooping verify-mac (enable|disable)",
            "Drop requests that name another MAC address than their sender's; enable by default.")
        .at_first("enable"),
    setting(k_ports, "dhcp-snooping trust", "Let DHCP servers answer at the port."),
    setting(k_ports, "dhcp-snooping rate-limit <1-300>", "Drop DHCP packets at the port beyond so many."),
    action(k_actions, "clear dhcp-snooping binding",
           "Forget all devices but those with a fixed address; they are cut off until they ask again."),
    undo(k_config, "no dhcp-snooping vlan", "Watch DHCP in no VLAN."),
    undo(k_config, "no dhcp-snooping server IPADDR",
         "Take this server from the list of those who may answer."),
    undo(k_config, "no dhcp-snooping host MACADDR vlan VLANID", "Forget this device with a fixed address."),
    undo(k_ports, "no dhcp-snooping trust", "Let no DHCP server answer at the port."),
    undo(k_ports, "no dhcp-snooping rate-limit", "Take any number of DHCP packets at the port."),
    show(k_shown, "show dhcp-snooping", "Show the settings, and the packets dropped at each port."),
    show(k_shown, "show dhcp-snooping binding", "Show which device has which address, and for how long."),
};

} // namespace

CMDS_FAMILY(dhcp_snooping, "dhcp-snooping", {k_mask_config, 8, 5, 2});
