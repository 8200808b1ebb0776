// What the device tells of the spanning tree: the bridge, and its MST instances with their ports.

#include "lib/base/parse_number.h"
#include "lib/base/take_piece.h"
#include "lib/services/switch_look.h"

#include <algorithm>
#include <array>

namespace {

using instance_record = std::array<uint8_t, k_mst_record_size>;
using port_table = std::array<uint8_t, k_mst_ports_size>;

/// Bit p: port p.
using port_set = uint32_t;
constexpr port_set k_all_ports = ((uint32_t{1} << k_switch_ports) - 1) << 1;

/// Fields of a port's entry whose meaning is not known.
struct entry_row {
    size_t place;
    report_column column;
};
constexpr entry_row k_entry[] = {
    {mst_at::k_entry_state, {"byte0", "Byte 0"}}, {mst_at::k_entry_byte1, {"byte1", "Byte 1"}},
    {mst_at::k_entry_byte4, {"byte4", "Byte 4"}}, {mst_at::k_entry_byte5, {"byte5", "Byte 5"}},
    {mst_at::k_entry_byte8, {"byte8", "Byte 8"}}, {mst_at::k_entry_byte9, {"byte9", "Byte 9"}},
};

constexpr report_column k_instance_column = {"instance", "Instance"};
constexpr report_column k_address_column = {"bridge_address", "Bridge address"};
constexpr report_column k_byte1_column = {"byte1", "Byte 1"};

std::span<const uint8_t, 6> address_in(const instance_record &record) {
    return std::span(record).subspan<mst_at::k_bridge_address, 6>();
}

/// Whether an instance is in use, which its bridge address tells.
bool is_used(const instance_record &record) {
    const auto address = address_in(record);
    return std::any_of(address.begin(), address.end(), [](uint8_t byte) { return byte != 0; });
}

bool get_instance(int32_t instance, instance_record &record) {
    return switch_ask([&] { return sasi_get_mst_instance(instance, record); });
}

void add_bridge(report &to) {
    std::array<uint8_t, k_bridge_record_size> bridge = {};
    const bool known = switch_ask([&] { return sasi_get_bridge(bridge); });
    report_add(to, {"enabled", "Spanning tree on"},
               switch_cell(known, switch_yes(bridge[bridge_at::k_enabled] == 1)));
    report_add(to, {"protocol_mode", "Protocol mode"}, switch_cell(known, bridge[bridge_at::k_mode]));
}

report_table &add_port_table(report &to) {
    report_table &table = report_add_table(to, "ports", "Ports", {k_instance_column, {"port", "Port"}});
    for (const entry_row &row : k_entry) {
        table.columns.push_back(row.column);
    }
    return table;
}

/// Adds a row for each of the ports; all unknown when the device does not tell.
void add_ports(report_table &table, int32_t instance, port_set wanted) {
    port_table ports = {};
    const bool known = switch_ask([&] { return sasi_get_mst_ports(instance, ports); });
    for (uint32_t port = 1; port <= k_switch_ports; port++) {
        if ((wanted >> port & 1) == 0) {
            continue;
        }
        const uint8_t *const entry = &ports[mst_at::k_port_entry + mst_at::k_port_entry_size * port];
        std::vector<report_cell> row = {int64_t{instance}, int64_t{port}};
        for (const entry_row &field : k_entry) {
            row.push_back(switch_cell(known, entry[field.place]));
        }
        table.rows.push_back(std::move(row));
    }
}

/// Adds a row for each instance in use, and for those that may be: the device did not tell. Returns their
/// numbers.
std::vector<int32_t> add_instances(report_table &table) {
    std::vector<int32_t> added;
    for (int32_t instance = 0; instance < k_mst_instances; instance++) {
        instance_record record = {};
        const bool known = get_instance(instance, record);
        if (known ? is_used(record) : !sasi_answered()) {
            table.rows.push_back({int64_t{instance}, known ? switch_address(address_in(record)) : "",
                                  switch_cell(known, record[mst_at::k_byte1])});
            added.push_back(instance);
        }
    }
    return added;
}

void add_tree(report &to, port_set wanted) {
    const std::vector<int32_t> instances =
        add_instances(report_add_table(to, "instances", "MST instances with a bridge address",
                                       {k_instance_column, k_address_column, k_byte1_column}));
    report_table &ports = add_port_table(to);
    for (const int32_t instance : instances) {
        add_ports(ports, instance, wanted);
    }
}

/// Reads "1-3,5". Numbers of no port are left out.
port_set read_ports(std::string_view list) {
    port_set ports = 0;
    while (!list.empty()) {
        std::string_view span = take_piece(list, ',');
        uint32_t low = 0;
        uint32_t high = 0;
        if (!parse_number(take_piece(span, '-'), 1, k_switch_ports, &low)) {
            continue;
        }
        if (!parse_number(span, low, k_switch_ports, &high)) {
            high = low;
        }
        for (uint32_t port = low; port <= high; port++) {
            ports |= uint32_t{1} << port;
        }
    }
    return ports;
}

} // namespace

service_answer switch_show_tree_summary(const service_call & /*call*/, report &to) {
    add_bridge(to);
    return {};
}

service_answer switch_show_spanning_tree(const service_call & /*call*/, report &to) {
    add_bridge(to);
    add_tree(to, k_all_ports);
    return {};
}

service_answer switch_show_tree_ports(const service_call &call, report &to) {
    if (call.arguments.empty()) {
        return {service_outcome::not_supported};
    }
    add_tree(to, read_ports(call.arguments[0]));
    return {};
}

service_answer switch_show_mst(const service_call &call, report &to) {
    int32_t instance = 0;
    if (call.arguments.empty() || !parse_number(call.arguments[0], 0, k_mst_instances - 1, &instance)) {
        return {service_outcome::not_supported};
    }
    instance_record record = {};
    const bool known = get_instance(instance, record);
    report_add(to, k_instance_column, int64_t{instance});
    report_add(to, k_address_column,
               known && is_used(record) ? switch_address(address_in(record)) : std::string());
    report_add(to, k_byte1_column, switch_cell(known, record[mst_at::k_byte1]));
    add_ports(add_port_table(to), instance, k_all_ports);
    return {};
}
