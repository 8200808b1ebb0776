// Quality of service: which queue a frame waits in, and in which order the queues are emptied.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"qos", "Quality of service."},
    {"mode", "The order in which ports empty their 8 queues."},
    {"(strict|wrr|hybrid)",
     "Highest first; by weights; queue 7 first and the others by weights. wrr by default."},
    {"trust", "What a frame's priority is taken from."},
    {"(cos|dscp|port)", "The 802.1Q tag, the DSCP of IP, or the port's default priority; cos by default."},
    {"diffserv", "The DSCP in the header of IP packets."},
    {"dscp", "The priority that a DSCP stands for."},
    {"<0-63>", "A DSCP, 0 to 63."},
    {"priority", "The priority inside the switch."},
    {"priority <0-7>", "A priority, 0 to 7; by default the DSCP divided by 8."},
    {"remark", "Whether packets that leave are given another DSCP."},
    {"remark (enable|disable)", "By the map of \"diffserv remark-map\", or not at all; not by default."},
    {"remark-map", "The DSCP that a priority is written as."},
    {"remark-map <0-7>", "A priority, 0 to 7."},
    {"<0-7> <0-63>", "A DSCP, 0 to 63; by default 8 times the priority."},
    {"queue", "The queues of the ports; 7 is the highest."},
    {"cos-map", "The queue that a priority waits in."},
    {"cos-map <0-7>", "A priority, 0 to 7."},
    {"<0-7> <0-7>", "A queue, 0 to 7; for priorities 0 to 7 by default 1, 0, 2, 3, 4, 5, 6, 7."},
    {"weight", "The share of a queue, in the modes wrr and hybrid."},
    {"weight <0-7>", "A queue, 0 to 7."},
    {"<1-100>", "Frames in a turn, 1 to 100; for queues 0 to 7 by default 1, 2, 3, 4, 5, 6, 7, 8."},
    {"rate-limit", "The most that a queue of this port may send."},
    {"rate-limit <0-7>", "A queue, 0 to 7."},
    {"<64-1000000>", "kbit/s, 64 to 1000000; no limit by default."},
    {"default-priority", "The priority of frames without a tag."},
    {"default-priority <0-7>", "A priority, 0 to 7; 0 by default."},
    {"queue counters", "Frames sent and dropped, by queue."},
    {"interface", "Of certain ports only."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "qos mode (strict|wrr|hybrid)", "Set the order in which queues are emptied.")
        .at_first("wrr"),
    setting(k_ports, "qos trust (cos|dscp|port)", "Set what the priority of arriving frames is taken from.")
        .at_first("cos"),
    setting(k_config, "diffserv dscp <0-63> priority <0-7>", "Give packets with this DSCP this priority.")
        .keyed(1),
    setting(k_config, "diffserv remark-map <0-7> <0-63>", "Write this priority as this DSCP.").keyed(1),
    setting(k_ports, "diffserv remark (enable|disable)", "Write DSCPs by the map, or not.")
        .at_first("disable"),
    setting(k_config, "queue cos-map <0-7> <0-7>", "Let frames of this priority wait in this queue.")
        .keyed(1),
    setting(k_config, "queue weight <0-7> <1-100>", "Give this queue this share.").keyed(1),
    setting(k_ports, "queue rate-limit <0-7> <64-1000000>", "Limit what this queue sends.").keyed(1),
    setting(k_ports, "default-priority <0-7>", "Set the priority of frames that arrive without a tag.")
        .at_first("0"),
    action(k_actions, "clear queue counters", "Begin to count from 0 at all ports."),
    action(k_actions, "clear queue counters interface PORTLISTS", "Begin to count from 0 at these ports."),
    undo(k_config, "no diffserv dscp <0-63>", "Give packets with this DSCP the usual priority again."),
    undo(k_config, "no diffserv remark-map <0-7>", "Write this priority as the usual DSCP again."),
    undo(k_config, "no queue cos-map <0-7>", "Let frames of this priority wait in the usual queue again."),
    undo(k_config, "no queue weight <0-7>", "Give this queue its usual share again."),
    undo(k_ports, "no queue rate-limit <0-7>", "Do not limit what this queue sends."),
    show(k_shown, "show qos", "Show the mode, and what each port trusts."),
    show(k_shown, "show diffserv", "Show both maps of DSCPs, and which ports write them."),
    show(k_shown, "show queue cos-map", "Show the queues by priority, with their weights."),
    show(k_shown, "show queue counters", "Show how many frames each queue has sent and dropped."),
};

} // namespace

CMDS_FAMILY(qos, "qos", {k_mask_config, 11, 5, 4});
