#pragma once

#include <cstdint>
#include <vector>

/// One request of function 0x04.
struct mb_plan_read {
    uint16_t number;
    uint16_t count;
};

/// The requests that read every item of the register map, ascending and as few as the limits of the function
/// and the gaps that end a reply allow; no item is cut. Ports that do not exist are left out: they hold a
/// constant.
std::vector<mb_plan_read> mb_plan_reads();
