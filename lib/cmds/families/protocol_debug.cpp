// What the protocols print of themselves while they work, and what the console has said.

#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"

namespace {

// Nothing of this stands in the configuration, so that there is nothing to take out of it.
int32_t switch_off(int32_t /*argc*/, const char *const * /*argv*/) { return cmds_fail("Not supported here"); }

constexpr cmds_where k_debugging = {cmds_mode_bit(k_mode_engineering), k_mask_debug};

constexpr cmds_word k_words[] = {
    {"no", "Print no more of it."},
    {"dbg-stp", "Print what spanning tree does."},
    {"garp-dbg", "Print what GARP does, which registers attributes, 802.1D."},
    {"gvrp-dbg", "Print what GVRP does, which registers VLANs by GARP, 802.1Q."},
    {"bpdu", "BPDUs, field by field."},
    {"state-machine", "Its state machines, one line for each change."},
    {"packet", "Frames of the protocol, field by field."},
    {"timer", "Join, leave and leave-all timers that run out."},
    {"dbg-stp event", "Changes of roles, port states and the topology."},
    {"garp-dbg event", "Joins and leaves, and the states that follow."},
    {"gvrp-dbg event", "VLANs that are registered at a port, and that leave it."},
    {"console-log", "What the system has printed at the console."},
};

constexpr cmds_form k_forms[] = {
    action(k_debugging, "dbg-stp bpdu PORTLISTS", "Print the BPDUs that these ports receive and send."),
    action(k_debugging, "dbg-stp event", "Print changes of roles, port states and the topology."),
    action(k_debugging, "dbg-stp state-machine PORTLISTS", "Print the state machines of these ports."),
    action(k_debugging, "garp-dbg event", "Print joins and leaves, and the states that follow."),
    action(k_debugging, "garp-dbg packet PORTLISTS", "Print the GARP frames of these ports."),
    action(k_debugging, "garp-dbg timer", "Print the GARP timers that run out."),
    action(k_debugging, "gvrp-dbg event", "Print the VLANs that come and go at ports."),
    action(k_debugging, "gvrp-dbg packet PORTLISTS", "Print the GVRP frames of these ports."),
    undo(k_debugging, "no dbg-stp", "Print nothing of spanning tree.").by(switch_off),
    undo(k_debugging, "no dbg-stp bpdu", "Print no BPDUs; the rest goes on.").by(switch_off),
    undo(k_debugging, "no garp-dbg", "Print nothing of GARP.").by(switch_off),
    undo(k_debugging, "no gvrp-dbg", "Print nothing of GVRP.").by(switch_off),
    show(k_debugging, "show console-log", "Show what the system has printed at the console since its start."),
};

} // namespace

CMDS_FAMILY(protocol_debug, "dbg-stp", {k_mask_debug, 8, 4, 1});
