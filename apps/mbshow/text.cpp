// A report in words: what a person wants to know of a switch, in the order of interest.

#include "apps/mbshow/report.h"

#include "apps/common/text_append.h"
#include "apps/mbshow/decode.h"

#include <algorithm>

namespace {

using enum mb_item_id;

std::span<const uint16_t> words_of(const mb_report &report, mb_item_id id, uint32_t element = 0) {
    return mb_image_words(*report.image, id, element);
}

uint32_t number_of(const mb_report &report, mb_item_id id, uint32_t element = 0) {
    return mb_decode_number(words_of(report, id, element));
}

/// A coded value in the map's words, or as a number when the map has no word for it.
std::string words_for(const mb_report &report, mb_item_id id, uint32_t element = 0) {
    const uint32_t value = number_of(report, id, element);
    const mb_item &item = mb_item_of(id);
    return value < item.values.size() ? item.values[value] : "unknown (" + std::to_string(value) + ")";
}

void put_line(std::string &out, const char *label, const std::string &value) {
    text_append(out, "  %-18s %s\n", label, value.c_str());
}

std::string or_none(const std::string &text) { return text.empty() ? "(none)" : text; }

void put_identity(std::string &out, const mb_report &report) {
    std::string type;
    const uint32_t code = number_of(report, device_type);
    text_append(type, "%u (0x%04X)", code, code);
    put_line(out, "Device type", type);
    put_line(out, "Serial number", or_none(mb_decode_text(mb_type::text, words_of(report, serial_number))));
    put_line(out, "MAC address", mb_decode_address(words_of(report, mac_address)));
    put_line(out, "Main power", words_for(report, main_power));
    put_line(out, "Redundant power", words_for(report, redundant_power));
    put_line(out, "Alarm", words_for(report, alarm_present));
}

struct counter_column {
    mb_item_id id;
    const char *title;
};
constexpr counter_column k_counters[] = {
    {counter_9_10, "Counter 9+10"},
    {counter_3_4, "Counter 3+4"},
    {counter_12, "Counter 12"},
    {counter_6, "Counter 6"},
};

void put_counter_titles(std::string &out) {
    for (const counter_column &column : k_counters) {
        text_append(out, " %12s", column.title);
    }
    out += '\n';
}

/// The counters of one port: how far they went in a second since `before`, or where they stand.
void put_counters(std::string &out, const mb_report &report, uint32_t port, const mb_image *before) {
    for (const counter_column &column : k_counters) {
        if (before != nullptr) {
            text_append(out, " %12.1f", mb_image_rate(*report.image, *before, column.id, port));
        } else {
            text_append(out, " %12u", number_of(report, column.id, port));
        }
    }
    out += '\n';
}

void put_ports(std::string &out, const mb_report &report) {
    out += report.before == nullptr ? "\nPorts\n" : "\nPorts, counts per second\n";
    out += "  Port State Media       ";
    put_counter_titles(out);
    for (uint32_t i = 0; i < mb_image_elements(port_state); i++) {
        text_append(out, "  %4u %5u %-12s", i + 1, number_of(report, port_state, i),
                    mb_decode_text(mb_type::text, words_of(report, port_media, i)).c_str());
        put_counters(out, report, i, report.before);
    }
}

/// Where the counters stand, when the table of the ports shows how fast they run.
void put_totals(std::string &out, const mb_report &report) {
    text_append(out, "\nPorts, counts\n  Port%19s", "");
    put_counter_titles(out);
    for (uint32_t i = 0; i < mb_image_elements(port_state); i++) {
        text_append(out, "  %4u%19s", i + 1, "");
        put_counters(out, report, i, nullptr);
    }
}

void put_redundancy(std::string &out, const mb_report &report) {
    out += "\nRedundancy\n";
    put_line(out, "Spanning tree", words_for(report, stp_mode));
    put_line(out, "Redundant ring on", words_for(report, redundant_ring0_enabled));
    put_line(out, "Ring with ID 1 on", words_for(report, ring1_enabled));
    out += "\n  Redundant ring  Address            Word14 Word18 Byte22 Byte30 Word26 Word34\n";
    for (uint32_t i = 0; i < mb_image_elements(redundant_address); i++) {
        text_append(out, "  %14u  %s  %6u %6u %6u %6u %6u %6u\n", i,
                    mb_decode_address(words_of(report, redundant_address, i)).c_str(),
                    number_of(report, redundant_word14, i), number_of(report, redundant_word18, i),
                    number_of(report, redundant_byte22, i), number_of(report, redundant_byte30, i),
                    number_of(report, redundant_word26, i), number_of(report, redundant_word34, i));
    }
}

/// "3 / 1": high and low byte.
std::string byte_pair(const mb_report &report, mb_item_id id, uint32_t element) {
    const uint32_t word = number_of(report, id, element);
    std::string text;
    text_append(text, "%u / %u", word >> 8, word & 0xFF);
    return text;
}

void put_rings(std::string &out, const mb_report &report) {
    const uint32_t groups = mb_image_elements(ring_name);
    uint32_t shown = 0;
    std::string table;
    for (uint32_t i = 0; i < groups; i++) {
        if (!mb_image_has_ring(*report.image, i)) {
            continue;
        }
        shown++;
        text_append(table, "  %5u %10s %8s %8s %6u %7u %7u %8s %7s  %s\n", i + 1,
                    words_for(report, ring_configured, i).c_str(), byte_pair(report, ring_port1, i).c_str(),
                    byte_pair(report, ring_port2, i).c_str(), number_of(report, ring_word24, i),
                    number_of(report, ring_value28, i), number_of(report, ring_word141, i),
                    byte_pair(report, ring_word133_byte137, i).c_str(),
                    byte_pair(report, ring_word72_word60, i).c_str(),
                    mb_decode_text(mb_type::wide_text, words_of(report, ring_name, i)).c_str());
    }
    text_append(out, "\nRings: %u of %u groups show a configured ring; the others are left out\n", shown,
                groups);
    if (shown > 0) {
        out += "                    Port 1   Port 2                        Word133 Word72\n"
               "  Group Configured / state  / state Word24 Value28 Word141  / 137+1 / word60 Name\n" +
               table;
    }
}

/// One line a field, one column a port.
void put_mst_ports(std::string &out, std::span<const uint16_t> words) {
    struct field_row {
        const char *title;
        uint32_t mb_mst_port::*field;
    };
    static constexpr field_row k_rows[] = {
        {"Port", &mb_mst_port::port},          {"Bits 7..5", &mb_mst_port::bits_7_5},
        {"Bits 4..3", &mb_mst_port::bits_4_3}, {"Bit 2", &mb_mst_port::bit_2},
        {"Bits 1..0", &mb_mst_port::bits_1_0},
    };
    for (const field_row &row : k_rows) {
        text_append(out, "    %-10s", row.title);
        for (const uint16_t word : words) {
            text_append(out, " %3u", mb_decode_mst_port(word).*row.field);
        }
        out += '\n';
    }
}

void put_mst(std::string &out, const mb_report &report) {
    const uint32_t instances = mb_image_elements(mst_instance);
    uint32_t shown = 0;
    std::string list;
    for (uint32_t i = 0; i < instances; i++) {
        if (!mb_image_has_instance(*report.image, i)) {
            continue;
        }
        shown++;
        text_append(list, "  Instance %u: bridge %s, byte 1 of the record %u\n", i,
                    mb_decode_address(words_of(report, mst_bridge_address, i)).c_str(),
                    number_of(report, mst_instance, i) & 0xFF);
        put_mst_ports(list, words_of(report, mst_port, i));
    }
    text_append(out, "\nMST: %u of %u instances have a bridge address; the others are left out\n%s", shown,
                instances, list.c_str());
}

/// Words of unknown content: in hexadecimal, and as the text they may be.
void put_words(std::string &out, const char *title, std::span<const uint16_t> words) {
    constexpr size_t k_line = 8;
    for (size_t at = 0; at < words.size(); at += k_line) {
        const std::span<const uint16_t> line = words.subspan(at, std::min(k_line, words.size() - at));
        std::string hex;
        std::string text;
        for (const uint16_t word : line) {
            text_append(hex, "%04X ", unsigned{word});
            for (const int c : {word >> 8, word & 0xFF}) {
                text += c >= ' ' && c <= '~' ? static_cast<char>(c) : '.';
            }
        }
        text_append(out, "  %-18s %-40s %s\n", at == 0 ? title : "", hex.c_str(), text.c_str());
    }
}

void put_identity_words(std::string &out, const mb_report &report) {
    out += "\nIdentity words\n";
    put_words(out, "Boot loader A", words_of(report, tailer_words_a));
    put_words(out, "Boot loader B", words_of(report, tailer_words_b));
    put_words(out, "Firmware A", words_of(report, firmware_words_a));
    put_words(out, "Firmware B", words_of(report, firmware_words_b));
}

std::string value_text(mb_type type, std::span<const uint16_t> words) {
    switch (type) {
    case mb_type::u16:
    case mb_type::u32:
        return std::to_string(mb_decode_number(words));
    case mb_type::text:
    case mb_type::wide_text:
        return or_none(mb_decode_text(type, words));
    case mb_type::address:
        return mb_decode_address(words);
    default: {
        std::string hex;
        for (const uint16_t word : words) {
            text_append(hex, "%04X ", unsigned{word});
        }
        return hex;
    }
    }
}

bool has_layout(mb_block_id block) {
    constexpr mb_block_id k_known[] = {mb_block_id::identity, mb_block_id::ports, mb_block_id::redundancy,
                                       mb_block_id::rings, mb_block_id::mst};
    return std::find(std::begin(k_known), std::end(k_known), block) != std::end(k_known);
}

/// A block without a layout of its own above: one line an item.
void put_block(std::string &out, const mb_report &report, const mb_block &block) {
    text_append(out, "\n%s\n", block.name);
    for (const mb_group &group : block.groups) {
        for (uint32_t element = 0; element < group.elements; element++) {
            if (group.elements > 1) {
                text_append(out, "  %s %u\n", group.element, group.element_number + element);
            }
            for (const mb_item &item : group.items) {
                put_line(out, item.name,
                         value_text(item.type, mb_image_words(*report.image, group, item, element)));
            }
        }
    }
}

} // namespace

std::string mb_report_text(const mb_report &report) {
    std::string out;
    tm parts = {};
    localtime_r(&report.image->time, &parts);
    std::array<char, 32> time = {};
    std::strftime(time.data(), time.size(), "%Y-%m-%d %H:%M:%S", &parts);
    text_append(out, "%s port %u, %s\n", report.host, unsigned{report.port}, time.data());
    put_identity(out, report);
    put_ports(out, report);
    if (report.before != nullptr) {
        put_totals(out, report);
    }
    put_redundancy(out, report);
    put_rings(out, report);
    put_mst(out, report);
    for (const mb_block &block : mb_map_blocks()) {
        if (!has_layout(block.id)) {
            put_block(out, report, block);
        }
    }
    put_identity_words(out, report);
    return out;
}
