// Loop detection: frames of the switch's own that come back to it tell of a loop behind a port.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"loop-detection", "Loop detection: frames that come back tell of a loop behind a port."},
    {"clear loop-detection", "Ports that loop detection has shut down or blocked."},
    {"interval", "How often a port sends such a frame."},
    {"<1-60>", "Seconds, 1 to 60; 2 by default."},
    {"address", "Where the frames are sent to."},
    {"address MACADDR", "A MAC address that other switches flood; ff:ff:ff:ff:ff:ff by default."},
    {"recovery", "When a port that was shut down or blocked is tried again."},
    {"recovery <60-600>", "Seconds, 60 to 600; by default ports stay down until they are cleared."},
    {"action", "What is done with a port when there is a loop."},
    {"(shutdown|block|log)", "Shut it down, the default; block its frames; or only log it and send a trap."},
    {"vlan", "VLANs that are searched for loops, too, by frames with their tags."},
    {"port", "These ports only."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "loop-detection (enable|disable)", "Look for loops, or not; off by default.")
        .at_first("disable"),
    setting(k_config, "loop-detection interval <1-60>", "Send frames this often; every 2 s by default.")
        .at_first("2"),
    setting(k_config, "loop-detection address MACADDR",
            "Send frames to this address; ff:ff:ff:ff:ff:ff by default.")
        .at_first("ff:ff:ff:ff:ff:ff"),
    setting(k_config, "loop-detection recovery <60-600>", "Try ports again so long after a loop."),
    setting(k_ports, "loop-detection (enable|disable)", "Look for loops at the port, or not; on by default.")
        .at_first("enable"),
    setting(k_ports, "loop-detection action (shutdown|block|log)",
            "Do this when there is a loop; shutdown by default.")
        .at_first("shutdown"),
    setting(k_ports, "loop-detection vlan VLANLISTS",
            "Send frames tagged for these VLANs, too; untagged ones only by default."),
    action(k_actions, "clear loop-detection port PORTLISTS", "Bring ports back that had a loop."),
    undo(k_config, "no loop-detection interval", "Send frames every 2 s again."),
    undo(k_config, "no loop-detection address", "Send frames to ff:ff:ff:ff:ff:ff again."),
    undo(k_config, "no loop-detection recovery", "Leave ports down after a loop, until they are cleared."),
    undo(k_ports, "no loop-detection vlan", "Send untagged frames only."),
    show(k_shown, "show loop-detection", "Show the settings, and the ports that have a loop."),
    show(k_shown, "show loop-detection port PORTLISTS",
         "Show settings, state, frames and the last loop of these ports."),
};

} // namespace

CMDS_FAMILY(loop_detection, "loop-detection", {k_mask_config, 8, 4, 2});
