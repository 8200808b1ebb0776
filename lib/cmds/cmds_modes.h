#pragma once

#include "lib/cli/cli_session.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

// The command modes of the shell: which there are, how they are called, and how one leads to another.

constexpr int32_t k_mode_exec = 1; // outside 2..28: "!" does not lead from here into the configuration
constexpr int32_t k_mode_interface_range = 6;
constexpr int32_t k_mode_vlan = 7;
constexpr int32_t k_mode_interface = 8;

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
};

struct cmds_mode {
    int32_t id;
    int32_t parent; // where "exit" leads
    cmds_about about;
    bool stays;            // what is entered stands in the configuration by that alone
    const char *name;      // for people
    const char *prompt;    // what stands after the host name
    const char *line;      // that enters it, from config; null: it is not entered so
    const char *text;      // what the line does
    int32_t leaves_as = 0; // the mode whose "exit" and "end" it shares; 0: it has its own
};

inline constexpr cmds_mode k_cmds_modes[] = {
    {k_mode_exec, k_mode_exec, cmds_about::everything, false, "exec", "#", nullptr, nullptr},
    {k_cli_mode_config, k_mode_exec, cmds_about::everything, false, "config", "(config)#", nullptr, nullptr},
    {k_mode_interface_range, k_cli_mode_config, cmds_about::ports, false, "interface range",
     "(config-if-range)#", "interface range gigabitethernet1/0/ PORTLISTS",
     "Enter the configuration of these ports."},
    {k_mode_interface, k_cli_mode_config, cmds_about::ports, false, "interface", "(config-if)#",
     "interface gigabitethernet1/0/ PORT_ID", "Enter the configuration of this port.",
     k_mode_interface_range},
    {k_mode_vlan, k_cli_mode_config, cmds_about::context, true, "vlan", "(config-vlan)#", "vlan <1-4094>",
     "Enter the configuration of this VLAN, and make it."},
};
constexpr size_t k_cmds_mode_count = std::size(k_cmds_modes);

static_assert(k_cmds_modes[0].id == k_mode_exec);
static_assert(k_cmds_mode_count <= 32, "a set of modes is 32 bits");

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
