// Settings of the shell itself.

#include "lib/cli/cli_output.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_session.h"

namespace {

/// In the place of cli_print: the line is only read, for its setting.
[[gnu::format(printf, 1, 2)]] int keep_silent(const char * /*format*/, ...) { return 0; }

int32_t set_length(int32_t argc, const char *const *argv) {
    if (cmds_only_records()) {
        int32_t length = 0;
        const int32_t refused = screen_length_read(argv[0], keep_silent, &length);
        return refused == 0 ? cmds_record(argc, argv) : refused;
    }
    const int32_t result = screen_length_set(argv[0], cli_print);
    if (result == k_screen_length_not_stored) {
        cli_print("%% The setting cannot be stored\n");
    }
    return result == 0 ? cmds_record(argc, argv) : result;
}

int32_t set_session_length(int32_t /*argc*/, const char *const *argv) {
    int32_t length = 0;
    const int32_t refused = screen_length_read(argv[0], cli_print, &length);
    if (refused == 0) {
        cmds_set_screen_length(length);
    }
    return refused;
}

constexpr cmds_word k_words[] = {
    {"set", "Change a setting of the shell."},
    {"length", "Lines of a screen."},
    {"VALUE", "2 to 29999; 24 by default."},
    {"session", "Of this session only."},
};

constexpr cmds_form k_forms[] = {
    setting(k_shown, "set length VALUE", "Set the lines of a screen.").at_first("24").by(set_length),
    action(k_shown_to_all, "set length VALUE session", "Set the lines of a screen of this session.")
        .by(set_session_length),
};

} // namespace

CMDS_FAMILY(set, "set", {k_mask_user, 1, 0, 0}, {k_mask_config, 1, 0, 0});
