// The list of families, and how their commands come into the shell.

#include "lib/base/invariant.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cmds/cmds_ask.h"
#include "lib/cmds/cmds_family.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <type_traits>

#define FAMILIES(X)                                                                                          \
    X(moves)                                                                                                 \
    X(configuration)                                                                                         \
    X(reload)                                                                                                \
    X(system)                                                                                                \
    X(set)                                                                                                   \
    X(cli)                                                                                                   \
    X(hostname)                                                                                              \
    X(user)                                                                                                  \
    X(servers)                                                                                               \
    X(time)                                                                                                  \
    X(management)                                                                                            \
    X(ip)                                                                                                    \
    X(syslog)                                                                                                \
    X(mail_alarm)                                                                                            \
    X(snmp)                                                                                                  \
    X(auto_provision)                                                                                        \
    X(archive)                                                                                               \
    X(ping)                                                                                                  \
    X(show_ports)                                                                                            \
    X(vlan)                                                                                                  \
    X(vlan_stacking)                                                                                         \
    X(mac_vlan)                                                                                              \
    X(protocol_vlan)                                                                                         \
    X(port_isolation)                                                                                        \
    X(garp)                                                                                                  \
    X(spanning_tree)                                                                                         \
    X(loop_detection)                                                                                        \
    X(mac_address_table)                                                                                     \
    X(link_aggregation)                                                                                      \
    X(link_aggregation_load_balance)                                                                         \
    X(lldp)                                                                                                  \
    X(dual_homing)                                                                                           \
    X(tarn_ring)                                                                                             \
    X(erps)                                                                                                  \
    X(igmp_snooping)                                                                                         \
    X(mld_snooping)                                                                                          \
    X(mvr)                                                                                                   \
    X(qos)                                                                                                   \
    X(bandwidth_limit)                                                                                       \
    X(storm_control)                                                                                         \
    X(traffic_monitor)                                                                                       \
    X(mirror)                                                                                                \
    X(access_list)                                                                                           \
    X(dot1x)                                                                                                 \
    X(tacacs_plus)                                                                                           \
    X(dhcp)                                                                                                  \
    X(dhcp_options)                                                                                          \
    X(dhcp_snooping)                                                                                         \
    X(arp_inspection)                                                                                        \
    X(ptp)                                                                                                   \
    X(poe)                                                                                                   \
    X(pd_alive)                                                                                              \
    X(hardware_monitor)                                                                                      \
    X(sfp)                                                                                                   \
    X(cable_test)                                                                                            \
    X(loopback)                                                                                              \
    X(protocol_debug)                                                                                        \
    X(debug)                                                                                                 \
    X(debug_switch)                                                                                          \
    X(switch_register)                                                                                       \
    X(mfg_test)                                                                                              \
    X(mfg_program)                                                                                           \
    X(factory_firmware)

#define DECLARE(id) extern const cmds_family cmds_family_##id;
FAMILIES(DECLARE)

namespace {

#define ADDRESS(id) &cmds_family_##id,
constexpr const cmds_family *k_families[] = {FAMILIES(ADDRESS)};

// A word answers to the group of the first command that brings it, so that what most may type goes first. An
// engineering command that came first would hide its words from everybody else, and "no d" would run another
// command in silence.
constexpr uint32_t k_order[] = {k_mask_user, k_mask_config, k_mask_config_further, k_mask_debug,
                                k_mask_engineering};

bool install(const cmds_row &row) {
    for (size_t i = 0; i < k_cmds_mode_count; i++) {
        const bool wanted = (row.form->where.modes >> i & 1U) != 0;
        if (wanted && cli_install(k_cmds_modes[i].id, &row.command) != 0) {
            std::fprintf(stderr, "zop_serv: the command \"%s\" was refused in mode %s\n", row.command.words,
                         k_cmds_modes[i].name);
            return false;
        }
    }
    return true;
}

const cmds_row *find_entering(const cmds_mode &mode) {
    for (const cmds_family *family : k_families) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            if (mode.line != nullptr && row.form->kind == cmds_kind::move && row.form->line == mode.line) {
                return &row;
            }
        }
    }
    return nullptr;
}

} // namespace

std::span<const cmds_family *const> cmds_families() { return k_families; }

int32_t cmds_install() {
    cmds_take_answers();
    bool done = true;
    for (const uint32_t mask : k_order) {
        for (const cmds_family *family : k_families) {
            for (const cmds_row &row : std::span(family->rows, family->count)) {
                done = (row.command.mode_mask != mask || install(row)) && done;
            }
        }
    }
    return done ? 0 : -1;
}

const cmds_row &cmds_running_row() {
    static_assert(std::is_standard_layout_v<cmds_row>, "a row is where its command is");
    const cli_command *const command = cli_running_command();
    INVARIANT(command != nullptr && command->handler == cmds_run);
    return *reinterpret_cast<const cmds_row *>(command);
}

const cmds_row *cmds_row_at(uint32_t rank) {
    const size_t family = rank >> 16;
    const size_t number = rank & 0xFFFF;
    return family < std::size(k_families) && number < k_families[family]->count
               ? &k_families[family]->rows[number]
               : nullptr;
}

const cmds_row *cmds_entering_row(const cmds_mode &mode) {
    static const auto s_rows = [] {
        std::array<const cmds_row *, k_cmds_mode_count> rows{};
        std::transform(std::begin(k_cmds_modes), std::end(k_cmds_modes), rows.begin(), find_entering);
        return rows;
    }();
    return s_rows[static_cast<size_t>(&mode - k_cmds_modes)];
}

uint32_t cmds_rank(const cmds_row &row) {
    const auto *const family = std::find(std::begin(k_families), std::end(k_families), row.family);
    return static_cast<uint32_t>(family - std::begin(k_families)) << 16 | row.stem;
}
