// What the device tells of ports.

#include "lib/base/parse_number.h"
#include "lib/services/switch_look.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

constexpr int32_t k_ports = k_switch_ports;

// What is told of a port: media and state words, then counters.
constexpr report_column k_state_columns[] = {{"media", "Media"},  {"state", "State"},  {"word1", "Word 1"},
                                             {"word2", "Word 2"}, {"word3", "Word 3"}, {"word4", "Word 4"},
                                             {"word5", "Word 5"}};
constexpr size_t k_words = std::size(k_at_port_words);
static_assert(std::size(k_state_columns) == k_words + 2);

struct counter_row {
    uint32_t sub_code;
    report_column column;
};
constexpr counter_row k_counters[] = {
    {3, {"counter_3", "Counter 3"}},    {4, {"counter_4", "Counter 4"}},
    {6, {"counter_6", "Counter 6"}},    {9, {"counter_9", "Counter 9"}},
    {10, {"counter_10", "Counter 10"}}, {12, {"counter_12", "Counter 12"}},
    {24, {"counter_24", "Counter 24"}}, {28, {"counter_28", "Counter 28"}},
};
static_assert(std::equal(std::begin(k_counters), std::end(k_counters), std::begin(k_counter_subs),
                         std::end(k_counter_subs),
                         [](const counter_row &row, uint32_t sub) { return row.sub_code == sub; }));

const char *media_text(uint32_t media) {
    return media == k_media_fibre    ? "gigabit fibre"
           : media == k_media_copper ? "gigabit copper"
                                     : "fast copper";
}

using cells = std::vector<report_cell>;

/// In the order of k_state_columns, behind `to`.
void add_state(int32_t port, cells &to) {
    uint32_t media = 0;
    std::array<uint32_t, k_words> words = {};
    const bool has_media = switch_ask([&] { return sasi_get_port_media(port, &media); });
    const bool has_words = switch_ask([&] { return sasi_get_port_state(port, words); });
    to.push_back(switch_cell(has_media, media_text(media)));
    to.push_back(switch_cell(has_words, words.back() & 0xFF)); // as masters see it
    for (const uint32_t word : words) {
        to.push_back(switch_cell(has_words, word));
    }
}

/// In the order of k_counters, behind `to`.
void add_counters(int32_t port, cells &to) {
    for (const counter_row &row : k_counters) {
        uint32_t value = 0;
        const bool known = switch_ask([&] { return sasi_get_counter(row.sub_code, port, &value); });
        to.push_back(switch_cell(known, value));
    }
}

constexpr report_column k_port_column = {"port", "Port"};

report_table &add_counter_table(report &to) {
    report_table &table = report_add_table(to, "ports", "", {k_port_column});
    std::transform(std::begin(k_counters), std::end(k_counters), std::back_inserter(table.columns),
                   [](const counter_row &row) { return row.column; });
    return table;
}

/// The port of a name, "gigabitethernet1/0/3"; 0: there is none.
int32_t port_of_name(std::string_view name) {
    constexpr std::string_view k_kind = "gigabitethernet1/0/";
    int32_t port = 0;
    if (!name.starts_with(k_kind) || !parse_number(name.substr(k_kind.size()), 1, k_ports, &port)) {
        return 0;
    }
    return port;
}

} // namespace

service_answer switch_show_ports(const service_call & /*call*/, report &to) {
    report_table &table = report_add_table(to, "ports", "", {k_port_column});
    table.columns.insert(table.columns.end(), std::begin(k_state_columns), std::end(k_state_columns));
    for (int32_t port = 1; port <= k_ports; port++) {
        table.rows.push_back({int64_t{port}});
        add_state(port, table.rows.back());
    }
    return {};
}

service_answer switch_show_port(const service_call &call, report &to) {
    int32_t port = 0;
    if (call.arguments.empty() || !parse_number(call.arguments[0], 1, k_ports, &port)) {
        return {service_outcome::not_supported};
    }
    cells of_port;
    add_state(port, of_port);
    add_counters(port, of_port);
    report_add(to, k_port_column, int64_t{port});
    for (size_t i = 0; i < of_port.size(); i++) {
        const size_t in_counters = i - std::size(k_state_columns);
        report_add(to, i < std::size(k_state_columns) ? k_state_columns[i] : k_counters[in_counters].column,
                   of_port[i]);
    }
    return {};
}

service_answer switch_show_counters(const service_call &call, report &to) {
    int32_t first = 1;
    int32_t last = k_ports;
    if (!call.arguments.empty()) {
        first = last = port_of_name(call.arguments[0]);
        if (first == 0) {
            return {service_outcome::refused, "Ports are gigabitethernet1/0/1 to gigabitethernet1/0/12"};
        }
    }
    report_table &table = add_counter_table(to);
    for (int32_t port = first; port <= last; port++) {
        table.rows.push_back({int64_t{port}});
        add_counters(port, table.rows.back());
    }
    return {};
}

service_answer switch_show_modules(const service_call & /*call*/, report &to) {
    report_table &table =
        report_add_table(to, "ports", "Ports that take modules", {k_port_column, k_state_columns[0]});
    for (int32_t port = 1; port <= k_ports; port++) {
        uint32_t media = 0;
        const bool known = switch_ask([&] { return sasi_get_port_media(port, &media); });
        if (!known || media == k_media_fibre) {
            table.rows.push_back({int64_t{port}, switch_cell(known, media_text(media))});
        }
    }
    return {};
}
