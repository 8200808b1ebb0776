// The register map as a list of rows, for every document that has a line for each.

#include "apps/mapdoc/mapdoc.h"

#include <algorithm>

namespace {

constexpr mb_item k_holding_items[] = {{mb_item_id::count, 0, 1, mb_type::u16, mb_entry::any, "holding", "",
                                        "The connection's own; 0 until written"}};
constexpr mb_group k_holding_groups[] = {
    {k_mb_holding_first, k_mb_holding_count, 1, k_mb_holding_first, "", k_holding_items}};
constexpr mb_block k_holding_block = {
    mb_block_id::count, k_mb_holding_first, k_mb_holding_first + k_mb_holding_count - 1,
    mb_gap::zero,       "holding",          "Holding registers",
    k_holding_groups};

unsigned safe_count(const mb_block &block, unsigned number) {
    if (&block == &k_holding_block) {
        return std::min<unsigned>(k_mb_holding_read_max, block.last + 1U - number);
    }
    return mb_map_safe_count(static_cast<uint16_t>(number));
}

void put_block(std::vector<mapdoc_row> &rows, const mb_block &block) {
    const unsigned function = &block == &k_holding_block ? 0x03 : 0x04;
    for (const mb_group &group : block.groups) {
        for (unsigned element = 0; element < group.elements; element++) {
            for (const mb_item &item : group.items) {
                const unsigned number = unsigned{group.first} + element * group.stride + item.offset;
                rows.push_back({&block, &group, &item, element, number, function, safe_count(block, number)});
            }
        }
    }
}

} // namespace

std::vector<mapdoc_row> mapdoc_rows() {
    std::vector<mapdoc_row> rows;
    for (const mb_block &block : mb_map_blocks()) {
        put_block(rows, block);
    }
    put_block(rows, k_holding_block);
    return rows;
}

unsigned mapdoc_notation(const mapdoc_row &row, bool six_digits) {
    const unsigned table = row.function == 0x03 ? 4 : 3;
    return table * (six_digits ? 100000 : 10000) + row.number;
}

std::string mapdoc_identifier(const mapdoc_row &row) {
    std::string text = mapdoc_element(*row.group, row.element);
    std::replace(text.begin(), text.end(), ' ', '_');
    return text + (text.empty() ? "" : "_") + row.item->name;
}

unsigned mapdoc_period_s(const mapdoc_row &row) {
    constexpr unsigned k_often = 10;
    constexpr unsigned k_at_times = 60;
    constexpr unsigned k_seldom = 600;
    const mb_item &item = *row.item;
    if (item.type == mb_type::text) {
        return k_seldom;
    }
    if (item.type != mb_type::u16 && item.type != mb_type::u32 && item.type != mb_type::byte_pair) {
        return 0;
    }
    switch (row.block->id) {
    case mb_block_id::identity:
        return item.id == mb_item_id::device_type ? k_seldom : k_often;
    case mb_block_id::ports:
        if (item.id == mb_item_id::port_absent) {
            return 0;
        }
        return item.id == mb_item_id::port_state ? k_often : k_at_times;
    case mb_block_id::redundancy:
        return k_at_times;
    case mb_block_id::rings:
        return k_seldom;
    case mb_block_id::mst:
    case mb_block_id::count:
        break;
    }
    return 0;
}
