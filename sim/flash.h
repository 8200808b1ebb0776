#pragma once

#include "sim/state.h"

#include <cstdio>

/// Writes what a flash partition of the switch holds, "mtd1" (the boot loader's tailer at its end) or "mtd4"
/// (the firmware's header at its beginning), with as many erased bytes between as make it `size` bytes.
/// Returns false with errno set: EINVAL when there is no such partition, it is missing on this switch, or
/// `size` is too small; or when it cannot be written.
[[nodiscard]] bool sim_flash_write(const sim_state &state, const char *partition, size_t size, std::FILE *to);
