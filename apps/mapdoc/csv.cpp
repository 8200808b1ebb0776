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

void put_row(std::string &csv, const mapdoc_row &row) {
    const mb_item &item = *row.item;
    text_append(csv, "%u,%u,%u,%u,", row.number, row.number - 1, mapdoc_notation(row, false),
                unsigned{item.count});
    for (const std::string &text :
         {std::string(mapdoc_type(item.type)), std::string(mapdoc_word_order(item.type)),
          std::string(item.unit), std::string(row.block->name), mapdoc_element(*row.group, row.element),
          std::string(item.name), mapdoc_meaning(item)}) {
        csv += quoted(text) + ',';
    }
    text_append(csv, "%u\n", row.safe_count);
}

} // namespace

std::string mapdoc_csv() {
    std::string csv = "register,pdu_address,notation,count,type,word_order,unit,block,element,name,meaning,"
                      "largest_safe_read\n";
    for (const mapdoc_row &row : mapdoc_rows()) {
        put_row(csv, row);
    }
    return csv;
}
