// A report as JSON: whatever the map has, keyed by the names in its rows.

#include "apps/mbshow/report.h"

#include "apps/mbshow/decode.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using json = nlohmann::ordered_json;

json mst_ports_json(std::span<const uint16_t> words) {
    json ports = json::array();
    for (const uint16_t word : words) {
        const mb_mst_port port = mb_decode_mst_port(word);
        ports.push_back({{"port", port.port},
                         {"bits_7_5", port.bits_7_5},
                         {"bits_4_3", port.bits_4_3},
                         {"bit_2", port.bit_2},
                         {"bits_1_0", port.bits_1_0}});
    }
    return ports;
}

json value_json(mb_type type, std::span<const uint16_t> words) {
    switch (type) {
    case mb_type::u16:
    case mb_type::u32:
        return mb_decode_number(words);
    case mb_type::words:
        return std::vector<uint16_t>(words.begin(), words.end());
    case mb_type::text:
    case mb_type::wide_text:
        return mb_decode_text(type, words);
    case mb_type::address:
        return mb_decode_address(words);
    case mb_type::byte_pair:
        return {{"high", words[0] >> 8}, {"low", words[0] & 0xFF}};
    case mb_type::bits:
        return mst_ports_json(words);
    case mb_type::count:
        break;
    }
    return nullptr;
}

void put_item(json &object, const mb_report &report, const mb_group &group, const mb_item &item,
              uint32_t element) {
    const std::span<const uint16_t> words = mb_image_words(*report.image, group, item, element);
    const std::string name = item.name;
    object[name] = value_json(item.type, words);
    if (words[0] < item.values.size()) {
        object[name + "_text"] = item.values[words[0]];
    }
    if (item.type == mb_type::u32 && report.before != nullptr) {
        object[name + "_per_second"] = mb_image_rate(*report.image, *report.before, item.id, element);
    }
}

/// "redundant_ring" of "redundant ring".
std::string element_key(const mb_group &group) {
    std::string key = group.element;
    std::transform(key.begin(), key.end(), key.begin(),
                   [](unsigned char c) { return static_cast<char>(c == ' ' ? '_' : std::tolower(c)); });
    return key;
}

/// What has no element stands in the block's object; elements have arrays of their own beside it.
void put_group(json &root, const mb_report &report, const mb_block &block, const mb_group &group) {
    const std::string key = element_key(group);
    for (uint32_t element = 0; element < group.elements; element++) {
        json &object = key.empty() ? root[block.key] : root[key + "s"][element];
        if (!key.empty()) {
            object[key] = group.element_number + element;
        }
        for (const mb_item &item : group.items) {
            put_item(object, report, group, item, element);
        }
    }
}

std::string utc(time_t time) {
    tm parts = {};
    std::array<char, sizeof "2026-01-01T00:00:00Z" + 8> text = {};
    gmtime_r(&time, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

} // namespace

std::string mb_report_json(const mb_report &report, int indent) {
    json root = {{"host", report.host}, {"port", report.port}, {"time", utc(report.image->time)}};
    for (const mb_block &block : mb_map_blocks()) {
        for (const mb_group &group : block.groups) {
            if (group.items.front().id != mb_item_id::port_absent) {
                put_group(root, report, block, group);
            }
        }
    }
    // The host is the user's text and need not be UTF-8.
    return root.dump(indent, ' ', false, json::error_handler_t::replace);
}
