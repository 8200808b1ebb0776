// Ports that exchange no frames with each other.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"port-isolation", "Ports that exchange no frames with each other."},
    {"group", "Ports of one group exchange no frames; all others do."},
    {"<1-6>", "The group's number, 1 to 6; none by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_ports, "port-isolation group <1-6>", "Isolate the port from the others of this group."),
    undo(k_ports, "no port-isolation group", "Isolate the port from no others."),
    show(k_shown, "show port-isolation", "Show the groups with their ports."),
};

} // namespace

CMDS_FAMILY(port_isolation, "port-isolation", {k_mask_config, 1, 1, 1});
