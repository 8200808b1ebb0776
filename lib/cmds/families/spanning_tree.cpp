// Spanning tree: STP, RSTP and MSTP, what ports do against wrong BPDUs, and the MST region.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_mst = cmds_in(k_mode_mst);

// Only the upper four bits of each: the lower ones number instances and ports.
#define BRIDGE_PRIORITIES                                                                                    \
    "(0|4096|8192|12288|16384|20480|24576|28672|32768|36864|40960|45056|49152|53248|57344|61440)"
#define PORT_PRIORITIES "(0|16|32|48|64|80|96|112|128|144|160|176|192|208|224|240)"

constexpr cmds_word k_words[] = {
    {"spanning-tree", "Spanning tree: protection against loops, 802.1D, 802.1Q."},
    {"clear spanning-tree", "What spanning tree has counted, or found out about neighbours."},
    {"spanning-tree (enable|disable)", "On or off; on by default."},
    {"mode", "The protocol."},
    {"(stp|rstp|mstp)",
     "rstp by default; stp takes up to 50 s after a change; mstp has instances for VLANs."},
    {"priority", "The bridge's priority: the lowest one becomes the root."},
    {BRIDGE_PRIORITIES, "In steps of 4096, lower is better; 32768 by default."},
    {"hello-time", "How often the root sends BPDUs."},
    {"<1-10>", "Seconds, 1 to 10; 2 by default."},
    {"max-age", "How long a BPDU is believed when no newer one comes."},
    {"max-age <6-40>", "Seconds, 6 to 40; 20 by default."},
    {"forward-time", "How long a port listens, and learns, before it forwards."},
    {"<4-30>", "Seconds, 4 to 30; 15 by default."},
    {"max-hops", "How many bridges of the region a BPDU passes before it is dropped."},
    {"max-hops <6-40>", "Bridges, 6 to 40; 20 by default."},
    {"tx-hold-count", "How many BPDUs a port sends within a second at most."},
    {"tx-hold-count <1-10>", "BPDUs a second, 1 to 10; 6 by default."},
    {"pathcost", "The costs of ports that have none of their own."},
    {"method", "How they follow from the speed."},
    {"(short|long)", "long: 32 bits, 1 Gbit/s costs 20000, the default; short: 16 bits, it costs 4."},
    {"mst", "Multiple spanning trees, one for several VLANs."},
    {"<0-15>", "An instance, 0 to 15; 0 has the VLANs of no other one."},
    {"<1-15>", "An instance, 1 to 15; instance 0 has the settings without \"mst\"."},
    {"edge-port", "Ports to end devices, which forward at once."},
    {"edge-port (enable|disable|auto)", "Yes; no; auto: when no BPDU comes in 3 s, the default."},
    {"edge-port bpduguard", "Edge ports that receive a BPDU are shut down."},
    {"edge-port bpdufilter", "Edge ports send no BPDUs, until one comes in."},
    {"bpduguard", "The port is shut down when it receives a BPDU."},
    {"clear spanning-tree bpduguard", "Ports that BPDU guard has shut down."},
    {"(enable|disable|auto)", "On; off; auto: as it is set for edge ports, the default."},
    {"recovery", "When a port that was shut down is tried again."},
    {"<30-86400>", "Seconds, 30 to 86400; by default ports stay down until they are cleared."},
    {"bpdufilter", "The port neither sends nor takes BPDUs; a loop through it is not seen."},
    {"bpdu", "BPDUs of others while spanning tree is off."},
    {"(flood|drop)", "flood: they go to all ports, the default; drop: to none."},
    {"trap", "SNMP traps of spanning tree; none by default."},
    {"new-root", "Sent when this switch has become the root."},
    {"topology-change", "Sent when a port begins or ceases to forward."},
    {"cost", "What the way to the root through the port costs."},
    {"<1-200000000>", "1 to 200000000, 65535 with method short; by default it follows from the speed."},
    {"port-priority", "Which of several ports with the same way to the root forwards."},
    {PORT_PRIORITIES, "In steps of 16, lower is better; 128 by default."},
    {"rootguard", "The port is blocked while a better root is heard there; off by default."},
    {"loopguard", "The port is blocked when BPDUs cease to come; off by default."},
    {"tcnguard", "Topology changes heard at the port are not passed on; off by default."},
    {"link-type", "Whether there is one neighbour at the port; only then it changes fast."},
    {"(auto|point-to-point|shared)", "auto: one when the link is full duplex, the default; one; several."},
    {"instance", "An instance and its VLANs."},
    {"vlan", "VLANs, 802.1Q; one belongs to one instance."},
    {"name", "The region's name, the same on all its switches."},
    {"STRINGS", "A name, up to 32 characters without a blank; by default the switch's MAC address."},
    {"revision", "The region's revision, the same on all its switches."},
    {"<0-65535>", "0 to 65535; 0 by default."},
    {"apply", "Use the region's settings as they stand now; traffic stops for a moment."},
    {"counters", "BPDUs sent, received and dropped at each port."},
    {"clear spanning-tree counters", "BPDUs and topology changes."},
    {"detected-protocols", "Whether a neighbour knows STP only."},
    {"port", "These ports only."},
    {"active", "Ports with a link that take part."},
    {"blockedports", "Ports that are blocked, and why."},
    {"summary", "The settings of the switch, and how many ports are in which state."},
    {"statistics", "Topology changes: how many, when, and heard at which port."},
    {"algorithm-timer", "The timers in use, which are the root's, and the own ones."},
    {"configuration", "The MST region: its name, its revision and its instances."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "spanning-tree (enable|disable)", "Run spanning tree, or not.").at_first("enable"),
    setting(k_config, "spanning-tree mode (stp|rstp|mstp)", "Choose the protocol; rstp by default.")
        .at_first("rstp"),
    setting(k_config, "spanning-tree priority " BRIDGE_PRIORITIES,
            "Give the bridge this priority; 32768 by default.")
        .at_first("32768"),
    setting(k_config, "spanning-tree hello-time <1-10>",
            "As the root, send BPDUs this often; 2 s by default. Max-age is at least twice as long and 2 s.")
        .at_first("2"),
    setting(k_config, "spanning-tree max-age <6-40>",
            "As the root, have BPDUs believed this long; 20 s by default.")
        .at_first("20"),
    setting(k_config, "spanning-tree forward-time <4-30>",
            "As the root, have ports wait this long; 15 s by default, at least half of max-age and 1 s.")
        .at_first("15"),
    setting(k_config, "spanning-tree max-hops <6-40>", "Let BPDUs pass so many bridges; 20 by default.")
        .at_first("20"),
    setting(k_config, "spanning-tree tx-hold-count <1-10>",
            "Send no more BPDUs a second through a port; 6 by default.")
        .at_first("6"),
    setting(k_config, "spanning-tree pathcost method (short|long)",
            "Choose how costs follow from the speed, the same on all bridges; long by default.")
        .at_first("long"),
    setting(k_config, "spanning-tree mst priority <1-15> " BRIDGE_PRIORITIES,
            "Give the bridge this priority in an instance; 32768 by default.")
        .keyed(1)
        .at_first("32768"),
    setting(k_config, "spanning-tree edge-port bpduguard (enable|disable)",
            "Shut edge ports down that receive a BPDU; off by default.")
        .at_first("disable"),
    setting(k_config, "spanning-tree edge-port bpdufilter (enable|disable)",
            "Send no BPDUs through edge ports; off by default.")
        .at_first("disable"),
    setting(k_config, "spanning-tree bpduguard recovery <30-86400>",
            "Try ports again so long after BPDU guard has shut them down."),
    setting(k_config, "spanning-tree bpdu (flood|drop)",
            "Flood or drop BPDUs while spanning tree is off; flood by default.")
        .at_first("flood"),
    setting(k_config, "spanning-tree trap new-root (enable|disable)",
            "Send a trap when this switch becomes the root.")
        .at_first("disable"),
    setting(k_config, "spanning-tree trap topology-change (enable|disable)",
            "Send a trap when the topology changes.")
        .at_first("disable"),
    setting(k_ports, "spanning-tree (enable|disable)", "Let the port take part, or always forward.")
        .at_first("enable"),
    setting(k_ports, "spanning-tree cost <1-200000000>", "Give the port this cost."),
    setting(k_ports, "spanning-tree port-priority " PORT_PRIORITIES,
            "Give the port this priority; 128 by default.")
        .at_first("128"),
    setting(k_ports, "spanning-tree mst cost <1-15> <1-200000000>", "Give the port this cost in an instance.")
        .keyed(1),
    setting(k_ports, "spanning-tree mst port-priority <1-15> " PORT_PRIORITIES,
            "Give the port this priority in an instance; 128 by default.")
        .keyed(1)
        .at_first("128"),
    setting(k_ports, "spanning-tree edge-port (enable|disable|auto)",
            "Say whether an end device is at the port; auto by default.")
        .at_first("auto"),
    setting(k_ports, "spanning-tree bpduguard (enable|disable|auto)",
            "Shut the port down when it receives a BPDU; as set for edge ports by default.")
        .at_first("auto"),
    setting(k_ports, "spanning-tree bpdufilter (enable|disable|auto)",
            "Neither send nor take BPDUs at the port; as set for edge ports by default.")
        .at_first("auto"),
    setting(k_ports, "spanning-tree rootguard (enable|disable)",
            "Never let the way to the root lead through the port; off by default.")
        .at_first("disable"),
    setting(k_ports, "spanning-tree loopguard (enable|disable)",
            "Block the port when BPDUs cease to come; off by default.")
        .at_first("disable"),
    setting(k_ports, "spanning-tree tcnguard (enable|disable)",
            "Pass no topology changes on from the port; off by default.")
        .at_first("disable"),
    setting(k_ports, "spanning-tree link-type (auto|point-to-point|shared)",
            "Say whether there is one neighbour or several; auto by default.")
        .at_first("auto"),
    setting(k_mst, "instance <1-15> vlan VLANLISTS", "Put these VLANs into the instance, and no others.")
        .keyed(1),
    setting(k_mst, "name STRINGS", "Give the region a name.").up_to(32),
    setting(k_mst, "revision <0-65535>", "Give the region's settings a revision; 0 by default.")
        .at_first("0"),
    action(k_mst, "apply", "Use the region's settings now, not only after the next start."),
    action(k_actions, "clear spanning-tree counters", "Begin to count at all ports from 0."),
    action(k_actions, "clear spanning-tree counters port PORTLISTS", "Begin to count at these ports from 0."),
    action(k_actions, "clear spanning-tree detected-protocols",
           "Try RSTP or MSTP again at all ports where a neighbour knew STP only."),
    action(k_actions, "clear spanning-tree detected-protocols port PORTLISTS",
           "Try RSTP or MSTP again at these ports."),
    action(k_actions, "clear spanning-tree bpduguard port PORTLISTS",
           "Bring ports back that BPDU guard has shut down."),
    undo(k_config, "no spanning-tree priority", "Give the bridge priority 32768 again."),
    undo(k_config, "no spanning-tree hello-time", "As the root, send BPDUs every 2 s again."),
    undo(k_config, "no spanning-tree max-age", "As the root, have BPDUs believed for 20 s again."),
    undo(k_config, "no spanning-tree forward-time", "As the root, have ports wait 15 s again."),
    undo(k_config, "no spanning-tree mst priority <1-15>",
         "Give the bridge priority 32768 in the instance again."),
    undo(k_config, "no spanning-tree bpduguard recovery",
         "Leave ports down that BPDU guard has shut down, until they are cleared."),
    undo(k_ports, "no spanning-tree cost", "Take the port's cost from its speed again."),
    undo(k_ports, "no spanning-tree port-priority", "Give the port priority 128 again."),
    undo(k_ports, "no spanning-tree mst cost <1-15>",
         "Take the port's cost in the instance from its speed again."),
    undo(k_ports, "no spanning-tree mst port-priority <1-15>",
         "Give the port priority 128 in the instance again."),
    undo(k_mst, "no instance <1-15>", "Put the instance's VLANs into instance 0 again."),
    undo(k_mst, "no name", "Call the region by the switch's MAC address again."),
    undo(k_mst, "no revision", "Give the region's settings revision 0 again."),
    show(k_shown, "show spanning-tree", "Show the root, this bridge, and all ports with role and state."),
    show(k_shown, "show spanning-tree active", "Show the ports that take part, with role and state."),
    show(k_shown, "show spanning-tree blockedports", "Show the ports that are blocked, and why."),
    show(k_shown, "show spanning-tree summary", "Show the settings, and how many ports are in which state."),
    show(k_shown, "show spanning-tree statistics", "Show how many topology changes there were, and where."),
    show(k_shown, "show spanning-tree counters", "Show the BPDUs sent, received and dropped at each port."),
    show(k_shown, "show spanning-tree port PORTLISTS", "Show all that is known of these ports."),
    show(k_shown, "show spanning-tree algorithm-timer", "Show the root's timers and the own ones."),
    show(k_shown, "show spanning-tree mst <0-15>", "Show an instance: its VLANs, its root and its ports."),
    show(k_shown, "show spanning-tree mst configuration",
         "Show the region, as it is in use and as it is set."),
};

} // namespace

CMDS_FAMILY(spanning_tree, "spanning-tree", {k_mask_config, 37, 13, 10});
