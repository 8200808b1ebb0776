#include "apps/mbshow/plan.h"

#include "lib/base/invariant.h"
#include "modbus/mbmap.h"

namespace {

/// Puts an item into the last request if that reaches so far, else begins a request with it. Taking in all
/// that fits before beginning anew gives the fewest requests, since the items come in ascending order.
void add_item(std::vector<mb_plan_read> &reads, uint16_t number, uint16_t count) {
    if (!reads.empty()) {
        mb_plan_read &last = reads.back();
        const uint32_t reach = uint32_t{number} + count - last.number;
        if (reach <= mb_map_safe_count(last.number)) {
            last.count = static_cast<uint16_t>(reach);
            return;
        }
    }
    INVARIANT(count <= mb_map_safe_count(number));
    reads.push_back({number, count});
}

} // namespace

std::vector<mb_plan_read> mb_plan_reads() {
    std::vector<mb_plan_read> reads;
    for (const mb_block &block : mb_map_blocks()) {
        for (const mb_group &group : block.groups) {
            for (uint32_t element = 0; element < group.elements; element++) {
                for (const mb_item &item : group.items) {
                    if (item.id != mb_item_id::port_absent) {
                        const uint32_t number = group.first + element * group.stride + item.offset;
                        add_item(reads, static_cast<uint16_t>(number), item.count);
                    }
                }
            }
        }
    }
    return reads;
}
