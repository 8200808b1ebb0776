// The register map as a Thing Description.

#include "apps/mapdoc/json_lines.h"
#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"
#include "lib/base/mbap.h"

#include <algorithm>

namespace {

/// How a type of the map is told: as the data's schema and as the binding's type.
struct type_terms {
    const char *schema; // "array": of one integer a register
    const char *binding;
};
// Indexed by mb_type. Bytes in pairs, bit fields and characters that have a register each are left to the
// reader as the registers that they are: neither vocabulary has a word for them.
constexpr type_terms k_terms[] = {
    {"integer", "xsd:unsignedShort"}, {"array", "xsd:unsignedShort"}, {"integer", "xsd:unsignedInt"},
    {"string", "xsd:string"},         {"array", "xsd:unsignedShort"}, {"array", "xsd:unsignedShort"},
    {"integer", "xsd:unsignedShort"}, {"array", "xsd:unsignedShort"},
};
static_assert(std::size(k_terms) == static_cast<size_t>(mb_type::count));

/// What both forms of a property and its only one have: where, how much, and in which order.
json form_json(unsigned number, unsigned quantity, mb_type type, const char *entity) {
    std::string href;
    text_append(href, "%u/%u?quantity=%u", unsigned{k_mbap_own_unit}, number - 1, quantity);
    std::string content = "application/octet-stream";
    if (std::string_view(k_terms[static_cast<size_t>(type)].schema) == "integer") {
        text_append(content, ";length=%u;signed=false;byteSeq=BIG_ENDIAN", 2 * quantity);
    }
    return {{"href", href},
            {"contentType", content},
            {"modv:entity", entity},
            {"modv:unitID", k_mbap_own_unit},
            {"modv:zeroBasedAddressing", true},
            {"modv:type", k_terms[static_cast<size_t>(type)].binding},
            {"modv:mostSignificantByte", true},
            {"modv:mostSignificantWord", true}};
}

json form_json(json form, const char *operation, const char *function) {
    form["op"] = operation;
    form["modv:function"] = function;
    return form;
}

void put_array(json &property, unsigned count) {
    property["items"] = {{"type", "integer"}, {"minimum", 0}, {"maximum", UINT16_MAX}};
    property["minItems"] = count;
    property["maxItems"] = count;
}

json property_json(const mapdoc_row &row) {
    const mb_item &item = *row.item;
    const std::string schema = k_terms[static_cast<size_t>(item.type)].schema;
    const std::string element = mapdoc_element(*row.group, row.element);
    json property = {{"title", element.empty() ? item.name : element + ": " + item.name},
                     {"description", mapdoc_meaning(item)},
                     {"type", schema}};
    if (*mapdoc_word_order(item.type) != '\0') {
        property["description"] =
            mapdoc_meaning(item) + " (" + mapdoc_type(item.type) + ": " + mapdoc_word_order(item.type) + ')';
    }
    if (schema == "integer") {
        property["minimum"] = 0;
        property["maximum"] = item.type == mb_type::u32 ? UINT32_MAX : UINT16_MAX;
    } else if (schema == "array") {
        put_array(property, item.count);
    }
    if (*item.unit != '\0') {
        property["unit"] = item.unit;
    }
    property["readOnly"] = true;
    const json form = form_json(row.number, item.count, item.type, "InputRegister");
    // Spelled out: compilers disagree on whether braces around one value are a list.
    property["forms"] = json::array({form_json(form, "readproperty", "readInputRegister")});
    return property;
}

/// The registers that one request can write and another one read.
json holding_json() {
    const unsigned count = std::min(k_mb_holding_read_max, k_mb_holding_write_max);
    const json form = form_json(k_mb_holding_first, count, mb_type::words, "HoldingRegister");
    json property = {
        {"title", "holding"},
        {"description", "Holding registers, the first of them: the connection's own; 0 until written"},
        {"type", "array"}};
    put_array(property, count);
    property["forms"] = {form_json(form, "readproperty", "readHoldingRegisters"),
                         form_json(form, "writeproperty", "writeMultipleHoldingRegisters")};
    return property;
}

} // namespace

std::string mapdoc_thing() {
    std::vector<std::pair<std::string, json>> properties;
    for (const mapdoc_row &row : mapdoc_rows()) {
        if (row.function == 0x04 && row.item->id != mb_item_id::port_absent) {
            properties.emplace_back(mapdoc_identifier(row), property_json(row));
        }
    }
    properties.emplace_back("holding", holding_json());
    std::string base;
    text_append(base, "modbus+tcp://switch.example:%u/", unsigned{k_modbus_port});
    std::string text = "{\n";
    json_field(text, "@context",
               {"https://www.w3.org/2022/wot/td/v1.1",
                {{"modv", "https://www.w3.org/2019/wot/modbus#"}, {"@language", "en"}}});
    json_field(text, "title", "Industrial Ethernet switch");
    json_field(text, "description",
               "What the switch tells over Modbus TCP. Put its address in the place of the base's host. "
               "Ten connections are served at a time.");
    json_field(text, "base", base);
    json_field(text, "securityDefinitions", {{"nosec_sc", {{"scheme", "nosec"}}}});
    json_field(text, "security", json::array({"nosec_sc"}));
    json_lines(text, "properties", properties);
    return text + "\n}\n";
}
