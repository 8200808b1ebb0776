// How frames are spread over the links of a group.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_global = {k_config.modes, k_mask_config_further};
constexpr cmds_where k_looked_at = {k_in_every_mode, k_mask_config_further};

constexpr cmds_word k_words[] = {
    {"link-aggregation", "Several links to one neighbour used as one, 802.1AX."},
    {"load-balance", "How frames are spread over the links of a group."},
    {"source", "Where a frame comes from."},
    {"destination", "Where a frame goes to."},
    {"mac", "The MAC address."},
    {"mac (enable|disable)", "enable by default."},
    {"ip", "The IPv4 or IPv6 address, if it has one."},
    {"port", "The port of TCP or UDP, if it has one."},
    {"(enable|disable)", "disable by default."},
    {"seed", "A number that makes switches in a row spread otherwise than each other."},
    {"<0-255>", "0 to 255; 0 by default."},
    {"group", "One group, in place of what holds for all."},
    {"GROUP_ID", "The group's number, 1 to 6."},
    {"(mac|ip|port)", "By the MAC addresses, the IP addresses, or the ports of TCP and UDP."},
    {"(source|destination|both)", "Those of the source, of the destination, or both."},
};

constexpr cmds_form k_forms[] = {
    setting(k_global, "link-aggregation load-balance source mac (enable|disable)",
            "Choose the link by the source MAC address, too, or not.")
        .at_first("enable"),
    setting(k_global, "link-aggregation load-balance source ip (enable|disable)",
            "Choose the link by the source IP address, too, or not.")
        .at_first("disable"),
    setting(k_global, "link-aggregation load-balance source port (enable|disable)",
            "Choose the link by the source port of TCP and UDP, too, or not.")
        .at_first("disable"),
    setting(k_global, "link-aggregation load-balance destination mac (enable|disable)",
            "Choose the link by the destination MAC address, too, or not.")
        .at_first("enable"),
    setting(k_global, "link-aggregation load-balance destination ip (enable|disable)",
            "Choose the link by the destination IP address, too, or not.")
        .at_first("disable"),
    setting(k_global, "link-aggregation load-balance destination port (enable|disable)",
            "Choose the link by the destination port of TCP and UDP, too, or not.")
        .at_first("disable"),
    setting(k_global, "link-aggregation load-balance seed <0-255>",
            "Let this number vary the choice; 0 by default.")
        .at_first("0"),
    setting(k_global, "link-aggregation load-balance group GROUP_ID (mac|ip|port) (source|destination|both)",
            "Choose the links of this group by these alone; as those of all groups by default.")
        .keyed(1),
    undo(k_global, "no link-aggregation load-balance seed", "Let 0 vary the choice again."),
    undo(k_global, "no link-aggregation load-balance group GROUP_ID",
         "Choose the links of this group as those of all groups again."),
    show(k_looked_at, "show link-aggregation load-balance", "Show by what links are chosen."),
    show(k_looked_at, "show link-aggregation load-balance group GROUP_ID",
         "Show by what this group's links are chosen, and the share of each."),
};

} // namespace

CMDS_FAMILY(link_aggregation_load_balance, "link-aggregation", {k_mask_config_further, 8, 2, 2});
