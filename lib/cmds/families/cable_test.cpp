// The test of copper cables: where a pair is open or short.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"cable-test", "The test of copper cables."},
    {"start", "Test now; the link is down for some seconds."},
    {"result", "What the last test has found."},
};

constexpr cmds_form k_forms[] = {
    action(k_actions, "cable-test start PORTLISTS",
           "Test the cables at these ports; their links go down meanwhile."),
    show(k_shown, "show cable-test result",
         "Show for each pair whether it is good, and where it is open or short."),
};

} // namespace

CMDS_FAMILY(cable_test, "cable-test", {k_mask_config, 1, 0, 1});
