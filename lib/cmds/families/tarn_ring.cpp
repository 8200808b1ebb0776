// Redundant rings: a switch has two ports in each, of which the ring's master blocks one.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"tarn-ring", "Redundant rings."},
    {"ring", "A redundant ring."},
    {"<1-2>", "The ring's number, 1 or 2."},
    {"tarn-ring (enable|disable)", "All redundant rings on or off; off by default."},
    {"ring-ports", "The two ports of this switch in the ring."},
    {"ring-ports PORT_ID", "The first port, 1 to 12."},
    {"PORT_ID PORT_ID", "The second port, 1 to 12; a master blocks it while the ring is closed."},
    {"role", "What this switch does in the ring."},
    {"(master|member)", "The one switch that blocks a port, or one of the others; member by default."},
};

constexpr cmds_where k_ring = cmds_in(k_mode_tarn_ring);

constexpr cmds_form k_forms[] = {
    setting(k_config, "tarn-ring (enable|disable)", "Switch all redundant rings on or off.")
        .at_first("disable"),
    setting(k_ring, "ring-ports PORT_ID PORT_ID", "Set the two ports in the ring; none by default."),
    setting(k_ring, "role (master|member)", "Set the role; a ring has exactly one master.")
        .at_first("member"),
    undo(k_ring, "no ring-ports", "Take both ports out of the ring."),
    show(k_shown, "show tarn-ring ring <1-2>", "Show a ring: on or off, role, ports, whether it is closed."),
};

} // namespace

CMDS_FAMILY(tarn_ring, "tarn-ring", {k_mask_config, 3, 1, 1});
