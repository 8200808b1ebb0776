// The switching chip's own tables, ports and counters, for engineers.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"debug-switch", "The switching chip itself: its tables, ports and counters."},
    {"mac-table", "Its table of addresses."},
    {"vlan-table", "Its table of VLANs."},
    {"multicast-table", "Its table of multicast groups."},
    {"acl-table", "Its table of filter rules."},
    {"stp-table", "Port states by spanning tree instance."},
    {"dump", "Print all of it, each entry as the chip holds it."},
    {"entry", "Print one entry as the chip holds it."},
    {"entry <0-16383>", "The entry's number, 0 to 16383."},
    {"entry <0-63>", "The instance, 0 to 63; 0 is the common tree."},
    {"find", "Look an address up as the chip does for a frame."},
    {"flush", "Forget the learned addresses of ports."},
    {"counters", "The chip's own counters of a port."},
    {"counters clear", "Begin to count from 0, in the chip and thus everywhere."},
    {"port", "A port of the chip."},
    {"port dump", "Print its link, speed, duplex mode, flow control and state."},
    {"force", "Fix speed and duplex mode, past the configuration, until the next start."},
    {"(10|100|1000)", "Mbit/s; 1000 with full duplex only."},
    {"(half|full)", "Send and receive in turn, or at once."},
    {"auto", "Negotiate speed and duplex mode again."},
    {"queue", "The output queues of a port."},
    {"queue dump", "Print how full each queue is, and what it has dropped."},
    {"buffer", "The memory that all ports share."},
    {"buffer dump", "Print how much of it is in use, now and at most since the start."},
    {"interrupt", "Interrupts of the chip."},
    {"interrupt dump", "Print which are enabled, which are pending, and how many there were."},
    {"send", "Send test frames from the processor."},
    {"size", "Length of a frame."},
    {"<64-1518>", "Bytes with the checksum, 64 to 1518."},
    {"count", "How many frames."},
    {"<1-100000>", "Frames to each port, 1 to 100000, as fast as the processor can."},
    {"reset", "Reset the chip and set it up again. Traffic stops for some seconds."},
    {"ports", "The chip's ports."},
};

constexpr cmds_form k_forms[] = {
    action(k_bench, "debug-switch mac-table dump", "Print the addresses the chip knows."),
    action(k_bench, "debug-switch mac-table entry <0-16383>", "Print an entry of the table of addresses."),
    action(k_bench, "debug-switch mac-table find MACADDR VLANID",
           "Print where this address is in this VLAN."),
    action(k_bench, "debug-switch mac-table flush PORTLISTS", "Forget the addresses learned at these ports."),
    action(k_bench, "debug-switch vlan-table dump", "Print the VLANs the chip knows."),
    action(k_bench, "debug-switch vlan-table entry VLANID", "Print the members of a VLAN in the chip."),
    action(k_bench, "debug-switch multicast-table dump", "Print the multicast groups the chip knows."),
    action(k_bench, "debug-switch acl-table dump", "Print the filter rules in the chip and their hits."),
    action(k_bench, "debug-switch stp-table entry <0-63>", "Print the port states of an instance."),
    action(k_bench, "debug-switch counters dump PORT_ID", "Print all counters of a port, zeros too."),
    action(k_bench, "debug-switch counters clear PORTLISTS", "Set the counters of these ports to 0."),
    action(k_bench, "debug-switch port dump PORT_ID", "Print what the chip says of a port."),
    action(k_bench, "debug-switch port force PORT_ID (10|100|1000) (half|full)",
           "Fix speed and duplex mode of a port."),
    action(k_bench, "debug-switch port auto PORTLISTS", "Let these ports negotiate again."),
    action(k_bench, "debug-switch queue dump PORT_ID", "Print the output queues of a port."),
    action(k_bench, "debug-switch buffer dump", "Print the use of the shared memory."),
    action(k_bench, "debug-switch interrupt dump", "Print the chip's interrupts."),
    action(k_bench, "debug-switch send PORTLISTS size <64-1518> count <1-100000>",
           "Send broadcast test frames from these ports."),
    action(k_bench, "debug-switch reset",
           "Reset the chip and set it up again. Traffic stops for some seconds."),
    show(k_bench, "show debug-switch", "Show the chip's type, revision, clock and temperature."),
    show(k_bench, "show debug-switch ports",
         "Show which port of the chip is which of the switch, and its link."),
};

} // namespace

CMDS_FAMILY(debug_switch, "debug-switch", {k_mask_engineering, 19, 0, 2});
