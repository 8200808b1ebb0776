// Port mirroring: what passes some ports is copied to another one.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"mirror", "Copies of the traffic of some ports, for an analyser at another one."},
    {"mirror (enable|disable)", "Mirroring on or off; off by default."},
    {"destination", "Where the copies go."},
    {"PORT_ID", "The port of the analyser, 1 to 12; none by default."},
    {"source", "What is copied."},
    {"ingress", "Frames that arrive at these ports."},
    {"egress", "Frames that leave at these ports."},
    {"PORTLISTS", "Ports, such as 1,3-5; none by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "mirror (enable|disable)", "Make copies, or none.").at_first("disable"),
    setting(k_config, "mirror destination PORT_ID", "Send the copies to this port."),
    setting(k_config, "mirror source ingress PORTLISTS", "Copy what arrives at these ports."),
    setting(k_config, "mirror source egress PORTLISTS", "Copy what leaves at these ports."),
    undo(k_config, "no mirror destination", "Send copies nowhere."),
    undo(k_config, "no mirror source ingress", "Copy nothing that arrives."),
    undo(k_config, "no mirror source egress", "Copy nothing that leaves."),
    show(k_shown, "show mirror", "Show what is copied, and where to."),
};

} // namespace

CMDS_FAMILY(mirror, "mirror", {k_mask_config, 4, 3, 1});
