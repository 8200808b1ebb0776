#pragma once

#include <string_view>

/// The help text of a word, "recovery", or of a word after a certain other one, "recovery <60-600>", which
/// goes first.
struct cmds_word {
    std::string_view word;
    const char *text;
};

/// Words that mean the same in every family; a family's own texts go first.
inline constexpr cmds_word k_cmds_shared_words[] = {
    {"no", "Take a setting back."},
    {"show", "Show the state of the switch."},
    {"clear", "Empty a table, or begin to count from 0."},
    {"enable", "Switch it on."},
    {"disable", "Switch it off."},
    {"(enable|disable)", "On or off."},
    {"vlan", "VLANs, 802.1Q."},
    {"port", "Ports of the switch."},
    {"interface", "A port of the switch."},
    {"statistics", "What has been counted."},
    {"counters", "What has been counted."},
    {"summary", "All of it, a line each."},
    {"VLANID", "A VLAN, 1 to 4094."},
    {"VLANLISTS", "VLANs, such as 1,10-19."},
    {"PORTLISTS", "Ports, such as 1,3-5."},
    {"PORT_ID", "A port, 1 to 12."},
    {"IPADDR", "An IPv4 address, such as 192.168.1.1."},
    {"IPADDR_MASK", "An IPv4 network, such as 192.168.1.0/24."},
    {"IPV6ADDR", "An IPv6 address with all its groups, such as fe80:0:0:0:0:0:0:1."},
    {"MACADDR", "A MAC address, such as 00:11:22:33:44:55."},
};
