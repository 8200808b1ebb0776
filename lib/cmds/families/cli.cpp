// How long a shell stays open that nobody types at.

#include "lib/base/parse_number.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_auto_logout.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_look.h"
#include "lib/cmds/cmds_services.h"

namespace {

constexpr const char *k_minutes_at_first = "10";

int32_t show_cli(int32_t /*argc*/, const char *const * /*argv*/) {
    const int32_t minutes = cmds_auto_logout_minutes();
    report shown;
    if (minutes != 0) {
        report_add(shown, {"auto_logout_minutes", "Auto-logout after"}, minutes, "min");
    } else {
        report_add(shown, {"auto_logout_minutes", "Auto-logout after"}, "never");
    }
    report_add(shown, {"screen_length", "Lines of a screen"}, screen_length());
    cmds_print_report(shown);
    return 0;
}

constexpr cmds_word k_words[] = {
    {"cli", "The shell."},
    {"auto-logout", "End a session that nobody types at."},
    {"never", "However long that lasts."},
    {"<1-60>", "Minutes without a key, 1 to 60; 10 by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "cli auto-logout <1-60>", "End a session after so many idle minutes; 10 by default.")
        .one_of("cli auto-logout")
        .at_first(k_minutes_at_first),
    setting(k_config, "cli auto-logout never", "Leave idle sessions open.").one_of("cli auto-logout"),
    undo(k_config, "no cli auto-logout", "End a session after 10 idle minutes again."),
    show(k_shown, "show cli", "Show the shell's settings.").by(show_cli),
};

} // namespace

int32_t cmds_auto_logout_minutes() {
    const std::string value =
        cmds_look_up(cmds_global_section(), "cli auto-logout").value_or(k_minutes_at_first);
    int32_t minutes = 0; // "never" is no number
    return parse_number(value, &minutes) ? minutes : 0;
}

CMDS_FAMILY(cli, "cli", {k_mask_config, 2, 1, 1});
