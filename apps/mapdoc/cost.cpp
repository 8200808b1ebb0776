#include "apps/mapdoc/cost.h"

#include "lib/sasi/sasi_layout.h"
#include "modbus/mbmap.h"
#include "modbus/mbtypes.h"

namespace {

// What a reply's buffer holds after function code and byte count: a walk that has lost its end stops there.
constexpr unsigned k_buffer_registers = (k_mb_pdu_size - 2) / 2;

/// Requests that a step of the walk makes in the port and redundancy blocks.
unsigned step_cost(const mb_place &place, unsigned step) {
    if (place.item == nullptr) {
        return 0;
    }
    switch (place.item->id) {
    case mb_item_id::port_absent:
        return 0;
    case mb_item_id::port_media:
    case mb_item_id::counter_12:
    case mb_item_id::counter_6:
        return 1;
    case mb_item_id::counter_3_4:
    case mb_item_id::counter_9_10:
        return 2;
    default:
        return step; // one for each register
    }
}

/// Follows the daemon's walk through a block whose items are asked for one by one.
unsigned walk_cost(const mb_block &block, uint16_t number, uint16_t count) {
    unsigned cost = 0;
    unsigned filled = 0;
    while (count != 0) {
        const mb_place place = mb_map_find(block, number);
        const uint16_t step = mb_map_step(place, count);
        const bool ends = place.item == nullptr && block.gap == mb_gap::stop;
        if (ends || filled + step > k_buffer_registers) {
            break;
        }
        cost += block.id == mb_block_id::identity ? 1 : step_cost(place, step);
        filled += step;
        number = static_cast<uint16_t>(number + step);
        count = static_cast<uint16_t>(count - step); // a value cut in two makes it wrap, as in the daemon
    }
    return cost;
}

} // namespace

unsigned mapdoc_read_cost(uint16_t number, uint16_t count) {
    const mb_block *const block = mb_map_block_of(number);
    if (block == nullptr || count == 0 || count > k_mb_input_count_max) {
        return 0;
    }
    switch (block->id) {
    case mb_block_id::rings:
        // The state of ring ID 1; for an item then the IDs up to the last ring that is shown.
        return mb_map_find(*block, number).item == nullptr ? 1 : 1 + k_ring_ids;
    case mb_block_id::mst:
        return 2; // the instance's two records; the gap after its items ends the reply
    default:
        return walk_cost(*block, number, count);
    }
}
