#pragma once

#include "lib/cmds/cmds_modes.h"

#include <cstdint>
#include <optional>

// What the handlers of commands know of the session of the line that is being run. It came from a client, so
// that each value may be missing.

/// The mode of the session; exec when it is in none that there is.
const cmds_mode &cmds_current_mode();

/// Moves the session to a mode, one of the table.
void cmds_enter_mode(int32_t mode_id);

/// Mode interface range: its ports, bit p for port p; at least one.
std::optional<uint32_t> cmds_ports();
void cmds_set_ports(uint32_t ports);

/// Mode vlan: the id of its VLAN, 1..4094.
std::optional<int32_t> cmds_vlan();
void cmds_set_vlan(int32_t id);

/// The lines of a screen in a session: its own, or else those that are stored for all. For clients.
int32_t cmds_screen_length(const cli_session &session);
void cmds_set_screen_length(int32_t length);
