#pragma once

#include "lib/cli/cli_session.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

// The command modes of the shell: which there are, how they are called, and how one leads to another.

// Ids 2..28 are those from which "!" leads into the configuration; 5..26 those that a recorder of the
// configuration can tell apart, and 26 stays free for it.
constexpr int32_t k_mode_exec = 1;
constexpr int32_t k_mode_interface_range = 6;
constexpr int32_t k_mode_vlan = 7;
constexpr int32_t k_mode_interface = 8;
constexpr int32_t k_mode_eth0 = 9;
constexpr int32_t k_mode_interface_vlan = 10;
constexpr int32_t k_mode_vlan_range = 11;
constexpr int32_t k_mode_mst = 12;
constexpr int32_t k_mode_access_list = 13;
constexpr int32_t k_mode_access_list_ipv6 = 14;
constexpr int32_t k_mode_vlan_stacking = 15;
constexpr int32_t k_mode_erps_ring = 16;
constexpr int32_t k_mode_ptp_domain = 17;
constexpr int32_t k_mode_ptp_port = 18;
constexpr int32_t k_mode_auto_provision = 19;
constexpr int32_t k_mode_mvr_vlan = 20;
constexpr int32_t k_mode_dual_homing = 21;
constexpr int32_t k_mode_tarn_ring = 22;
constexpr int32_t k_mode_pd_alive = 23;
constexpr int32_t k_mode_engineering = 29;

// Groups of commands, by bit of the mode mask.
constexpr uint32_t k_mask_user = 0x2;           // what a user may look at
constexpr uint32_t k_mask_config = 0x4;         // the configuration, in all its modes
constexpr uint32_t k_mask_config_further = 0x8; // as above
constexpr uint32_t k_mask_debug = 0x10000;
constexpr uint32_t k_mask_engineering = 0x20000;
static_assert((k_mask_user | k_mask_config | k_mask_config_further) == k_cli_mask_config);

/// What the commands of a mode are about.
enum class cmds_about : uint8_t {
    everything, // the whole switch
    ports,      // those of the session
    context,    // the session's context of the configuration
    vlans,      // those of the session's list
};

struct cmds_mode {
    int32_t id;
    int32_t parent; // where "exit" leads
    cmds_about about;
    bool stays;                       // what is entered stands in the configuration by that alone
    const char *name;                 // for people
    const char *prompt;               // what stands after the host name
    const char *line;                 // that enters it; null: a handler of its own does
    const char *text;                 // what the line does
    const char *away = nullptr;       // the line that takes what is entered away again; null: there is none
    const char *away_text = nullptr;  // what that does
    int32_t from = k_cli_mode_config; // the mode in which the line is typed
    int32_t leaves_as = 0;            // the mode whose "exit" and "end" it shares; 0: it has its own
    int32_t within = 0; // the mode whose context holds this one's: the key of the one begins with the other's
    uint32_t unlocks = 0; // what may be typed in it beside what the session may in any case, of the masks
};

inline constexpr cmds_mode k_cmds_modes[] = {
    {k_mode_exec, k_mode_exec, cmds_about::everything, false, "exec", "#", nullptr, nullptr},
    {k_cli_mode_config, k_mode_exec, cmds_about::everything, false, "config", "(config)#", nullptr, nullptr},
    {k_mode_vlan, k_cli_mode_config, cmds_about::context, true, "vlan", "(config-vlan)#", "vlan <1-4094>",
     "Enter the configuration of this VLAN, and make it.", "no vlan <1-4094>",
     "Remove this VLAN with its settings."},
    {k_mode_vlan_range, k_cli_mode_config, cmds_about::vlans, false, "vlan range", "(config-vlan-range)#",
     "vlan range VLANLISTS", "Enter the configuration of these VLANs, and make them."},
    {k_mode_interface, k_cli_mode_config, cmds_about::ports, false, "interface", "(config-if)#",
     "interface gigabitethernet1/0/ PORT_ID", "Enter the configuration of this port.", nullptr, nullptr,
     k_cli_mode_config, k_mode_interface_range},
    {k_mode_interface_range, k_cli_mode_config, cmds_about::ports, false, "interface range",
     "(config-if-range)#", "interface range gigabitethernet1/0/ PORTLISTS",
     "Enter the configuration of these ports."},
    {k_mode_eth0, k_cli_mode_config, cmds_about::context, false, "interface eth0", "(config-if-eth0)#",
     "interface eth0", "Enter the configuration of the management port."},
    {k_mode_interface_vlan, k_cli_mode_config, cmds_about::context, true, "interface vlan",
     "(config-if-vlan)#", "interface vlan <1-4094>",
     "Enter the configuration of the IP interface of this VLAN.", "no interface vlan <1-4094>",
     "Remove the IP interface of this VLAN with its settings."},
    {k_mode_mst, k_cli_mode_config, cmds_about::context, false, "mst", "(config-mst)#",
     "spanning-tree mst configuration", "Enter the configuration of the MST region.",
     "no spanning-tree mst configuration", "Take all settings of the MST region back."},
    {k_mode_vlan_stacking, k_cli_mode_config, cmds_about::context, true, "vlan-stacking", "(config-qinq)#",
     "vlan-stacking selective-qinq <1-64>",
     "Enter the configuration of this rule of selective QinQ, and make it.",
     "no vlan-stacking selective-qinq <1-64>", "Remove this rule of selective QinQ."},
    {k_mode_access_list, k_cli_mode_config, cmds_about::context, true, "access-list", "(config-acl)#",
     "access-list STRINGS", "Enter the configuration of the access list of this name, and make it.",
     "no access-list STRINGS", "Remove this access list."},
    {k_mode_access_list_ipv6, k_cli_mode_config, cmds_about::context, true, "access-list-ipv6",
     "(config-acl-ipv6)#", "access-list-ipv6 STRINGS",
     "Enter the configuration of the IPv6 access list of this name, and make it.",
     "no access-list-ipv6 STRINGS", "Remove this IPv6 access list."},
    {k_mode_mvr_vlan, k_cli_mode_config, cmds_about::context, true, "mvr vlan", "(config-mvr)#",
     "mvr vlan VLANID", "Enter the configuration of this multicast VLAN, and make it.", "no mvr vlan VLANID",
     "Remove this multicast VLAN."},
    {k_mode_dual_homing, k_cli_mode_config, cmds_about::context, true, "dual-homing", "(config-dual-homing)#",
     "dual-homing group <1-6>", "Enter the configuration of this dual-homing group, and make it.",
     "no dual-homing group <1-6>", "Remove this dual-homing group."},
    {k_mode_tarn_ring, k_cli_mode_config, cmds_about::context, true, "tarn-ring", "(config-tarn-ring)#",
     "tarn-ring ring <1-2>", "Enter the configuration of this redundant ring, and make it.",
     "no tarn-ring ring <1-2>", "Remove this redundant ring."},
    {k_mode_erps_ring, k_cli_mode_config, cmds_about::context, true, "erps ring", "(config-erps-ring)#",
     "erps ring <1-239>", "Enter the configuration of the ERPS ring of this id, and make it.",
     "no erps ring <1-239>", "Remove this ERPS ring."},
    {k_mode_ptp_domain, k_cli_mode_config, cmds_about::context, true, "ptp domain", "(config-ptp)#",
     "ptp domain <0-127>", "Enter the configuration of this PTP domain, and make it.",
     "no ptp domain <0-127>", "Remove this PTP domain with its ports."},
    {k_mode_ptp_port, k_cli_mode_config, cmds_about::context, true, "ptp port", "(config-ptp-port)#",
     "ptp domain <0-127> port PORT_ID", "Enter the configuration of a port in this PTP domain.",
     "no ptp domain <0-127> port PORT_ID", "Remove a port from this PTP domain.", k_cli_mode_config, 0,
     k_mode_ptp_domain},
    {k_mode_pd_alive, k_cli_mode_config, cmds_about::context, true, "pd-alive", "(config-pd-alive)#",
     "pd-alive port PORT_ID", "Enter the watch over the powered device at this port.",
     "no pd-alive port PORT_ID", "End the watch over the powered device at this port."},
    {k_mode_auto_provision, k_cli_mode_config, cmds_about::context, false, "auto-provision",
     "(config-auto-provision)#", "auto-provision", "Enter the configuration of auto-provisioning."},
    {k_mode_engineering, k_mode_exec, cmds_about::everything, false, "engineering", "(engineering)#",
     "engineering", "Enter the commands for engineers: tests and debugging of the switch itself.", nullptr,
     nullptr, k_mode_exec, k_cli_mode_config, 0, k_mask_debug | k_mask_engineering},
};
constexpr size_t k_cmds_mode_count = std::size(k_cmds_modes);

static_assert(k_cmds_modes[0].id == k_mode_exec);
static_assert(k_cmds_mode_count < 32, "a set of modes is 32 bits");

/// A set of modes with one mode in it; 0 when there is no such mode.
constexpr uint32_t cmds_mode_bit(int32_t mode_id) {
    for (size_t i = 0; i < k_cmds_mode_count; i++) {
        if (k_cmds_modes[i].id == mode_id) {
            return 1U << i;
        }
    }
    return 0;
}

/// The row of a mode, or null.
const cmds_mode *cmds_find_mode(int32_t mode_id);

/// A new session in a mode, one of the table: an administrator's, or that of a user who only looks.
cli_session cmds_session_in(int32_t mode_id, bool user_only = false);
