// MLD snooping: IPv6 multicast goes to the ports whose hosts asked for it.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_global = {k_config.modes, k_mask_config_further};
constexpr cmds_where k_at_ports = {k_ports.modes, k_mask_config_further};
constexpr cmds_where k_once = {k_actions.modes, k_mask_config_further};
constexpr cmds_where k_looked_at = {k_in_every_mode, k_mask_config_further};

constexpr cmds_word k_words[] = {
    {"mld-snooping", "IPv6 multicast to the ports whose hosts asked for it, MLD."},
    {"vlan", "VLANs in which it is done."},
    {"vlan VLANLISTS", "VLANs, such as 1,10-19; all by default."},
    {"vlan <1-4094>", "A VLAN's id."},
    {"unknown-multicast", "Frames to groups that no host asked for."},
    {"(flood|drop|router-ports)",
     "flood: to all ports, the default; drop: to none; router-ports: to the ports with a router."},
    {"topology-change-query", "Whether hosts are asked at once when a spanning tree or a ring has changed."},
    {"topology-change-query (enable|disable)", "enable by default."},
    {"explicit-tracking", "Remember the hosts of each group, not only the ports."},
    {"forward-report-mode", "Where the hosts' reports go."},
    {"(router-ports|all-ports)",
     "router-ports: to the ports with a router, the default; all-ports: to all ports of the VLAN."},
    {"proxy", "Ask hosts and answer routers in the place of each other."},
    {"proxy address", "The source address of what the proxy sends."},
    {"router-interval", "How long a router is remembered after its last query."},
    {"port-interval", "How long a port has a group after its last report."},
    {"<10-3600>", "Seconds, 10 to 3600; 260 by default."},
    {"report-suppression-interval", "Within it, one report of a group goes on to the routers."},
    {"<0-25>", "Seconds, 0 to 25; 10 by default. 0 sends all reports on."},
    {"group-query-interval", "Time between two queries for a group that a host has left."},
    {"group-query-interval <1-25>", "Seconds, 1 to 25; 1 by default."},
    {"group-query-count", "Queries for a group that a host has left, before it ends."},
    {"<1-7>", "Queries, 1 to 7; 2 by default."},
    {"querier", "Ask the hosts for their groups, where no router does."},
    {"querier address", "The source address of the queries."},
    {"IPV6ADDR", "A link-local IPv6 address, such as fe80:0:0:0:0:0:0:1; the switch's own by default."},
    {"version", "The version of the queries."},
    {"(1|2)", "The version of MLD, 1 or 2; 2 by default."},
    {"query-interval", "Time between two queries."},
    {"<1-18000>", "Seconds, 1 to 18000; 125 by default."},
    {"max-response-time", "Time in which hosts answer a query."},
    {"<1-25>", "Seconds, 1 to 25; 10 by default. Less than the time between two queries."},
    {"robustness", "Messages that may be lost, and one more: queries are sent so often at the start."},
    {"<2-7>", "2 to 7; 2 by default."},
    {"group", "Groups and their ports."},
    {"group IPV6ADDR", "A group, such as ff05:0:0:0:0:0:0:101."},
    {"group vlan", "The groups of one VLAN."},
    {"IPV6ADDR vlan", "The VLAN in which the ports get it."},
    {"ports", "Ports that get it, whether hosts there ask for it or not."},
    {"filtering", "Groups that hosts may join."},
    {"profile", "A list of groups that ports can refer to."},
    {"<1-32>", "The profile's number, 1 to 32."},
    {"from", "From this group on."},
    {"from IPV6ADDR", "The first group, such as ff05:0:0:0:0:0:0:101."},
    {"to", "Up to and with the last group."},
    {"to IPV6ADDR", "The last group; the first one again for one alone."},
    {"apply", "Hosts at the port may join the groups of a profile only."},
    {"apply <1-32>", "The profile's number, 1 to 32; none by default: all groups."},
    {"group-limit", "Groups at the port at a time."},
    {"<1-256>", "Groups, 1 to 256; without a limit by default."},
    {"group-overflow", "What follows when a host asks for one more group than the limit allows."},
    {"(drop|replace)",
     "drop: it does not get the group, the default; replace: the port's oldest group ends."},
    {"router-port", "Ports with a router or a querier."},
    {"(auto|fixed|edge)", "auto: while it sends queries, the default; fixed: always; edge: never."},
    {"immediate-leave", "End a group at once when a host leaves it: for one host at the port."},
    {"counters", "Reports, leaves and queries."},
    {"information", "Whether it is on, where, and its settings."},
};

constexpr cmds_form k_forms[] = {
    setting(k_global, "mld-snooping enable", "Switch MLD snooping on; off by default."),
    setting(k_global, "mld-snooping vlan VLANLISTS", "Do it in these VLANs; in all by default.")
        .at_first("1-4094"),
    setting(k_global, "mld-snooping unknown-multicast (flood|drop|router-ports)",
            "Choose where frames to unknown groups go.")
        .at_first("flood"),
    setting(k_global, "mld-snooping topology-change-query (enable|disable)",
            "Ask the hosts when a spanning tree or a ring has changed, or do not.")
        .at_first("enable"),
    setting(k_global, "mld-snooping explicit-tracking", "Remember each group's hosts; off by default."),
    setting(k_global, "mld-snooping forward-report-mode (router-ports|all-ports)",
            "Choose where the hosts' reports go.")
        .at_first("router-ports"),
    setting(k_global, "mld-snooping proxy enable",
            "Ask hosts and answer routers in the place of each other; off by default."),
    setting(k_global, "mld-snooping proxy address IPV6ADDR", "Let the proxy send from this address."),
    setting(k_global, "mld-snooping router-interval <10-3600>",
            "Remember routers for so many seconds; 260 by default.")
        .at_first("260"),
    setting(k_global, "mld-snooping port-interval <10-3600>",
            "End a group at a port after so many seconds without a report; 260 by default.")
        .at_first("260"),
    setting(k_global, "mld-snooping report-suppression-interval <0-25>",
            "Send one report of a group on within so many seconds; 10 by default.")
        .at_first("10"),
    setting(k_global, "mld-snooping group-query-interval <1-25>",
            "Ask again for a group that was left after so many seconds; 1 by default.")
        .at_first("1"),
    setting(k_global, "mld-snooping group-query-count <1-7>",
            "Ask so many times for a group that was left; 2 by default.")
        .at_first("2"),
    setting(k_global, "mld-snooping querier enable", "Ask the hosts for their groups; off by default."),
    setting(k_global, "mld-snooping querier address IPV6ADDR", "Send queries from this address."),
    setting(k_global, "mld-snooping querier version (1|2)", "Send queries of this version; 2 by default.")
        .at_first("2"),
    setting(k_global, "mld-snooping querier query-interval <1-18000>",
            "Send a query every so many seconds; 125 by default.")
        .at_first("125"),
    setting(k_global, "mld-snooping querier max-response-time <1-25>",
            "Let hosts answer within so many seconds; 10 by default.")
        .at_first("10"),
    setting(k_global, "mld-snooping querier robustness <2-7>", "Bear the loss of messages; 2 by default.")
        .at_first("2"),
    setting(k_global, "mld-snooping group IPV6ADDR vlan <1-4094> ports PORTLISTS",
            "Send a group to these ports in any case.")
        .keyed(2),
    setting(k_global, "mld-snooping filtering profile <1-32> from IPV6ADDR to IPV6ADDR",
            "Put these groups into a profile.")
        .keyed(2),
    setting(k_at_ports, "mld-snooping filtering apply <1-32>", "Let hosts join this profile's groups only."),
    setting(k_at_ports, "mld-snooping group-limit <1-256>", "Let the port have at most so many groups."),
    setting(k_at_ports, "mld-snooping group-overflow (drop|replace)", "Choose which group goes without.")
        .at_first("drop"),
    setting(k_at_ports, "mld-snooping router-port (auto|fixed|edge)", "Say whether a router is at the port.")
        .at_first("auto"),
    setting(k_at_ports, "mld-snooping immediate-leave",
            "End a group at once when it is left; off by default."),
    action(k_once, "clear mld-snooping counters", "Begin to count from 0."),
    action(k_once, "clear mld-snooping group", "Forget the groups learned, and ask for them again."),
    undo(k_global, "no mld-snooping enable", "Switch MLD snooping off."),
    undo(k_global, "no mld-snooping vlan", "Do it in all VLANs again."),
    undo(k_global, "no mld-snooping explicit-tracking", "Do not remember each group's hosts."),
    undo(k_global, "no mld-snooping proxy enable", "Let hosts and routers speak to each other."),
    undo(k_global, "no mld-snooping proxy address", "Let the proxy send from the switch's own address."),
    undo(k_global, "no mld-snooping router-interval", "Remember routers for 260 seconds again."),
    undo(k_global, "no mld-snooping port-interval", "End groups after 260 seconds without a report again."),
    undo(k_global, "no mld-snooping querier enable", "Leave it to the routers to ask the hosts."),
    undo(k_global, "no mld-snooping querier address", "Send queries from the switch's own address again."),
    undo(k_global, "no mld-snooping group IPV6ADDR vlan <1-4094>",
         "Send a group only to ports whose hosts asked for it."),
    undo(k_global, "no mld-snooping filtering profile <1-32> from IPV6ADDR",
         "Take the groups from this one on out of a profile."),
    undo(k_at_ports, "no mld-snooping filtering apply", "Let hosts join any group."),
    undo(k_at_ports, "no mld-snooping group-limit", "Let the port have any number of groups."),
    undo(k_at_ports, "no mld-snooping immediate-leave", "Ask for other hosts before a group ends."),
    show(k_looked_at, "show mld-snooping information", "Show whether it is on, where, and its settings."),
    show(k_looked_at, "show mld-snooping vlan VLANLISTS", "Show what is known in these VLANs."),
    show(k_looked_at, "show mld-snooping group", "Show each group with its ports."),
    show(k_looked_at, "show mld-snooping group vlan <1-4094>", "Show the groups of one VLAN."),
    show(k_looked_at, "show mld-snooping explicit-tracking", "Show each group's hosts."),
    show(k_looked_at, "show mld-snooping router-port", "Show the ports with a router, and for how long yet."),
    show(k_looked_at, "show mld-snooping querier", "Show who asks in each VLAN, and how often."),
    show(k_looked_at, "show mld-snooping proxy", "Show what the proxy has asked for, and where."),
    show(k_looked_at, "show mld-snooping filtering", "Show the profiles, and each port's profile and limit."),
    show(k_looked_at, "show mld-snooping counters", "Show the reports, leaves and queries of each VLAN."),
};

} // namespace

CMDS_FAMILY(mld_snooping, "mld-snooping", {k_mask_config_further, 28, 14, 10});
