#pragma once

#include <cstdint>

// Small helpers for whoever writes a handler or a callback. Bit fields have up to 8 bits and may straddle two
// bytes, lowest bit first; their functions reach the byte at offset / 8 and the next one.

/// Puts `value` shifted to `bit_offset` into the two bytes after clearing `bit_count` bits there. Bits of
/// `value` above `bit_count` land in the buffer too. Aborts on a count above 8.
void xMBUtilSetBits(uint8_t *buffer, uint16_t bit_offset, uint8_t bit_count, uint8_t value);

/// The `bit_count` bits from `bit_offset` on, cut to 8 bits; a count of 16 or more takes all that the two
/// bytes hold.
uint8_t mb_util_get_bits(const uint8_t *buffer, uint16_t bit_offset, uint8_t bit_count);

/// Whether the low 8 bits of a character are 0 or a printable ASCII character.
bool is_printable(int character);
