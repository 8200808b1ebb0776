// The register map as JSON, for import.

#include "apps/mapdoc/json_lines.h"
#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"
#include "lib/base/mbap.h"
#include "modbus/client_table.h"
#include "modbus/porttcp.h"

namespace {

std::string hex(unsigned value, int digits) {
    std::string text;
    text_append(text, "0x%0*X", digits, value);
    return text;
}

json transport_json() {
    return {{"protocol", "Modbus TCP"},
            {"port", k_modbus_port},
            {"unit_id", "any; it comes back as it was sent"},
            {"connections", k_tcp_clients_max},
            {"silence_limit_s", k_tcp_silence_limit_s}};
}

json order_json() {
    return {{"bytes", "high byte first"},
            {"words_of_32_bits", mapdoc_word_order(mb_type::u32)},
            {"texts", "end at their first zero character or with the item"}};
}

json limits_json() {
    return {{"0x03", {{"read", k_mb_holding_read_max}}},
            {"0x04", {{"read", k_mb_input_count_max}}},
            {"0x06", {{"write", 1}}},
            {"0x10", {{"write", k_mb_holding_write_max}}},
            {"0x17", {{"read", k_mb_holding_read_max}, {"write", k_mb_exchange_write_max}}}};
}

/// What a register of the block gives that holds nothing. Every holding register holds something.
const char *gap_text(const mb_block &block) {
    if (block.id == mb_block_id::count) {
        return "none";
    }
    return block.gap == mb_gap::zero ? "read 0" : "end the reply";
}

json block_json(const mb_block &block, unsigned function) {
    return {{"block", block.key},
            {"name", block.name},
            {"function", hex(function, 2)},
            {"first_register", block.first},
            {"last_register", block.last},
            {"first_pdu_address", block.first - 1},
            {"last_pdu_address", block.last - 1},
            {"gaps", gap_text(block)}};
}

json item_json(const mapdoc_row &row) {
    const mb_item &item = *row.item;
    json object = {{"id", mapdoc_identifier(row)}, {"block", row.block->key}};
    if (const std::string element = mapdoc_element(*row.group, row.element); !element.empty()) {
        object["element"] = element;
    }
    object["name"] = item.name;
    object["function"] = hex(row.function, 2);
    object["register"] = row.number;
    object["pdu_address"] = row.number - 1;
    object["pdu_address_hex"] = hex(row.number - 1, 4);
    object["notation"] = std::to_string(mapdoc_notation(row, false));
    object["notation_6"] = std::to_string(mapdoc_notation(row, true));
    object["count"] = item.count;
    object["type"] = mapdoc_type_key(item.type);
    object["layout"] = mapdoc_type(item.type);
    if (*mapdoc_word_order(item.type) != '\0') {
        object["order"] = mapdoc_word_order(item.type);
    }
    if (*item.unit != '\0') {
        object["unit"] = item.unit;
    }
    object["meaning"] = item.meaning;
    for (size_t value = 0; value < item.values.size(); value++) {
        object["values"][std::to_string(value)] = item.values[value];
    }
    object["begin_at_first_register"] = item.entry != mb_entry::any && item.count > 1;
    object["largest_safe_read"] = row.safe_count;
    return object;
}

} // namespace

std::string mapdoc_json() {
    std::vector<json> blocks;
    std::vector<json> items;
    for (const mapdoc_row &row : mapdoc_rows()) {
        if (blocks.empty() || blocks.back()["block"] != row.block->key) {
            blocks.push_back(block_json(*row.block, row.function));
        }
        items.push_back(item_json(row));
    }
    std::string text = "{\n";
    json_field(text, "title", "Register map of the switch");
    json_field(text, "transport", transport_json());
    json_field(text, "order", order_json());
    json_field(text, "registers_in_one_request", limits_json());
    json_lines(text, "blocks", blocks);
    text += ",\n";
    json_lines(text, "items", items);
    return text + "\n}\n";
}
