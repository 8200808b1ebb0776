#pragma once

#include "sim/state.h"

#include <span>

// The board's side of its devices, answered from a simulated switch.

/// How many milliseconds later a fault wants the request of a block to be answered; 0: at once.
uint32_t sim_device_delay(const sim_state &state, uint32_t number, const sasi_block &block);

/// The control call whole: counts the request, does what faults ask for, answers. Returns 0, or an errno
/// number when the call is to fail. Waits only when a fault says so, and not when the caller has done it.
int32_t sim_device_call(sim_state &state, uint32_t number, sasi_block &block, bool waits = true);

inline constexpr size_t k_sim_flash_size = 4096;

/// Writes what "/dev/mtd1" (the tailer at its end) or "/dev/mtd4" (the header at its beginning) holds; bytes
/// outside the identity words are 0xFF, as erased flash is. Returns how many bytes the file has, or -1 when
/// it is missing.
int32_t sim_tailer_flash(const sim_state &state, std::span<uint8_t, k_sim_flash_size> bytes);
int32_t sim_header_flash(const sim_state &state, std::span<uint8_t, k_sim_flash_size> bytes);
