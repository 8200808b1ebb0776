// Another start of the switch, and the configuration that it left the factory with.

#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_status.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_reset.h"
#include "lib/config/config_file.h"
#include "lib/services/restart.h"

#include <cerrno>
#include <cstring>

namespace {

int32_t save_factory(int32_t /*argc*/, const char *const * /*argv*/) {
    config_store *const empty = config_new();
    const bool saved = config_save(*empty, k_cmds_saved_config);
    const int error = errno;
    config_free(empty);
    if (!saved) {
        cli_print("%% The saved configuration could not be replaced: %s\n", std::strerror(error));
    }
    return saved ? 0 : k_cmds_failed;
}

int32_t run_factory(int32_t /*argc*/, const char *const * /*argv*/) {
    const size_t stay = cmds_take_all_back();
    if (stay != 0) {
        cli_print("%% Settings that could not be taken back: %zu\n", stay);
    }
    return stay == 0 ? 0 : k_cmds_failed;
}

int32_t restart(int32_t /*argc*/, const char *const * /*argv*/) {
    if (!restart_is_possible()) {
        return cmds_refuse("Not supported here");
    }
    restart_ask();
    cli_set_last_status(k_csh_status_restarts);
    return 0;
}

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
           "Replace the saved configuration by the factory's, after a question.")
        .asks("The saved configuration is replaced by the factory's.")
        .by(save_factory),
    action(k_actions, "copy factory-default-config startup-config force",
           "Replace the saved configuration by the factory's at once.")
        .by(save_factory),
    action(k_actions, "reload default-config",
           "Run the factory's configuration, after a question. The saved one stays.")
        .asks("The running configuration is replaced by the factory's.")
        .by(run_factory),
    action(k_actions, "reload default-config force",
           "Run the factory's configuration at once. The saved one stays.")
        .by(run_factory),
    action(k_actions, "reboot", "Restart the switch, after a question. What was not saved is lost.")
        .asks("The switch restarts, and what was not saved is lost.")
        .by(restart),
    action(k_actions, "reboot force", "Restart the switch at once. What was not saved is lost.").by(restart),
};

} // namespace

CMDS_FAMILY(reload, "reload", {k_mask_config, 6, 0, 0});
