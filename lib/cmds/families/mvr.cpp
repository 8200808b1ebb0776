// Multicast VLAN registration: one VLAN carries the groups that hosts of other VLANs receive.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_mvr = cmds_in(k_mode_mvr_vlan);

constexpr cmds_word k_words[] = {
    {"mvr", "Multicast VLAN registration: one VLAN that carries groups for others."},
    {"activate", "Whether this multicast VLAN works."},
    {"activate (enable|disable)", "disable by default."},
    {"mode", "Whether hosts' reports are sent on."},
    {"(dynamic|compatible)",
     "dynamic: to the source ports, the default; compatible: not, the router sends the groups by itself."},
    {"priority-override", "The priority of the groups' frames, in place of their own."},
    {"<0-7>", "0, low, to 7, high; that of each frame by default."},
    {"source-port", "Ports to the router, at which the groups arrive."},
    {"source-tagging", "Frames of the multicast VLAN at source ports."},
    {"(tagged|untagged)", "tagged: with the VLAN's tag, the default; untagged: without."},
    {"receiver-port", "Ports to the hosts."},
    {"immediate-leave", "What follows when a host at a receiver port leaves a group."},
    {"immediate-leave (enable|disable)",
     "enable: the port gets it no more at once; disable: after a query, the default."},
    {"group", "Groups that this multicast VLAN carries."},
    {"group IPADDR", "The first group, 224.0.1.0 to 239.255.255.255."},
    {"to", "Up to and with the last group."},
    {"to IPADDR", "The last group; the first one again for one alone."},
    {"statistics", "Reports, leaves and queries of each multicast VLAN."},
    {"vlan", "Multicast VLANs."},
};

constexpr cmds_form k_forms[] = {
    setting(k_mvr, "activate (enable|disable)", "Let this multicast VLAN work, or not.").at_first("disable"),
    setting(k_mvr, "mode (dynamic|compatible)", "Send hosts' reports to the source ports, or keep them.")
        .at_first("dynamic"),
    setting(k_mvr, "priority-override <0-7>", "Give the groups' frames this priority."),
    setting(k_mvr, "source-port PORTLISTS", "Take the groups from these ports; none by default."),
    setting(k_mvr, "source-tagging (tagged|untagged)", "Tag the frames at source ports, or do not.")
        .at_first("tagged"),
    setting(k_mvr, "receiver-port PORTLISTS", "Let hosts at these ports receive groups; none by default."),
    setting(k_mvr, "immediate-leave (enable|disable)", "End a group at once when it is left, or ask first.")
        .at_first("disable"),
    setting(k_mvr, "group IPADDR to IPADDR", "Carry these groups; none by default.").keyed(1),
    action(k_actions, "clear mvr statistics", "Begin to count from 0."),
    undo(k_mvr, "no priority-override", "Leave the frames their own priority."),
    undo(k_mvr, "no source-port", "Take the groups from no port."),
    undo(k_mvr, "no receiver-port", "Let no port receive groups."),
    undo(k_mvr, "no group IPADDR", "Do not carry the groups from this one on."),
    show(k_shown, "show mvr", "Show the multicast VLANs with their ports and groups."),
    show(k_shown, "show mvr vlan VLANLISTS", "Show who receives what in these multicast VLANs."),
    show(k_shown, "show mvr statistics", "Show the reports, leaves and queries of each multicast VLAN."),
};

} // namespace

CMDS_FAMILY(mvr, "mvr", {k_mask_config, 9, 4, 3});
