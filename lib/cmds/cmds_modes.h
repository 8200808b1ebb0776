#pragma once

#include "lib/cli/cli_session.h"

#include <cstdint>

// The command modes of the shell: which there are, how they are called, and how one leads to another.

constexpr int32_t k_mode_exec = 1; // outside 2..28: "!" does not lead from here into the configuration
constexpr int32_t k_mode_interface_range = 6;
constexpr int32_t k_mode_vlan = 7;

// Groups of commands, by bit of the mode mask.
constexpr uint32_t k_mask_user = 0x2;           // what a user may look at
constexpr uint32_t k_mask_config = 0x4;         // the configuration, in all its modes
constexpr uint32_t k_mask_config_further = 0x8; // as above
constexpr uint32_t k_mask_debug = 0x10000;
constexpr uint32_t k_mask_engineering = 0x20000;
static_assert((k_mask_user | k_mask_config | k_mask_config_further) == k_cli_mask_config);

struct cmds_mode {
    int32_t id;
    uint32_t mask;      // of a session in this mode
    int32_t parent;     // where "exit" leads
    const char *name;   // for people
    const char *prompt; // what stands after the host name
};

inline constexpr cmds_mode k_cmds_modes[] = {
    {k_mode_exec, k_mask_user, k_mode_exec, "exec", "#"},
    {k_cli_mode_config, k_cli_mask_config, k_mode_exec, "config", "(config)#"},
    {k_mode_interface_range, k_cli_mask_config, k_cli_mode_config, "interface range", "(config-if-range)#"},
    {k_mode_vlan, k_cli_mask_config, k_cli_mode_config, "vlan", "(config-vlan)#"},
};

static_assert(k_cmds_modes[0].id == k_mode_exec);

/// The row of a mode, or null.
const cmds_mode *cmds_find_mode(int32_t mode_id);

/// A new session in a mode, one of the table.
cli_session cmds_session_in(int32_t mode_id);
