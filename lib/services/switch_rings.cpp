// What the device tells of its rings: the two redundant rings, and the ring-redundancy rings.

#include "lib/base/bytes.h"
#include "lib/base/parse_number.h"
#include "lib/services/switch_look.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace {

/// A number in a record.
struct field_row {
    size_t place;
    size_t size; // bytes: 1, 2 or 4
    report_column column;
};

constexpr field_row k_redundant_fields[] = {
    {redundant_at::k_word14, 4, {"word14", "Word 14"}}, {redundant_at::k_word18, 4, {"word18", "Word 18"}},
    {redundant_at::k_byte22, 1, {"byte22", "Byte 22"}}, {redundant_at::k_word26, 4, {"word26", "Word 26"}},
    {redundant_at::k_byte30, 1, {"byte30", "Byte 30"}}, {redundant_at::k_word34, 4, {"word34", "Word 34"}},
};

// A ring's ports stand in its line, too, the other fields in its full view alone.
constexpr field_row k_ring_ports[] = {
    {ring_at::k_port1, 1, {"port1", "Port 1"}},
    {ring_at::k_port1_state, 4, {"port1_state", "Port 1 state"}},
    {ring_at::k_port2, 1, {"port2", "Port 2"}},
    {ring_at::k_port2_state, 4, {"port2_state", "Port 2 state"}},
};
constexpr field_row k_ring_fields[] = {
    {ring_at::k_word24, 4, {"word24", "Word 24"}},    {ring_at::k_value28, 2, {"value28", "Value 28"}},
    {ring_at::k_word60, 4, {"word60", "Word 60"}},    {ring_at::k_word72, 4, {"word72", "Word 72"}},
    {ring_at::k_word133, 4, {"word133", "Word 133"}}, {ring_at::k_byte137, 1, {"byte137", "Byte 137"}},
    {ring_at::k_word141, 4, {"word141", "Word 141"}},
};

constexpr bool all_in_ring(std::span<const field_row> fields) {
    return std::all_of(fields.begin(), fields.end(), [](const field_row &field) {
        return field.place + field.size <= ring_at::k_used_size;
    });
}
static_assert(all_in_ring(k_ring_ports) && all_in_ring(k_ring_fields));
static_assert(redundant_at::k_word34 + 4 <= k_redundant_record_size);

constexpr report_column k_ring_column = {"ring", "Ring"};
constexpr report_column k_name_column = {"name", "Name"};
constexpr report_column k_enabled_column = {"enabled", "Enabled"};

uint32_t word_at(std::span<const uint8_t> record, size_t place) {
    return load_native<uint32_t>(&record[place]);
}

report_cell number_at(std::span<const uint8_t> record, const field_row &field) {
    const uint8_t *const bytes = &record[field.place];
    const uint32_t value = field.size == 1   ? *bytes
                           : field.size == 2 ? load_native<uint16_t>(bytes)
                                             : load_native<uint32_t>(bytes);
    return int64_t{value};
}

void add_fields(report &to, std::span<const uint8_t> record, std::span<const field_row> fields) {
    for (const field_row &field : fields) {
        report_add(to, field.column, number_at(record, field));
    }
}

/// Characters up to the first zero; what a terminal could take for more than a character becomes '?'.
std::string name_in(sasi_ring_record ring) {
    const auto bytes = ring.subspan<ring_at::k_name, ring_at::k_name_size>();
    std::string name(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return name;
}

constexpr std::array<uint8_t, ring_at::k_used_size> k_no_ring = {};

/// The record of a ring if the device has one configured by this ID.
bool get_ring(int32_t id, sasi_ring_record *ring) {
    return switch_ask([&] { return sasi_get_ring(id, ring); }) && word_at(*ring, ring_at::k_configured) == 1;
}

const char *enabled_in(std::span<const uint8_t> record, size_t place) {
    return switch_yes(word_at(record, place) == 1);
}

} // namespace

service_answer switch_show_redundant_ring(const service_call &call, report &to) {
    int32_t number = 0; // from 1 for users, from 0 for the device
    if (call.arguments.empty() || !parse_number(call.arguments[0], 1, k_redundant_rings, &number)) {
        return {service_outcome::not_supported};
    }
    std::array<uint8_t, k_redundant_record_size> record = {};
    const bool known = switch_ask([&] { return sasi_get_redundant_ring(number - 1, record); });
    if (!known) {
        return {service_outcome::refused, k_switch_silent};
    }
    report_add(to, k_ring_column, int64_t{number});
    report_add(to, k_enabled_column, enabled_in(record, redundant_at::k_state));
    report_add(to, {"address", "Address"},
               switch_address(std::span(record).subspan<redundant_at::k_address, 6>()));
    add_fields(to, record, k_redundant_fields);
    return {};
}

service_answer switch_show_rings(const service_call & /*call*/, report &to) {
    report_table &table = report_add_table(to, "rings", "", {k_ring_column, k_name_column, k_enabled_column});
    std::transform(std::begin(k_ring_ports), std::end(k_ring_ports), std::back_inserter(table.columns),
                   [](const field_row &field) { return field.column; });
    sasi_ring_record ring(k_no_ring);
    for (int32_t id = 1; id <= k_ring_ids; id++) {
        if (get_ring(id, &ring)) {
            table.rows.push_back({int64_t{id}, name_in(ring), enabled_in(ring, ring_at::k_state)});
            std::transform(std::begin(k_ring_ports), std::end(k_ring_ports),
                           std::back_inserter(table.rows.back()),
                           [&](const field_row &field) { return number_at(ring, field); });
        } else if (!sasi_answered()) { // it may be configured
            table.rows.push_back({int64_t{id}});
            table.rows.back().resize(table.columns.size());
        }
    }
    return {};
}

service_answer switch_show_ring(const service_call &call, report &to) {
    int32_t id = 0;
    sasi_ring_record ring(k_no_ring);
    if (call.arguments.empty() || !parse_number(call.arguments[0], 1, k_ring_ids, &id)) {
        return {service_outcome::not_supported};
    }
    if (!get_ring(id, &ring)) {
        return {service_outcome::refused,
                sasi_answered() ? "No such ring is configured in the switch" : k_switch_silent};
    }
    report_add(to, k_ring_column, int64_t{id});
    report_add(to, k_name_column, name_in(ring));
    report_add(to, k_enabled_column, enabled_in(ring, ring_at::k_state));
    add_fields(to, ring, k_ring_ports);
    add_fields(to, ring, k_ring_fields);
    return {};
}
