// Access lists: what a list compares, and which lists the frames meet that come in at a port.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_list = cmds_in(k_mode_access_list);
constexpr cmds_where k_list_ipv6 = cmds_in(k_mode_access_list_ipv6);
constexpr cmds_where k_lists = {k_list.modes | k_list_ipv6.modes, k_mask_config};

constexpr cmds_word k_words[] = {
    {"type", "What this list compares."},
    {"(mac|ipv4)", "Frames by MAC address and ethertype, the default, or IPv4 packets."},
    {"source", "Where a frame comes from; from anywhere by default."},
    {"destination", "Where a frame goes; anywhere by default."},
    {"mask", "Compare a part of the MAC address."},
    {"mask MACADDR", "The bits that are compared, such as ff:ff:ff:00:00:00."},
    {"MACADDR", "A MAC address, such as 00:11:22:33:44:55, in a list of type mac."},
    {"IPADDR_MASK", "An IPv4 network, such as 192.168.1.0/24, in a list of type ipv4; /32: one address."},
    {"prefix", "Compare the beginning of the address."},
    {"<1-128>", "Bits that are compared, 1 to 128; 128: one address."},
    {"source-port", "The TCP or UDP port that a packet comes from."},
    {"destination-port", "The TCP or UDP port that a packet goes to."},
    {"<0-65535>", "A port, 1 to 65535, or 0: any, the default."},
    {"ethertype", "The kind of a frame; any by default."},
    {"HEX_VALUE", "An ethertype of up to four digits, such as 8892 for PROFINET."},
    {"vlan", "The VLAN that a frame is in."},
    {"<0-4094>", "A VLAN, 1 to 4094, or 0: any, the default."},
    {"802.1p", "The priority in a frame's VLAN tag."},
    {"(any|0|1|2|3|4|5|6|7)", "Any, the default, or one priority; 7 is the highest."},
    {"dscp", "The DSCP of a packet; any by default."},
    {"<0-63>", "A DSCP, 0 to 63, such as 46 for expedited forwarding."},
    {"ip-protocol", "The protocol in an IP packet."},
    {"(any|icmp|igmp|tcp|udp|gre|esp|ah|icmpv6|ospf|pim|vrrp)", "Any, the default, or one protocol."},
    {"action", "What is done with frames that fit."},
    {"(permit|deny)", "Take them, the default, or drop them."},
    {"access-list", "Access lists: frames that ports take or drop."},
    {"access-list-ipv6", "Access lists for IPv6."},
    {"order", "A list that frames meet, and when."},
    {"<1-32>", "The place among the port's lists, 1 to 32; lower ones are tried first."},
    {"(frames|ipv6)", "One of the lists made by access-list, or by access-list-ipv6."},
    {"STRINGS", "The list's name."},
};

constexpr cmds_form k_forms[] = {
    setting(k_list, "type (mac|ipv4)", "Compare frames or IPv4 packets; mac by default.").at_first("mac"),
    setting(k_list, "source MACADDR", "Fit frames of this sender."),
    setting(k_list, "source MACADDR mask MACADDR",
            "Fit frames of senders that are like this one in the bits of the mask."),
    setting(k_list, "source IPADDR_MASK", "Fit packets from this network."),
    setting(k_list_ipv6, "source IPV6ADDR prefix <1-128>", "Fit packets from this network."),
    setting(k_list, "destination MACADDR", "Fit frames to this device or group."),
    setting(k_list, "destination MACADDR mask MACADDR",
            "Fit frames to addresses that are like this one in the bits of the mask."),
    setting(k_list, "destination IPADDR_MASK", "Fit packets to this network."),
    setting(k_list_ipv6, "destination IPV6ADDR prefix <1-128>", "Fit packets to this network."),
    setting(k_lists, "source-port <0-65535>", "Fit packets from this TCP or UDP port; 0, any, by default.")
        .at_first("0"),
    setting(k_lists, "destination-port <0-65535>", "Fit packets to this TCP or UDP port; 0, any, by default.")
        .at_first("0"),
    setting(k_list, "ethertype HEX_VALUE", "Fit frames of this ethertype.").up_to(4),
    setting(k_lists, "vlan <0-4094>", "Fit frames of this VLAN; 0, any, by default.").at_first("0"),
    setting(k_lists, "802.1p (any|0|1|2|3|4|5|6|7)", "Fit frames of this priority; any by default.")
        .at_first("any"),
    setting(k_lists, "dscp <0-63>", "Fit packets of this DSCP."),
    setting(k_lists, "ip-protocol (any|icmp|igmp|tcp|udp|gre|esp|ah|icmpv6|ospf|pim|vrrp)",
            "Fit packets of this protocol; any by default.")
        .at_first("any"),
    setting(k_lists, "action (permit|deny)", "Do this with frames that fit; permit by default.")
        .at_first("permit"),
    setting(k_ports, "access-list order <1-32> (frames|ipv6) STRINGS",
            "Compare what comes in with this list; the first list that fits decides, else it is taken.")
        .keyed(1),
    undo(k_lists, "no source", "Fit frames from anywhere."),
    undo(k_lists, "no destination", "Fit frames to anywhere."),
    undo(k_list, "no ethertype", "Fit frames of any ethertype."),
    undo(k_lists, "no dscp", "Fit packets of any DSCP."),
    undo(k_ports, "no access-list order <1-32>", "Take the list in this place from the port."),
    show(k_shown, "show access-list", "Show the lists, and at which ports they are."),
    show(k_shown, "show access-list-ipv6", "Show the IPv6 lists, and at which ports they are."),
};

} // namespace

CMDS_FAMILY(access_list, "access-list", {k_mask_config, 18, 5, 2});
