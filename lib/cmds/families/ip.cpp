// Addresses of the switch, and routing between its VLANs.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_ip_interfaces = {cmds_mode_bit(k_mode_eth0) | cmds_mode_bit(k_mode_interface_vlan),
                                        k_mask_config};

constexpr cmds_word k_words[] = {
    {"ip", "IP: addresses, hosts and multicast."},
    {"address", "Addresses of the switch."},
    {"address IPADDR_MASK", "The address with the length of its network, such as 192.168.1.10/24."},
    {"dhcp", "An IPv4 address from a DHCP server."},
    {"ipv6-address", "IPv6 addresses of this interface."},
    {"<1-128>", "Bits of the address that are its network, 1 to 128; 64 as a rule."},
    {"ipv6-dhcp", "An IPv6 address from a DHCPv6 server."},
    {"multicast", "Multicast groups that no member is known of."},
    {"(flood|drop)", "To all ports of the VLAN, or to none; to all of them by default."},
    {"hosts", "Hosts and their MAC addresses, found by ARP and by IPv6 neighbour discovery."},
    {"aging", "How long a host is remembered that is silent."},
    {"<60-86400>", "Seconds, 60 to 86400; 300 by default."},
    {"ipv4", "IPv4: routes and hosts."},
    {"ipv6", "IPv6: routes."},
    {"forwarding", "Packets from one VLAN to another."},
    {"forwarding (enable|disable)", "Routed or not; not by default."},
    {"route", "A route that stands."},
    {"routes", "All routes, those to the own networks too."},
    {"route IPADDR_MASK", "The network it leads to, such as 10.0.0.0/8; 0.0.0.0/0 is the default route."},
    {"IPADDR_MASK IPADDR", "The next router, in a network of the switch."},
    {"distance", "How far it is; of several routes the nearest that works is taken."},
    {"<1-255>", "Distance, 1 to 255; 1 by default."},
    {"route IPV6ADDR", "The network it leads to, with all its groups; all 0 for the default route."},
    {"<0-128>", "Bits of the network, 0 to 128; 0 is the default route."},
    {"<0-128> IPV6ADDR", "The next router, in a network of the switch."},
    {"arp", "Hosts whose MAC address stands and is not asked for."},
};

constexpr cmds_form k_forms[] = {
    setting(k_ip_interfaces, "ip address IPADDR_MASK", "Give this interface an address."),
    setting(k_ip_interfaces, "ip address dhcp", "Ask a DHCP server for this interface's address.")
        .one_of("ip address"),
    setting(k_ip_interfaces, "ip ipv6-address IPV6ADDR <1-128>",
            "Give this interface an IPv6 address; there may be several.")
        .keyed(1),
    setting(k_ip_interfaces, "ip ipv6-dhcp", "Ask a DHCPv6 server for an address; none is asked by default."),
    setting(k_config, "ip multicast (flood|drop)", "Flood IP multicast without known members, or drop it.")
        .at_first("flood"),
    setting(k_config, "ip hosts aging <60-86400>", "Forget hosts after this time of silence.")
        .at_first("300"),
    setting(k_config, "ipv4 forwarding (enable|disable)", "Route IPv4 between VLANs, or not.")
        .at_first("disable"),
    setting(k_config, "ipv4 route IPADDR_MASK IPADDR", "Reach this network by this router, distance 1.")
        .keyed(2),
    setting(k_config, "ipv4 route IPADDR_MASK IPADDR distance <1-255>",
            "Reach this network by this router, at this distance.")
        .keyed(2),
    setting(k_config, "ipv4 arp IPADDR MACADDR", "Use this MAC address for this host.").keyed(1),
    setting(k_config, "ipv6 forwarding (enable|disable)", "Route IPv6 between VLANs, or not.")
        .at_first("disable"),
    setting(k_config, "ipv6 route IPV6ADDR <0-128> IPV6ADDR",
            "Reach this network by this router, distance 1.")
        .keyed(3),
    setting(k_config, "ipv6 route IPV6ADDR <0-128> IPV6ADDR distance <1-255>",
            "Reach this network by this router, at this distance.")
        .keyed(3),
    action(k_actions, "clear ip hosts", "Forget all hosts but those that stand."),
    undo(k_ip_interfaces, "no ip address", "Leave this interface without an IPv4 address."),
    undo(k_ip_interfaces, "no ip ipv6-address IPV6ADDR", "Take this IPv6 address away."),
    undo(k_ip_interfaces, "no ip ipv6-dhcp", "Ask no DHCPv6 server."),
    undo(k_config, "no ipv4 route IPADDR_MASK IPADDR", "Remove this route."),
    undo(k_config, "no ipv4 arp IPADDR", "Ask for this host's MAC address again."),
    undo(k_config, "no ipv6 route IPV6ADDR <0-128> IPV6ADDR", "Remove this route."),
    show(k_shown, "show ip address", "Show the addresses of all interfaces, and where they are from."),
    show(k_shown, "show ip hosts", "Show the hosts, their MAC addresses, VLANs and ports."),
    show(k_shown, "show ipv4 routes", "Show the routes of IPv4."),
    show(k_shown, "show ipv6 routes", "Show the routes of IPv6."),
};

} // namespace

CMDS_FAMILY(ip, "ip", {k_mask_config, 14, 6, 4});
