// The loopback test: a port sends frames to itself.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"loopback", "The test in which a port sends frames to itself."},
    {"start", "Test now; the ports carry nothing else meanwhile."},
    {"(internal|external)", "Back inside the switch, or through a loopback plug in the port."},
    {"result", "What the last test has found."},
};

constexpr cmds_form k_forms[] = {
    action(k_actions, "loopback start PORTLISTS (internal|external)",
           "Test these ports; they carry nothing else meanwhile."),
    show(k_shown, "show loopback result", "Show which ports have got their frames back."),
};

} // namespace

CMDS_FAMILY(loopback, "loopback", {k_mask_config, 1, 0, 1});
