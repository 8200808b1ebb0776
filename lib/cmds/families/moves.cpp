// How one comes from mode to mode: all of it from the table of modes.

#include "lib/base/parse_number.h"
#include "lib/base/result.h"
#include "lib/base/switch_ports.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_status.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_session.h"
#include "lib/cmds/cmds_values.h"

#include <algorithm>

namespace {

int32_t enter_configuration(int32_t /*argc*/, const char *const * /*argv*/) {
    cmds_enter_mode(k_cli_mode_config);
    return 0;
}

int32_t end_session(int32_t /*argc*/, const char *const * /*argv*/) {
    cli_set_last_status(k_csh_status_session_ended);
    return 0;
}

int32_t leave_mode(int32_t /*argc*/, const char *const * /*argv*/) {
    cmds_enter_mode(cmds_current_mode().parent);
    return 0;
}

int32_t leave_configuration(int32_t /*argc*/, const char *const * /*argv*/) {
    cmds_enter_mode(k_mode_exec);
    return 0;
}

uint32_t bits_of(const std::string &ports) {
    std::vector<cmds_span> spans;
    ignore_result(cmds_read_list(ports, 1, k_switch_ports, &spans)); // it has been read before
    uint32_t bits = 0;
    for (const cmds_span &span : spans) {
        for (int32_t port = span.low; port <= span.high; port++) {
            bits |= 1U << static_cast<uint32_t>(port);
        }
    }
    return bits;
}

/// Enters the mode whose line this is, with what its arguments say.
int32_t enter_mode(int32_t argc, const char *const *argv) {
    const cmds_row &row = cmds_running_row();
    const cmds_mode &mode =
        *std::find_if(std::begin(k_cmds_modes), std::end(k_cmds_modes), [&](const cmds_mode &one) {
            return one.line != nullptr && row.form->line == one.line;
        });
    cmds_kept kept;
    if (const int32_t refused = cmds_keep_line(row, argc, argv, &kept); refused != 0) {
        return refused;
    }
    if (mode.about == cmds_about::context) {
        const config_context context =
            config_enter(cmds_store(), {cmds_rank(row), kept.value, kept.line, 0}, mode.stays);
        if (context == k_config_none) {
            return cmds_refuse("The configuration is full");
        }
        cmds_set_context(context);
    } else if (mode.about == cmds_about::ports) {
        cmds_set_ports(bits_of(kept.value));
    }
    cmds_enter_mode(mode.id);
    return 0;
}

// ---- the forms

constexpr cmds_where k_exec = {k_in_exec, k_mask_config};
constexpr cmds_where k_exec_of_users = {k_in_exec, k_mask_user};
constexpr cmds_where k_config = {k_in_config, k_mask_config};

constexpr bool has_own_way_out(const cmds_mode &mode) {
    return mode.id != k_mode_exec && mode.leaves_as == 0;
}

/// The modes that are left by the same commands.
constexpr cmds_where left_as(const cmds_mode &wanted) {
    uint32_t modes = 0;
    for (const cmds_mode &mode : k_cmds_modes) {
        modes |= mode.id == wanted.id || mode.leaves_as == wanted.id ? cmds_mode_bit(mode.id) : 0;
    }
    return {modes, k_mask_config};
}

constexpr size_t count_all() {
    size_t count = 2;
    for (const cmds_mode &mode : k_cmds_modes) {
        count += (mode.line != nullptr ? 1 : 0) + (has_own_way_out(mode) ? 2 : 0);
    }
    return count;
}

constexpr std::array<cmds_form, count_all()> make_forms() {
    std::array<cmds_form, count_all()> forms = {
        move(k_exec, "configure terminal", "Enter the configuration.").by(enter_configuration),
        move(k_exec_of_users, "exit", "End the session.").by(end_session)};
    size_t count = 2;
    for (const cmds_mode &mode : k_cmds_modes) {
        if (mode.line != nullptr) {
            forms[count++] = move(k_config, mode.line, mode.text).by(enter_mode);
        }
        if (has_own_way_out(mode)) {
            const bool is_top = mode.parent == k_mode_exec;
            forms[count++] = move(left_as(mode), "exit",
                                  is_top ? "Leave the configuration." : "Go back to the configuration.")
                                 .by(leave_mode);
            forms[count++] = move(left_as(mode), "end", "Leave the configuration.").by(leave_configuration);
        }
    }
    return forms;
}

constexpr auto k_forms = make_forms();

constexpr cmds_word k_words[] = {
    {"configure", "Configure the switch."},
    {"terminal", "From this terminal."},
    {"interface", "Configure interfaces."},
    {"range", "Several ones at once."},
    {"gigabitethernet1/0/", "Ports of the switch."},
    {"vlan", "Configure a VLAN."},
    {"<1-4094>", "The VLAN's id."},
    {"exit", "Leave this mode."},
    {"end", "Leave the configuration."},
};

} // namespace

CMDS_FAMILY(moves, "configure", count_all(), 0, 0);
