// The register map as a configuration of Telegraf's Modbus input.

#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"
#include "lib/base/mbap.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

namespace {

constexpr const char *k_head =
    "# Telegraf: reads the switch over Modbus TCP. Written by mapdoc from the register map. Put the "
    "switch's\n"
    "# address in the place of 192.0.2.10; --sample-config of Telegraf has what outputs there are.\n"
    "#\n"
    "# \"optimization\" stays \"none\": fields are then joined only where they touch. A read across "
    "registers\n"
    "# between them may get nothing behind a gap, and one of more than 124 registers is refused.\n"
    "# The unit identifier is not looked at. Two words make a 32-bit value, the high one first (ABCD).\n"
    "# Counters wrap to 0 behind 4294967295. Addresses count from 0: register 1001 is 1000.\n";

void put_input(std::string &text, unsigned period_s) {
    text_append(text,
                "\n[[inputs.modbus]]\n"
                "  name = \"switch\"\n"
                "  controller = \"tcp://192.0.2.10:%u\"\n"
                "  interval = \"%us\"\n"
                "  timeout = \"5s\"\n"
                "  configuration_type = \"request\"\n",
                unsigned{k_modbus_port}, period_s);
    if (period_s > 60) { // the switch ends a connection that is silent for minutes, and has ten in all
        text += "  [inputs.modbus.workarounds]\n"
                "    close_connection_after_gather = true\n";
    }
}

void put_field(std::string &text, const mapdoc_row &row) {
    const mb_item &item = *row.item;
    const bool is_text = item.type == mb_type::text;
    text_append(text, "      { address = %u, name = \"%s\", type = \"%s\"", row.number - 1, item.name,
                is_text ? "STRING" : (item.type == mb_type::u32 ? "UINT32" : "UINT16"));
    if (is_text) {
        text_append(text, ", length = %u", unsigned{item.count});
    }
    text += " },\n";
}

bool same_request(const mapdoc_row &a, const mapdoc_row &b) {
    return a.block == b.block && a.element == b.element &&
           std::string_view(a.group->element) == b.group->element;
}

/// The rows of one element, from all its groups: what shares its tag.
void put_request(std::string &text, const std::vector<mapdoc_row> &rows, const mapdoc_row &first) {
    text_append(text,
                "  [[inputs.modbus.request]]\n"
                "    slave_id = 1\n"
                "    byte_order = \"ABCD\"\n"
                "    register = \"input\"\n"
                "    optimization = \"none\"\n"
                "    measurement = \"switch_%s\"\n"
                "    fields = [\n",
                first.block->key);
    for (const mapdoc_row &row : rows) {
        if (same_request(row, first)) {
            put_field(text, row);
        }
    }
    text += "    ]\n";
    if (*first.group->element != '\0') {
        std::string tag = first.group->element;
        std::replace(tag.begin(), tag.end(), ' ', '_');
        text_append(text, "    [inputs.modbus.request.tags]\n      %s = \"%u\"\n", tag.c_str(),
                    first.group->element_number + first.element);
    }
}

void put_requests(std::string &text, const std::vector<mapdoc_row> &rows) {
    for (size_t i = 0; i < rows.size(); i++) {
        const auto earlier = rows.begin() + static_cast<ptrdiff_t>(i);
        if (std::none_of(rows.begin(), earlier,
                         [&](const mapdoc_row &row) { return same_request(row, rows[i]); })) {
            put_request(text, rows, rows[i]);
        }
    }
}

} // namespace

std::string mapdoc_telegraf() {
    std::string text = k_head;
    const std::vector<mapdoc_row> all = mapdoc_rows();
    std::set<unsigned> periods;
    for (const mapdoc_row &row : all) {
        periods.insert(mapdoc_period_s(row));
    }
    periods.erase(0);
    for (const unsigned period : periods) {
        std::vector<mapdoc_row> rows;
        std::copy_if(all.begin(), all.end(), std::back_inserter(rows),
                     [&](const mapdoc_row &row) { return mapdoc_period_s(row) == period; });
        put_input(text, period);
        put_requests(text, rows);
    }
    return text;
}
