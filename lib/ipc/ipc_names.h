#pragma once

#include <cstdint>

// Names for log lines.

/// The name of a route; "unknown" for all but 3, which is logged.
const char *ipc_route_name(uint32_t route);

/// The name of a command, "" for one without a name; "unknown" from 326 on, which is logged.
const char *ipc_command_name(uint32_t command);
