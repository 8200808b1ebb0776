#include "modbus/mbregs.h"

#include "lib/base/bytes.h"
#include "lib/base/monotonic.h"
#include "modbus/mbcounters.h"
#include "modbus/mbmap.h"
#include "modbus/mbregs_fill.h"

#include <algorithm>
#include <array>

namespace {

// Every connection's child has its own copy of the store.
std::array<uint16_t, k_mb_holding_count> s_holding = {};

constexpr mb_fill k_fills[] = {mb_fill_identity, mb_fill_ports, mb_fill_redundancy, mb_fill_rings,
                               mb_fill_mst};
static_assert(std::size(k_fills) == static_cast<size_t>(mb_block_id::count), "a block nobody fills");

void begin_walk(mb_walk &walk, const mb_block &block, uint16_t number) {
    if (block.id == mb_block_id::rings) {
        mb_rings_begin(walk);
    } else if (block.id == mb_block_id::mst) {
        mb_mst_begin(walk, number);
    }
}

/// Fills registers of a block, and of what lies behind it, from `number` on.
void fill_registers(const mb_block &block, std::span<uint8_t> buffer, uint16_t number, uint16_t count) {
    mb_walk walk;
    begin_walk(walk, block, number);
    while (count != 0) {
        if (block.id == mb_block_id::identity) {
            mb_identity_refresh(walk);
        }
        const mb_place place = mb_map_find(block, number);
        const uint16_t step = mb_map_step(place, count);
        if (step * size_t{2} > buffer.size()) {
            break;
        }
        const std::span<uint8_t> out = buffer.first(step * size_t{2});
        if (place.item != nullptr) {
            k_fills[static_cast<size_t>(block.id)](walk, place, out);
        } else {
            std::fill(out.begin(), out.end(), uint8_t{0});
            if (block.gap == mb_gap::stop) {
                break;
            }
        }
        buffer = buffer.subspan(out.size());
        number = static_cast<uint16_t>(number + step);
        // A whole value takes two from a count of one: the count then wraps, and the walk goes on to the end
        // of the buffer. The reply is cut to what was asked for. The device requests beyond it are kept: they
        // are part of the timing that masters see.
        count = static_cast<uint16_t>(count - step);
    }
}

} // namespace

mb_error mb_reg_input(std::span<uint8_t> buffer, uint16_t number, uint16_t count) {
    const mb_block *block = mb_map_block_of(number);
    if (block == nullptr || count == 0) {
        return k_mb_no_register;
    }
    const int64_t began_us = monotonic_us();
    fill_registers(*block, buffer, number, count);
    mb_count_read(monotonic_us() - began_us);
    return k_mb_ok;
}

mb_error mb_reg_holding(std::span<uint8_t> buffer, uint16_t number, uint16_t count, mb_register_mode mode) {
    const int32_t index = int32_t{number} - k_mb_holding_first;
    if (index < 0 || index + count > k_mb_holding_count) {
        return k_mb_no_register;
    }
    const std::span<uint16_t> words = std::span(s_holding).subspan(static_cast<size_t>(index), count);
    uint8_t *bytes = buffer.data();
    for (uint16_t &word : words) {
        if (mode == k_mb_read) {
            put_be16(bytes, word);
        } else if (mode == k_mb_write) {
            word = get_be16(bytes);
        }
        bytes += 2;
    }
    return k_mb_ok;
}

mb_error mb_reg_coils(std::span<uint8_t> /*buffer*/, uint16_t /*number*/, uint16_t /*count*/,
                      mb_register_mode /*mode*/) {
    return k_mb_no_register;
}

mb_error mb_reg_discrete(std::span<uint8_t> /*buffer*/, uint16_t /*number*/, uint16_t /*count*/) {
    return k_mb_no_register;
}
