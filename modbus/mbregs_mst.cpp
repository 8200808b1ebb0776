// Registers of the MST block. A request that fails serves what the request before it left.

#include "lib/base/bytes.h"
#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbregs_fill.h"

#include <algorithm>

namespace {

void fetch_instance(mb_walk &walk, int32_t instance) {
    if (walk.mst_instance == instance) {
        return;
    }
    ignore_result(sasi_get_mst_instance(instance, walk.mst));
    ignore_result(sasi_get_mst_ports(instance, walk.mst_ports));
    walk.mst_instance = instance;
}

uint32_t bits_7_to_5(uint8_t state) { return state <= 6 ? state : 7; }

uint32_t bits_4_to_3(uint8_t byte1) {
    if (byte1 == 2) {
        return 1;
    }
    return byte1 == 3 ? 2 : 0;
}

uint32_t bits_1_to_0(const uint8_t *entry) {
    if (entry[mst_at::k_entry_byte4] == 0) {
        return 3;
    }
    if (entry[mst_at::k_entry_byte8] == 0) {
        return 0;
    }
    return entry[mst_at::k_entry_byte5] == 0 ? 1 : 2;
}

uint16_t port_register(const mb_walk &walk, uint32_t port) {
    const uint8_t *entry = &walk.mst_ports[mst_at::k_port_entry + mst_at::k_port_entry_size * port];
    const uint32_t low = (bits_7_to_5(entry[mst_at::k_entry_state]) << 5) |
                         (bits_4_to_3(entry[mst_at::k_entry_byte1]) << 3) |
                         (entry[mst_at::k_entry_byte9] != 0 ? 1U << 2 : 0U) | bits_1_to_0(entry);
    return static_cast<uint16_t>((port << 8) | low);
}

} // namespace

void mb_mst_begin(mb_walk &walk, uint16_t number) {
    const mb_group &instances = mb_map_blocks()[static_cast<size_t>(mb_block_id::mst)].groups[0];
    fetch_instance(walk, (number - instances.first) / instances.stride);
}

void mb_fill_mst(mb_walk &walk, const mb_place &place, std::span<uint8_t> out) {
    fetch_instance(walk, place.element);
    switch (place.item->id) {
    case mb_item_id::mst_instance:
        out[0] = static_cast<uint8_t>(place.element);
        out[1] = walk.mst[mst_at::k_byte1];
        return;
    case mb_item_id::mst_bridge_address:
        std::copy_n(&walk.mst[mst_at::k_bridge_address], out.size(), out.begin());
        return;
    case mb_item_id::mst_port:
        for (size_t i = 0; i < out.size() / 2; i++) {
            put_be16(&out[2 * i], port_register(walk, static_cast<uint32_t>(place.index + i + 1)));
        }
        return;
    default:
        return; // an item of another block
    }
}
