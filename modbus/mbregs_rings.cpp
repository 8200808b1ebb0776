// Registers of the rings block. A request that fails serves what the request before it left.

#include "lib/base/bytes.h"
#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbregs_fill.h"

#include <algorithm>

namespace {

uint32_t word(const mb_walk &walk, size_t place) { return load_native<uint32_t>(&walk.ring[place]); }

uint16_t low_byte(uint32_t value) { return static_cast<uint16_t>(value & 0xFF); }

uint16_t byte_pair(uint32_t high, uint32_t low) {
    return static_cast<uint16_t>((low_byte(high) << 8) | low_byte(low));
}

/// Leaves in the walk the record of the group-th configured ring in ID order, all zero when there is none.
/// Groups only ascend within a walk, so the count goes on from the ring that is held.
void find_ring(mb_walk &walk, int32_t group) {
    if (walk.ring_group == group) {
        return;
    }
    while (walk.ring_id < k_ring_ids) {
        walk.ring_id++;
        ignore_result(sasi_get_ring(walk.ring_id, &walk.ring));
        if (word(walk, ring_at::k_configured) == 1 && ++walk.ring_group == group) {
            return;
        }
    }
    walk.ring_group = group;
    walk.ring = sasi_ring_record(k_no_ring);
}

uint32_t ring_port_state(uint32_t state) {
    constexpr uint32_t k_mapped[] = {2, 3, 1};
    return state < std::size(k_mapped) ? k_mapped[state] : 0;
}

uint32_t ring_state(uint32_t value) {
    if (value == 1) {
        return 2;
    }
    return value == 4 ? 1 : 0;
}

uint32_t word133_code(uint32_t value) { return value <= 1 ? value + 1 : 0; }

uint16_t ring_register(const mb_walk &walk, mb_item_id item, uint16_t index) {
    // Kept: the state of ring ID 1 decides, not that of the ring shown. Masters depend on it.
    const bool enabled = walk.ring1_enabled;
    switch (item) {
    case mb_item_id::ring_word24:
        return enabled ? low_byte(word(walk, ring_at::k_word24)) : 0;
    case mb_item_id::ring_configured:
        return enabled ? low_byte(word(walk, ring_at::k_configured)) : 0;
    case mb_item_id::ring_name:
        return walk.ring[ring_at::k_name + index];
    case mb_item_id::ring_word133_byte137:
        return byte_pair(enabled ? word133_code(word(walk, ring_at::k_word133)) : 0,
                         walk.ring[ring_at::k_byte137] + 1U);
    case mb_item_id::ring_word141:
        return enabled ? low_byte(word(walk, ring_at::k_word141)) : 0;
    case mb_item_id::ring_value28:
        return enabled ? load_native<uint16_t>(&walk.ring[ring_at::k_value28]) : 0;
    case mb_item_id::ring_port1:
        return byte_pair(walk.ring[ring_at::k_port1], ring_port_state(word(walk, ring_at::k_port1_state)));
    case mb_item_id::ring_port2:
        return byte_pair(walk.ring[ring_at::k_port2], ring_port_state(word(walk, ring_at::k_port2_state)));
    case mb_item_id::ring_word72_word60:
        return byte_pair(ring_state(word(walk, ring_at::k_word72)),
                         ring_state(word(walk, ring_at::k_word60)));
    default:
        return 0; // an item of another block
    }
}

} // namespace

void mb_rings_begin(mb_walk &walk) {
    ignore_result(sasi_get_ring(1, &walk.ring));
    walk.ring1_enabled = word(walk, ring_at::k_state) == 1;
}

void mb_fill_rings(mb_walk &walk, const mb_place &place, std::span<uint8_t> out) {
    find_ring(walk, place.element);
    uint16_t index = place.index;
    for (size_t at = 0; at < out.size(); at += 2) {
        put_be16(&out[at], ring_register(walk, place.item->id, index++));
    }
}
