// The switch's name.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"hostname", "The switch's name, which stands in front of the prompt."},
    {"STRINGS", "The name, up to 63 letters, digits and hyphens."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "hostname STRINGS", "Name the switch.").up_to(63),
    undo(k_config, "no hostname", "Use the name again that the switch has by itself."),
};

} // namespace

CMDS_FAMILY(hostname, "hostname", 1, 1, 0);
