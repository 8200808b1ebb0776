// The register map as CSV, for import.

#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"

namespace {

/// Every text is quoted, with quotes doubled, since meanings contain commas and quotes.
std::string quoted(const std::string &text) {
    std::string out = "\"";
    for (const char c : text) {
        out.append(c == '"' ? 2 : 1, c);
    }
    return out + '"';
}

struct csv_row {
    unsigned number;
    unsigned notation;
    unsigned count;
    mb_type type;
    const char *block;
    const char *name;
    std::string element;
    const char *unit;
    std::string meaning;
    unsigned safe_count;
};

void put_row(std::string &csv, const csv_row &row) {
    text_append(csv, "%u,%u,%u,%u,", row.number, row.number - 1, row.notation, row.count);
    for (const std::string &text :
         {std::string(mapdoc_type(row.type)), std::string(mapdoc_word_order(row.type)), std::string(row.unit),
          std::string(row.block), row.element, std::string(row.name), row.meaning}) {
        csv += quoted(text) + ',';
    }
    text_append(csv, "%u\n", row.safe_count);
}

void put_element(std::string &csv, const mb_block &block, const mb_group &group, uint16_t element) {
    for (const mb_item &item : group.items) {
        const unsigned number = unsigned{group.first} + unsigned{element} * group.stride + item.offset;
        put_row(csv, {number, 30000U + number, item.count, item.type, block.name, item.name,
                      mapdoc_element(group, element), item.unit, mapdoc_meaning(item),
                      mb_map_safe_count(static_cast<uint16_t>(number))});
    }
}

void put_holding(std::string &csv) {
    for (unsigned i = 0; i < k_mb_holding_count; i++) {
        const unsigned number = unsigned{k_mb_holding_first} + i;
        put_row(csv, {number, 40000U + number, 1, mb_type::u16, "Holding registers", "holding", "", "",
                      "The connection's own; 0 until written",
                      std::min<unsigned>(k_mb_holding_read_max, k_mb_holding_count - i)});
    }
}

} // namespace

std::string mapdoc_csv() {
    std::string csv = "register,pdu_address,notation,count,type,word_order,unit,block,element,name,meaning,"
                      "largest_safe_read\n";
    for (const mb_block &block : mb_map_blocks()) {
        for (const mb_group &group : block.groups) {
            for (uint16_t element = 0; element < group.elements; element++) {
                put_element(csv, block, group, element);
            }
        }
    }
    put_holding(csv);
    return csv;
}
