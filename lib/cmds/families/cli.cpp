// How long a shell stays open that nobody types at.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"cli", "The shell."},
    {"auto-logout", "End a session that nobody types at."},
    {"never", "However long that lasts."},
    {"<1-60>", "Minutes without a key, 1 to 60; 10 by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "cli auto-logout <1-60>", "End a session after so many idle minutes; 10 by default.")
        .one_of("cli auto-logout")
        .at_first("10"),
    setting(k_config, "cli auto-logout never", "Leave idle sessions open.").one_of("cli auto-logout"),
    undo(k_config, "no cli auto-logout", "End a session after 10 idle minutes again."),
    show(k_shown, "show cli", "Show the shell's settings, and who is logged in."),
};

} // namespace

CMDS_FAMILY(cli, "cli", 2, 1, 1);
