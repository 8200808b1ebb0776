// How one comes from mode to mode: all of it from the table of modes.

#include "lib/base/parse_number.h"
#include "lib/base/result.h"
#include "lib/base/switch_ports.h"
#include "lib/base/take_piece.h"
#include "lib/cli/cli_config.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_status.h"
#include "lib/cmds/cmds_build.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_reset.h"
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

/// The mode of a row by one of its lines.
const cmds_mode &mode_with(const char *cmds_mode::*line, const cmds_row &row) {
    return *std::find_if(std::begin(k_cmds_modes), std::end(k_cmds_modes), [&](const cmds_mode &mode) {
        return mode.*line != nullptr && row.form->line == mode.*line;
    });
}

/// Enters what the context of a line lies within: that exists, too.
bool enter_outer(const cmds_mode &mode, const cmds_kept &kept) {
    if (mode.within == 0) {
        return true;
    }
    const cmds_row &row = *cmds_entering_row(*cmds_find_mode(mode.within));
    std::string_view rest = kept.value;
    const std::string key(take_piece(rest));
    return config_enter(cmds_store(), {cmds_rank(row), key, std::string(row.command.words) + ' ' + key, 0},
                        true) != k_config_none;
}

int32_t enter_context(const cmds_mode &mode, const cmds_row &row, const cmds_kept &kept) {
    const config_context context =
        enter_outer(mode, kept)
            ? config_enter(cmds_store(), {cmds_rank(row), kept.value, kept.line, 0}, mode.stays)
            : k_config_none;
    if (context == k_config_none) {
        return cmds_fail(k_cmds_full);
    }
    cmds_set_context(context);
    return 0;
}

/// Enters the mode whose line this is, with what its arguments say.
int32_t enter_mode(int32_t argc, const char *const *argv) {
    const cmds_row &row = cmds_running_row();
    const cmds_mode &mode = mode_with(&cmds_mode::line, row);
    cmds_kept kept;
    if (cli_is_loading() && mode.unlocks != 0) {
        return cmds_fail(k_cmds_not_saved);
    }
    if (const int32_t refused = cmds_keep_line(row, argc, argv, &kept); refused != 0) {
        return refused;
    }
    int32_t refused = 0;
    if (mode.about == cmds_about::context) {
        refused = enter_context(mode, row, kept);
    } else if (mode.about == cmds_about::vlans) {
        refused = cmds_choose_vlans(kept.value) ? 0 : cmds_fail(k_cmds_full);
    } else if (mode.about == cmds_about::ports) {
        cmds_set_ports(bits_of(kept.value));
    }
    if (refused == 0) {
        cmds_enter_mode(mode.id);
    }
    return refused;
}

/// Takes away what the line of the mode enters, with its settings and with what lies within it.
int32_t take_away(int32_t argc, const char *const *argv) {
    const cmds_row &row = cmds_running_row();
    const cmds_mode &mode = mode_with(&cmds_mode::away, row);
    cmds_kept kept;
    if (const int32_t refused = cmds_keep_line(row, argc, argv, &kept); refused != 0) {
        return refused;
    }
    bool all = true;
    for (const cmds_mode &inner : k_cmds_modes) {
        if (inner.within == mode.id) {
            for (const config_context context :
                 config_contexts_below(cmds_store(), cmds_rank(*cmds_entering_row(inner)), kept.value)) {
                all = cmds_take_away(context) && all;
            }
        }
    }
    const config_context context =
        config_find_context(cmds_store(), cmds_rank(*cmds_entering_row(mode)), kept.value);
    return all && cmds_take_away(context) ? 0 : k_cmds_failed;
}

// ---- the forms

constexpr cmds_where k_exec = cmds_in(k_mode_exec);
constexpr cmds_where k_exec_of_users = {k_exec.modes, k_mask_user};

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

constexpr cmds_counts k_of_users = {k_mask_user, 1, 0, 0}; // the way out of the session

constexpr cmds_counts count_administrators() {
    cmds_counts counts = {k_mask_config, 1, 0, 0};
    for (const cmds_mode &mode : k_cmds_modes) {
        counts.others += (mode.line != nullptr ? 1 : 0) + (has_own_way_out(mode) ? 2 : 0);
        counts.undo += mode.away != nullptr ? 1 : 0;
    }
    return counts;
}
constexpr cmds_counts k_of_administrators = count_administrators();
constexpr size_t k_count = k_of_users.others + k_of_administrators.others + k_of_administrators.undo;

constexpr std::array<cmds_form, k_count> make_forms() {
    std::array<cmds_form, k_count> forms = {
        move(k_exec, "configure terminal", "Enter the configuration.").by(enter_configuration),
        move(k_exec_of_users, "exit", "End the session.").by(end_session)};
    size_t count = 2;
    for (const cmds_mode &mode : k_cmds_modes) {
        if (mode.line != nullptr) {
            forms[count++] = move(cmds_in(mode.from), mode.line, mode.text).by(enter_mode);
        }
        if (mode.away != nullptr) {
            forms[count++] = undo(cmds_in(mode.from), mode.away, mode.away_text).by(take_away);
        }
        if (has_own_way_out(mode)) {
            const bool is_top = mode.parent == k_mode_exec;
            forms[count++] =
                move(left_as(mode), "exit", is_top ? "Leave this mode." : "Go back to the configuration.")
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
    {"interface", "Ports, and the IP interfaces of VLANs."},
    {"range", "Several ones at once."},
    {"gigabitethernet1/0/", "Ports of the switch."},
    {"eth0", "The management port."},
    {"vlan", "VLANs, 802.1Q."},
    {"<1-4094>", "A VLAN's id."},
    {"spanning-tree", "Spanning tree: protection against loops, 802.1D, 802.1Q."},
    {"mst", "Multiple spanning trees, one for several VLANs."},
    {"configuration", "The MST region: its name, its revision and its instances."},
    {"vlan-stacking", "QinQ: VLANs within VLANs, 802.1ad."},
    {"selective-qinq", "Rules that choose the outer VLAN by the inner one."},
    {"<1-64>", "The rule's number, 1 to 64."},
    {"access-list", "Access lists: frames that ports take or drop."},
    {"access-list-ipv6", "Access lists for IPv6."},
    {"STRINGS", "The name, up to 64 characters without a blank."},
    {"mvr", "Multicast VLAN registration: one VLAN that carries groups for others."},
    {"VLANID", "The multicast VLAN, 1 to 4094."},
    {"dual-homing", "Groups of links of which one stands by for the other."},
    {"group", "A dual-homing group."},
    {"<1-6>", "The group's number, 1 to 6."},
    {"tarn-ring", "Redundant rings."},
    {"tarn-ring ring", "A redundant ring."},
    {"<1-2>", "The ring's number, 1 or 2."},
    {"erps", "Ethernet ring protection, G.8032."},
    {"ring", "A ring."},
    {"<1-239>", "The ring's id, 1 to 239."},
    {"ptp", "Precision time protocol, IEEE 1588."},
    {"domain", "A domain: clocks that are synchronised to each other."},
    {"<0-127>", "The domain's number, 0 to 127."},
    {"port", "A port."},
    {"pd-alive", "The watch over powered devices."},
    {"auto-provision", "Firmware and configuration fetched from a server at the start."},
    {"engineering", "Tests and debugging of the switch itself."},
    {"exit", "Leave this mode."},
    {"end", "Leave the configuration."},
};

} // namespace

CMDS_FAMILY(moves, "configure", k_of_users, k_of_administrators);
