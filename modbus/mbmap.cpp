#include "modbus/mbmap.h"

#include "lib/sasi/sasi_layout.h"

#include <algorithm>
#include <array>

namespace {

using enum mb_item_id;
using mb_type::u16, mb_type::words, mb_type::u32, mb_type::text, mb_type::wide_text, mb_type::address,
    mb_type::byte_pair, mb_type::bits;

constexpr auto k_any = mb_entry::any;
constexpr auto k_first = mb_entry::first;
constexpr auto k_whole = mb_entry::whole;
constexpr uint16_t k_ports = k_switch_ports;
constexpr uint16_t k_rings = k_redundant_rings;
constexpr uint16_t k_map_ports = 256; // that the map has states for

constexpr const char *k_power_words[] = {"good", "under-voltage", "over-voltage", "no input"};
constexpr const char *k_alarm_words[] = {"none", "present"};
constexpr const char *k_spanning_tree_words[] = {"off or in another mode", "on (protocol mode 0)",
                                                 "on (protocol mode 2)", "on (protocol mode 3)"};
constexpr const char *k_yes_words[] = {"no", "yes"};

constexpr mb_item k_identity_items[] = {
    {device_type, 0, 1, u16, k_first, "device_type", "", "Device type code, always 55533 (0xD8ED)"},
    {tailer_words_a, 1, 16, words, k_first, "boot_words_a", "",
     "Identity words A of the boot loader, as they lie in flash"},
    {tailer_words_b, 32, 16, words, k_first, "boot_words_b", "",
     "Identity words B of the boot loader, as they lie in flash"},
    {serial_number, 64, 7, text, k_first, "serial_number", "", "Serial number"},
    {firmware_words_a, 80, 12, words, k_first, "firmware_words_a", "",
     "Identity words A of the firmware, as they lie in flash"},
    {firmware_words_b, 96, 16, words, k_first, "firmware_words_b", "",
     "Identity words B of the firmware, as they lie in flash"},
    {mac_address, 112, 3, address, k_first, "mac_address", "", "MAC address of the management interface"},
    {main_power, 128, 1, u16, k_first, "main_power", "", "Main power input", k_power_words},
    {redundant_power, 129, 1, u16, k_first, "redundant_power", "", "Redundant power input", k_power_words},
    {alarm_present, 144, 1, u16, k_first, "alarm", "", "Whether any alarm is present", k_alarm_words},
};

constexpr mb_item k_port_state_items[] = {
    {port_state, 0, 1, u16, k_any, "port_state", "",
     "State of the port as the switch reports it (0..255): low byte of its fifth state word"},
};
constexpr mb_item k_port_absent_items[] = {
    {port_absent, 0, 1, u16, k_any, "port_absent", "", "Always 65535 (0xFFFF): the switch has no such port"},
};
constexpr mb_item k_port_media_items[] = {
    {port_media, 0, 20, text, k_any, "port_media", "",
     R"(Media of the port: "1000TX,SFP.", "1000TX,RJ45." or "100TX,RJ45.")"},
};
constexpr mb_item k_counter_9_10_items[] = {
    {counter_9_10, 0, 2, u32, k_whole, "counter_9_10", "count", "Sum of the switch's port counters 9 and 10"},
};
constexpr mb_item k_counter_3_4_items[] = {
    {counter_3_4, 0, 2, u32, k_whole, "counter_3_4", "count", "Sum of the switch's port counters 3 and 4"},
};
constexpr mb_item k_counter_12_items[] = {
    {counter_12, 0, 2, u32, k_whole, "counter_12", "count", "The switch's port counter 12"},
};
constexpr mb_item k_counter_6_items[] = {
    {counter_6, 0, 2, u32, k_whole, "counter_6", "count", "The switch's port counter 6"},
};

constexpr mb_item k_summary_items[] = {
    {stp_mode, 0, 1, u16, k_any, "spanning_tree", "", "Spanning tree", k_spanning_tree_words},
    {redundant_ring0_enabled, 1, 1, u16, k_any, "redundant_ring0_enabled", "",
     "Whether redundant ring 0 is enabled", k_yes_words},
    {ring1_enabled, 4, 1, u16, k_any, "ring1_enabled", "", "Whether the ring with ID 1 is enabled",
     k_yes_words},
};
constexpr mb_item k_word14_items[] = {
    {redundant_word14, 0, 1, u16, k_any, "word14", "", "1 if word 14 of the ring's record is 1, else 0"},
};
constexpr mb_item k_address_items[] = {
    {redundant_address, 0, 3, address, k_any, "address", "", "6-byte address in the ring's record"},
};
constexpr mb_item k_ring_byte_items[] = {
    {redundant_byte22, 0, 1, u16, k_any, "byte22", "", "Byte 22 of the ring's record"},
    {redundant_byte30, 1, 1, u16, k_any, "byte30", "", "Byte 30 of the ring's record"},
};
constexpr mb_item k_word18_items[] = {
    {redundant_word18, 0, 1, u16, k_any, "word18", "", "1 if word 18 of the ring's record is 1, else 0"},
};
constexpr mb_item k_ring_state_items[] = {
    {redundant_word26, 0, 1, u16, k_any, "word26", "",
     "From word 26 of the ring's record: 2 if it is 1, 1 if it is 4, else 0"},
    {redundant_word34, 1, 1, u16, k_any, "word34", "",
     "From word 34 of the ring's record: 2 if it is 1, 1 if it is 4, else 0"},
};

#define WHEN_ENABLED " (0 unless the ring with ID 1 is enabled)"
#define PORT_STATE   "3 for state 1, 1 for state 2, 2 for state 0, else 0"
constexpr mb_item k_ring_items[] = {
    {ring_word24, 0, 1, u16, k_any, "word24", "", "Low byte of word 24 of the ring's record" WHEN_ENABLED},
    {ring_configured, 1, 1, u16, k_any, "configured", "", "Whether a ring is configured" WHEN_ENABLED,
     k_yes_words},
    {ring_name, 2, 33, wide_text, k_any, "name", "",
     "Name of the ring; the groups show the configured rings in the order of their IDs"},
    {ring_word133_byte137, 35, 1, byte_pair, k_any, "word133_byte137", "",
     "High byte: 1 if word 133 of the ring's record is 0, 2 if it is 1, else 0" WHEN_ENABLED
     "; low byte: its byte 137 plus 1"},
    {ring_word141, 36, 1, u16, k_any, "word141", "",
     "Low byte of word 141 of the ring's record" WHEN_ENABLED},
    {ring_value28, 37, 1, u16, k_any, "value28", "",
     "16-bit value at byte 28 of the ring's record" WHEN_ENABLED},
    {ring_port1, 38, 1, byte_pair, k_any, "port1", "",
     "High byte: number of the first ring port; low byte: " PORT_STATE},
    {ring_port2, 39, 1, byte_pair, k_any, "port2", "",
     "High byte: number of the second ring port; low byte: " PORT_STATE},
    {ring_word72_word60, 40, 1, byte_pair, k_any, "word72_word60", "",
     "High byte: from word 72 of the ring's record; low byte: from its word 60; each 2 if the word is 1, "
     "1 if it is 4, else 0"},
};
#undef PORT_STATE
#undef WHEN_ENABLED

constexpr mb_item k_mst_items[] = {
    {mst_instance, 0, 1, byte_pair, k_any, "instance", "",
     "High byte: number of the instance; low byte: byte 1 of its record"},
    {mst_bridge_address, 1, 3, address, k_first, "bridge_address", "", "Bridge address of the instance"},
    {mst_port, 4, k_ports, bits, k_any, "ports", "",
     "One register a port. Bits 15..8: port number; 7..5: byte 0 of the port's entry if it is 0..6, "
     "else 7; 4..3: 1 if its byte 1 is 2, 2 if that is 3, else 0; 2: 1 if its byte 9 is not 0; 1..0: 3 if "
     "its byte 4 is 0, else 0 if its byte 8 is 0, else 1 if its byte 5 is 0, else 2"},
};

constexpr mb_group k_identity_groups[] = {{1001, 1, 145, 0, "", k_identity_items}};
constexpr mb_group k_port_groups[] = {
    {1257, k_ports, 1, 1, "port", k_port_state_items},
    {1257 + k_ports, k_map_ports - k_ports, 1, k_ports + 1, "absent port", k_port_absent_items},
    {1513, k_ports, 32, 1, "port", k_port_media_items},
    {2025, k_ports, 2, 1, "port", k_counter_9_10_items},
    {2089, k_ports, 2, 1, "port", k_counter_3_4_items},
    {2153, k_ports, 2, 1, "port", k_counter_12_items},
    {2217, k_ports, 2, 1, "port", k_counter_6_items},
};
constexpr mb_group k_redundancy_groups[] = {
    {2281, 1, 5, 0, "", k_summary_items},
    {2297, k_rings, 1, 0, "redundant ring", k_word14_items},
    {2299, k_rings, 3, 0, "redundant ring", k_address_items},
    {2305, k_rings, 2, 0, "redundant ring", k_ring_byte_items},
    {2309, k_rings, 1, 0, "redundant ring", k_word18_items},
    {2311, k_rings, 2, 0, "redundant ring", k_ring_state_items},
};
constexpr mb_group k_ring_groups[] = {{3049, 6, 41, 1, "ring group", k_ring_items}};
constexpr mb_group k_mst_groups[] = {{3305, k_mst_instances, 32, 0, "MST instance", k_mst_items}};

constexpr mb_block k_blocks[] = {
    {mb_block_id::identity, 1001, 1145, mb_gap::zero, "identity", "Identity and alarms", k_identity_groups},
    {mb_block_id::ports, 1257, 2240, mb_gap::zero, "ports", "Ports", k_port_groups},
    {mb_block_id::redundancy, 2281, 2314, mb_gap::stop, "redundancy", "Redundancy summary",
     k_redundancy_groups},
    {mb_block_id::rings, 3049, 3303, mb_gap::stop, "rings", "Ring-redundancy rings", k_ring_groups},
    {mb_block_id::mst, 3305, 5352, mb_gap::stop, "mst", "MST instances", k_mst_groups},
};

constexpr bool items_ascend(const mb_group &group) {
    uint32_t next = 0;
    for (const mb_item &item : group.items) {
        if (item.count == 0 || item.offset < next) {
            return false;
        }
        next = uint32_t{item.offset} + item.count;
    }
    return next <= group.stride;
}

constexpr bool groups_ascend(const mb_block &block) {
    uint32_t next = block.first;
    for (const mb_group &group : block.groups) {
        if (group.first < next || !items_ascend(group)) {
            return false;
        }
        next = group.first + uint32_t{group.elements} * group.stride;
    }
    return next <= uint32_t{block.last} + 1;
}

constexpr bool blocks_ascend() {
    uint32_t next = 0;
    for (const mb_block &block : k_blocks) {
        if (block.first < next || !groups_ascend(block)) {
            return false;
        }
        next = uint32_t{block.last} + 1;
    }
    return true;
}
static_assert(blocks_ascend(), "items, groups or blocks overlap or are out of order");
static_assert(std::size(k_blocks) == static_cast<size_t>(mb_block_id::count), "a block id without a block");

/// Whether each item has one row, and each block stands where its id says.
constexpr bool ids_fit() {
    std::array<int, static_cast<size_t>(mb_item_id::count)> rows = {};
    for (const mb_block &block : k_blocks) {
        if (&block != &k_blocks[static_cast<size_t>(block.id)]) {
            return false;
        }
        for (const mb_group &group : block.groups) {
            for (const mb_item &item : group.items) {
                rows[static_cast<size_t>(item.id)]++;
            }
        }
    }
    return std::all_of(rows.begin(), rows.end(), [](int count) { return count == 1; });
}
static_assert(ids_fit(), "an item id without a row, or with two, or a block out of place");

} // namespace

std::span<const mb_block> mb_map_blocks() { return k_blocks; }

const mb_block *mb_map_block_of(uint16_t number) {
    for (const mb_block &block : k_blocks) {
        if (number >= block.first && number <= block.last) {
            return &block;
        }
    }
    return nullptr;
}

mb_place mb_map_find(const mb_block &block, uint16_t number) {
    for (const mb_group &group : block.groups) {
        if (number < group.first) {
            break;
        }
        const uint32_t distance = uint32_t{number} - group.first;
        const uint32_t element = distance / group.stride;
        if (element >= group.elements) {
            continue;
        }
        const uint32_t offset = distance % group.stride;
        for (const mb_item &item : group.items) {
            if (offset < item.offset) {
                break;
            }
            const uint32_t index = offset - item.offset;
            if (index < item.count && (index == 0 || item.entry != mb_entry::first)) {
                return {&item, static_cast<uint16_t>(element), static_cast<uint16_t>(index)};
            }
        }
        break;
    }
    return {nullptr, 0, 0};
}

uint16_t mb_map_step(const mb_place &place, uint16_t count) {
    if (place.item == nullptr) {
        return 1;
    }
    if (place.item->entry == mb_entry::whole) {
        return place.item->count;
    }
    return std::min<uint16_t>(count, static_cast<uint16_t>(place.item->count - place.index));
}

uint16_t mb_map_safe_count(uint16_t number) {
    const mb_block *block = mb_map_block_of(number);
    if (block == nullptr) {
        return 0;
    }
    uint16_t count = 0;
    while (count < k_mb_input_count_max && number + count <= block->last) {
        const mb_place place = mb_map_find(*block, static_cast<uint16_t>(number + count));
        uint16_t step = 1;
        if (place.item != nullptr) {
            step = static_cast<uint16_t>(place.item->count - place.index);
            if (place.item->entry == mb_entry::whole && place.index != 0) {
                break;
            }
        } else if (block->gap == mb_gap::stop) {
            break;
        }
        if (count + step > k_mb_input_count_max) {
            break;
        }
        count = static_cast<uint16_t>(count + step);
    }
    return count;
}
