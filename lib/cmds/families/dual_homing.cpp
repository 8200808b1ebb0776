// Dual homing: groups of two uplinks of which one stands by for the other.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"dual-homing", "Groups of links of which one stands by for the other."},
    {"group", "A dual-homing group."},
    {"<1-6>", "The group's number, 1 to 6."},
    {"dual-homing (enable|disable)", "All groups on or off; off by default."},
    {"primary", "The link that carries the traffic while it is up."},
    {"secondary", "The link that stands by."},
    {"primary PORT_ID", "The port of the primary link, 1 to 12; none by default."},
    {"secondary PORT_ID", "The port of the secondary link, 1 to 12; none by default."},
    {"revertive", "Whether traffic goes back to the primary link when that is up again."},
    {"revertive (enable|disable)", "Back to the primary link, or not; back by default."},
    {"restore-delay", "How long the primary link must be up before traffic goes back to it."},
    {"<1-300>", "Seconds, 1 to 300; 10 by default."},
};

constexpr cmds_where k_group = cmds_in(k_mode_dual_homing);

constexpr cmds_form k_forms[] = {
    setting(k_config, "dual-homing (enable|disable)", "Switch all dual-homing groups on or off.")
        .at_first("disable"),
    setting(k_group, "primary PORT_ID", "Set the port that carries the traffic."),
    setting(k_group, "secondary PORT_ID", "Set the port that stands by, blocked."),
    setting(k_group, "revertive (enable|disable)", "Go back to the primary link when it is up, or stay.")
        .at_first("enable"),
    setting(k_group, "restore-delay <1-300>", "Wait this long before going back to the primary link.")
        .at_first("10"),
    undo(k_group, "no primary", "Take the primary port out of the group."),
    undo(k_group, "no secondary", "Take the secondary port out of the group."),
    show(k_shown, "show dual-homing", "Show all dual-homing groups, a line each."),
    show(k_shown, "show dual-homing group <1-6>",
         "Show one group: its ports, which of them forwards, since when."),
};

} // namespace

CMDS_FAMILY(dual_homing, "dual-homing", {k_mask_config, 5, 2, 2});
