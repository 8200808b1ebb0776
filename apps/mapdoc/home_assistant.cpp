// The register map as a configuration of Home Assistant's Modbus integration.

#include "apps/mapdoc/mapdoc.h"

#include "apps/common/text_append.h"
#include "lib/base/mbap.h"

namespace {

constexpr const char *k_head =
    "# Home Assistant: reads the switch over Modbus TCP. Written by mapdoc from the register map. For\n"
    "# configuration.yaml, or a file that it includes; put the switch's address in the place of 192.0.2.10.\n"
    "#\n"
    "# \"input\" is function 0x04. Addresses count from 0: register 1001 is 1000. The unit identifier is "
    "not\n"
    "# looked at (\"slave\"; newer releases call it device_address). 32-bit values have the high word "
    "first,\n"
    "# which is the default. A sensor with a virtual_count reads all its ports in one request; the others "
    "get\n"
    "# its name with _1 (port 2), _2, ... behind it.\n";

/// Whether equal items lie side by side, so that one request reads those of all elements.
bool side_by_side(const mb_group &group, const mb_item &item) {
    return group.elements > 1 && group.stride == item.count;
}

void put_sensor(std::string &text, const mapdoc_row &row) {
    const mb_item &item = *row.item;
    const std::string name = mapdoc_identifier(row);
    const bool is_text = item.type == mb_type::text;
    text_append(text,
                "      - name: switch %s\n"
                "        unique_id: switch_%s\n"
                "        slave: 1\n"
                "        address: %u\n"
                "        input_type: input\n"
                "        data_type: %s\n",
                name.c_str(), name.c_str(), row.number - 1,
                is_text ? "string" : (item.type == mb_type::u32 ? "uint32" : "uint16"));
    if (is_text) {
        text_append(text, "        count: %u\n", unsigned{item.count});
    }
    if (side_by_side(*row.group, item)) {
        text_append(text, "        virtual_count: %u\n", row.group->elements - 1U);
    }
    if (item.type == mb_type::u32) {
        text += "        state_class: total_increasing\n";
    }
    text_append(text, "        scan_interval: %u\n", mapdoc_period_s(row));
}

} // namespace

std::string mapdoc_home_assistant() {
    std::string text = k_head;
    text_append(text,
                "\nmodbus:\n"
                "  - name: switch\n"
                "    type: tcp\n"
                "    host: 192.0.2.10\n"
                "    port: %u\n"
                "    timeout: 5\n"
                "    sensors:\n",
                unsigned{k_modbus_port});
    for (const mapdoc_row &row : mapdoc_rows()) {
        const bool read_with_first = row.element != 0 && side_by_side(*row.group, *row.item);
        if (mapdoc_period_s(row) != 0 && !read_with_first) {
            put_sensor(text, row);
        }
    }
    return text;
}
