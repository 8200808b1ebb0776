#pragma once

#include <cstdint>

/// Installs the system module's commands in all modes. Returns 0, or -1 when one was refused: memory is out,
/// or the module is installed already.
[[nodiscard]] int32_t cmds_system_install();

/// Reads a list of ports such as "1,3-5" into bits, bit p for port p. Returns false unless all are in 1..12
/// and no range runs backwards.
[[nodiscard]] bool cmds_parse_ports(const char *list, uint32_t *ports);
