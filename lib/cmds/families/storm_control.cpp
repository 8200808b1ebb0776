// Storm control: frames that go to many are dropped when there are too many of them.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"storm-control", "Drop what goes to many ports when there is too much of it."},
    {"rate", "How many of these frames this port takes."},
    {"<1-1000000>", "Frames per second, 1 to 1000000; 1000 by default."},
    {"type", "A kind of frames that is counted and limited."},
    {"(broadcast|multicast|unknown-unicast)",
     "To all, to groups, or to MAC addresses nobody has learnt; none of them by default."},
    {"trap", "Whether SNMP managers hear of a storm."},
    {"trap (enable|disable)", "A trap when frames begin to be dropped, or none; none by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_ports, "storm-control rate <1-1000000>", "Drop frames of the chosen types above this rate.")
        .at_first("1000"),
    setting(k_ports, "storm-control type (broadcast|multicast|unknown-unicast)", "Limit this type, too.")
        .keyed(1),
    setting(k_config, "storm-control trap (enable|disable)", "Send a trap when a storm begins, or not.")
        .at_first("disable"),
    action(k_actions, "clear storm-control counters", "Begin to count dropped frames from 0."),
    undo(k_ports, "no storm-control type (broadcast|multicast|unknown-unicast)",
         "Do not limit this type of frames."),
    show(k_shown, "show storm-control",
         "Show the limits of the ports, and how many frames they have dropped."),
};

} // namespace

CMDS_FAMILY(storm_control, "storm-control", {k_mask_config, 4, 1, 1});
