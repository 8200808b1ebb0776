// The modules of the ports, and what they measure.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"sfp", "Modules in the ports."},
    {"info", "Maker, type, serial number and measured values."},
    {"ddmi", "What modules measure: temperature, voltage, current, and light sent and received."},
    {"ddmi (enable|disable)", "Read the modules and check their limits, or not; enable by default."},
    {"rx-power", "How little light may arrive at this port."},
    {"(-36|-34|-32|-30|-28|-26|-24|-22|-20|-18|-16|-14|-12|-10)",
     "dBm, -36 to -10 in steps of 2; by default the limit that the module itself has."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "sfp ddmi (enable|disable)", "Read what modules measure, or do not.")
        .at_first("enable"),
    setting(k_ports, "sfp ddmi rx-power (-36|-34|-32|-30|-28|-26|-24|-22|-20|-18|-16|-14|-12|-10)",
            "Report when less light arrives than this."),
    undo(k_ports, "no sfp ddmi rx-power", "Report at the module's own limit again."),
    show(k_shown, "show sfp info", "Show the modules, and what they measure."),
};

} // namespace

CMDS_FAMILY(sfp, "sfp", {k_mask_config, 2, 1, 1});
