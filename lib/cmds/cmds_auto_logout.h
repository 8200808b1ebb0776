#pragma once

#include <cstdint>

/// The minutes after which a shell ends a session that nobody types at, as the running configuration has
/// them; 0 when it never does.
int32_t cmds_auto_logout_minutes();
