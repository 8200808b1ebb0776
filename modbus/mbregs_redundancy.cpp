// Registers of the redundancy block. Each makes a request of its own; one that fails serves what the request
// before it left.

#include "lib/base/bytes.h"
#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbregs_fill.h"

namespace {

using redundant_record = std::array<uint8_t, k_redundant_record_size>;

uint16_t spanning_tree_mode() {
    std::array<uint8_t, k_bridge_record_size> bridge;
    ignore_result(sasi_get_bridge(bridge));
    if (bridge[bridge_at::k_enabled] != 1) {
        return 0;
    }
    switch (bridge[bridge_at::k_mode]) {
    case 0:
        return 1;
    case 2:
        return 2;
    case 3:
        return 3;
    default:
        return 0;
    }
}

uint16_t ring1_state() {
    sasi_ring_record ring(k_no_ring);
    ignore_result(sasi_get_ring(1, &ring));
    return load_native<uint32_t>(&ring[ring_at::k_state]) == 1 ? 1 : 0;
}

uint16_t is_one(const redundant_record &record, size_t place) {
    return load_native<uint32_t>(&record[place]) == 1 ? 1 : 0;
}

uint16_t port_state_of(const redundant_record &record, size_t place) {
    switch (load_native<uint32_t>(&record[place])) {
    case 1:
        return 2;
    case 4:
        return 1;
    default:
        return 0;
    }
}

uint16_t redundant_register(const mb_place &place, uint16_t index) {
    redundant_record record;
    ignore_result(sasi_get_redundant_ring(place.element, record));
    switch (place.item->id) {
    case mb_item_id::redundant_ring0_enabled:
        return is_one(record, redundant_at::k_state);
    case mb_item_id::redundant_word14:
        return is_one(record, redundant_at::k_word14);
    case mb_item_id::redundant_address:
        return get_be16(&record[redundant_at::k_address + size_t{2} * index]);
    case mb_item_id::redundant_byte22:
        return record[redundant_at::k_byte22];
    case mb_item_id::redundant_byte30:
        return record[redundant_at::k_byte30];
    case mb_item_id::redundant_word18:
        return is_one(record, redundant_at::k_word18);
    case mb_item_id::redundant_word26:
        return port_state_of(record, redundant_at::k_word26);
    case mb_item_id::redundant_word34:
        return port_state_of(record, redundant_at::k_word34);
    default:
        return 0; // an item of another block
    }
}

uint16_t summary_register(const mb_place &place, uint16_t index) {
    switch (place.item->id) {
    case mb_item_id::stp_mode:
        return spanning_tree_mode();
    case mb_item_id::ring1_enabled:
        return ring1_state();
    default:
        return redundant_register(place, index);
    }
}

} // namespace

void mb_fill_redundancy(mb_walk & /*walk*/, const mb_place &place, std::span<uint8_t> out) {
    uint16_t index = place.index;
    for (size_t at = 0; at < out.size(); at += 2) {
        put_be16(&out[at], summary_register(place, index++));
    }
}
