#pragma once

#include <cstdint>

/// How many ports the switch has. They are numbered from 1.
inline constexpr int32_t k_switch_ports = 12;
