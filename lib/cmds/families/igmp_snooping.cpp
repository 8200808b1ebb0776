// IGMP snooping: IPv4 multicast goes to the ports whose hosts asked for it.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"igmp-snooping", "IPv4 multicast to the ports whose hosts asked for it, IGMP."},
    {"igmp-snooping (enable|disable)", "disable by default."},
    {"vlan", "VLANs in which it is done."},
    {"vlan VLANLISTS", "VLANs, such as 1,10-19; all by default."},
    {"unknown-multicast", "Frames to groups that no host asked for."},
    {"(flood|drop|router-ports)",
     "flood: to all ports, the default; drop: to none; router-ports: to the ports with a router."},
    {"report-suppression", "Send one report of each group on to the routers, not those of all hosts."},
    {"explicit-tracking", "Remember the hosts of each group, not only the ports."},
    {"querier", "Ask the hosts for their groups, where no router does."},
    {"querier (enable|disable)", "disable by default."},
    {"version", "The version of the queries."},
    {"(1|2|3)", "The version of IGMP, 1 to 3; 2 by default."},
    {"address", "The source address of the queries."},
    {"IPADDR", "An IPv4 address, such as 192.168.1.1; the switch's own by default."},
    {"query-interval", "Time between two queries."},
    {"<1-18000>", "Seconds, 1 to 18000; 125 by default."},
    {"max-response-time", "Time in which hosts answer a query."},
    {"<1-25>", "Seconds, 1 to 25; 10 by default. Less than the time between two queries."},
    {"filtering", "Groups that hosts may join."},
    {"profile", "A list of groups that ports can refer to."},
    {"<1-32>", "The profile's number, 1 to 32."},
    {"from", "From this group on."},
    {"from IPADDR", "The first group, 224.0.1.0 to 239.255.255.255."},
    {"to", "Up to and with the last group."},
    {"to IPADDR", "The last group; the first one again for one alone."},
    {"apply", "Hosts at the port may join the groups of a profile only."},
    {"apply <1-32>", "The profile's number, 1 to 32; none by default: all groups."},
    {"group-limit", "Groups at the port at a time."},
    {"<1-256>", "Groups, 1 to 256; without a limit by default."},
    {"group-overflow", "What follows when a host asks for one more group than the limit allows."},
    {"(drop|replace)",
     "drop: it does not get the group, the default; replace: the port's oldest group ends."},
    {"igmp-querier-mode", "Whether there is a router at the port."},
    {"(auto|fixed|edge)", "auto: while it sends queries, the default; fixed: always; edge: never."},
    {"igmp-immediate-leave", "End a group at once when a host leaves it: for one host at the port."},
    {"counters", "Reports, leaves and queries."},
    {"membership", "The groups that hosts have joined."},
    {"router-port", "The ports with a router or a querier."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "igmp-snooping (enable|disable)", "Switch IGMP snooping on or off.")
        .at_first("disable"),
    setting(k_config, "igmp-snooping vlan VLANLISTS", "Do it in these VLANs; in all by default.")
        .at_first("1-4094"),
    setting(k_config, "igmp-snooping unknown-multicast (flood|drop|router-ports)",
            "Choose where frames to unknown groups go.")
        .at_first("flood"),
    setting(k_config, "igmp-snooping report-suppression",
            "Send one report of each group to the routers; on by default.")
        .on_at_first(),
    setting(k_config, "igmp-snooping explicit-tracking", "Remember each group's hosts; off by default."),
    setting(k_config, "igmp-snooping querier (enable|disable)", "Ask the hosts for their groups, or do not.")
        .at_first("disable"),
    setting(k_config, "igmp-snooping querier version (1|2|3)", "Send queries of this version; 2 by default.")
        .at_first("2"),
    setting(k_config, "igmp-snooping querier address IPADDR", "Send queries from this address."),
    setting(k_config, "igmp-snooping querier query-interval <1-18000>",
            "Send a query every so many seconds; 125 by default.")
        .at_first("125"),
    setting(k_config, "igmp-snooping querier max-response-time <1-25>",
            "Let hosts answer within so many seconds; 10 by default.")
        .at_first("10"),
    setting(k_config, "igmp-snooping filtering profile <1-32> from IPADDR to IPADDR",
            "Put these groups into a profile.")
        .keyed(2),
    setting(k_ports, "igmp-snooping filtering apply <1-32>", "Let hosts join this profile's groups only."),
    setting(k_ports, "igmp-snooping group-limit <1-256>", "Let the port have at most so many groups."),
    setting(k_ports, "igmp-snooping group-overflow (drop|replace)", "Choose which group goes without.")
        .at_first("drop"),
    setting(k_ports, "igmp-snooping igmp-querier-mode (auto|fixed|edge)", "Say whether a router is here.")
        .at_first("auto"),
    setting(k_ports, "igmp-snooping igmp-immediate-leave",
            "End a group at once when it is left; off by default."),
    action(k_actions, "clear igmp-snooping counters", "Begin to count from 0."),
    action(k_actions, "clear igmp-snooping membership", "Forget the groups learned, and ask for them again."),
    undo(k_config, "no igmp-snooping vlan", "Do it in all VLANs again."),
    undo(k_config, "no igmp-snooping report-suppression", "Send the reports of all hosts to the routers."),
    undo(k_config, "no igmp-snooping explicit-tracking", "Do not remember each group's hosts."),
    undo(k_config, "no igmp-snooping querier address", "Send queries from the switch's own address again."),
    undo(k_config, "no igmp-snooping filtering profile <1-32> from IPADDR",
         "Take the groups from this one on out of a profile."),
    undo(k_ports, "no igmp-snooping filtering apply", "Let hosts join any group."),
    undo(k_ports, "no igmp-snooping group-limit", "Let the port have any number of groups."),
    undo(k_ports, "no igmp-snooping igmp-immediate-leave", "Ask for other hosts before a group ends."),
    show(k_shown, "show igmp-snooping", "Show whether it is on, where, and its settings."),
    show(k_shown, "show igmp-snooping membership", "Show each group with its ports, and hosts if tracked."),
    show(k_shown, "show igmp-snooping router-port", "Show the ports with a router, and how each is known."),
    show(k_shown, "show igmp-snooping querier", "Show who asks in each VLAN, and how often."),
    show(k_shown, "show igmp-snooping filtering", "Show the profiles, and each port's profile and limit."),
    show(k_shown, "show igmp-snooping counters", "Show the reports, leaves and queries of each VLAN."),
};

} // namespace

CMDS_FAMILY(igmp_snooping, "igmp-snooping", {k_mask_config, 18, 8, 6});
