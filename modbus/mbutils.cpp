#include "modbus/mbutils.h"

#include "lib/base/invariant.h"

namespace {

uint16_t mask_of(uint8_t bit_count) {
    return static_cast<uint16_t>(bit_count >= 16 ? 0xFFFFU : (1U << bit_count) - 1U);
}

uint16_t load_word(const uint8_t *bytes) { return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8)); }

} // namespace

void xMBUtilSetBits(uint8_t *buffer, uint16_t bit_offset, uint8_t bit_count, uint8_t value) {
    INVARIANT_AT(bit_count <= 8, "ucNBits <= 8", "mbutils", 63, "xMBUtilSetBits");
    uint8_t *bytes = buffer + bit_offset / 8;
    const uint32_t shift = bit_offset % 8;
    const uint32_t mask = uint32_t{mask_of(bit_count)} << shift;
    const uint32_t word = (load_word(bytes) & ~mask) | (uint32_t{value} << shift);
    bytes[0] = static_cast<uint8_t>(word);
    bytes[1] = static_cast<uint8_t>(word >> 8);
}

uint8_t mb_util_get_bits(const uint8_t *buffer, uint16_t bit_offset, uint8_t bit_count) {
    const uint32_t word = load_word(buffer + bit_offset / 8);
    return static_cast<uint8_t>((word >> (bit_offset % 8)) & mask_of(bit_count));
}

bool is_printable(int character) {
    const int low = character & 0xFF;
    return low == 0 || (low >= 32 && low <= 126);
}
