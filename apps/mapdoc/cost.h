#pragma once

#include <cstdint>

/// How many requests the daemon makes of the switch-access device to answer a read of `count` input registers
/// from `number` on. For the ring groups it is the most: how many IDs are looked at depends on the rings that
/// are configured. 0 for a read that is refused.
unsigned mapdoc_read_cost(uint16_t number, uint16_t count);
