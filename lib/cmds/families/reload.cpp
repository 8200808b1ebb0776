// Another start of the switch, and the configuration that it left the factory with.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"copy", "Copy a configuration."},
    {"factory-default-config", "The configuration that the switch left the factory with."},
    {"startup-config", "In the place of the saved one; it holds from the next start."},
    {"reload", "Run another configuration, without a restart."},
    {"default-config", "The factory's. The switch may have another address afterwards."},
    {"reboot", "Restart the switch. Traffic stops for a minute or two."},
    {"force", "At once, without a question."},
};

constexpr cmds_form k_forms[] = {
    action(k_actions, "copy factory-default-config startup-config",
           "Replace the saved configuration by the factory's, after a question."),
    action(k_actions, "copy factory-default-config startup-config force",
           "Replace the saved configuration by the factory's at once."),
    action(k_actions, "reload default-config",
           "Run the factory's configuration, after a question. The saved one stays."),
    action(k_actions, "reload default-config force",
           "Run the factory's configuration at once. The saved one stays."),
    action(k_actions, "reboot", "Restart the switch, after a question. What was not saved is lost."),
    action(k_actions, "reboot force", "Restart the switch at once. What was not saved is lost."),
};

} // namespace

CMDS_FAMILY(reload, "reload", 6, 0, 0);
