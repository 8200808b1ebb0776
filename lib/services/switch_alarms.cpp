// What the alarm word tells.

#include "lib/services/switch_look.h"

#include <iterator>

namespace {

constexpr const char *k_power_words[] = {"good", "under-voltage", "over-voltage", "no input"};
static_assert(std::size(k_power_words) == static_cast<size_t>(sasi_power::no_input) + 1);

struct bit_row {
    uint32_t bit;
    const char *text;
};

// Bits of what the switch measures, then those of its power inputs; between them are those of the links.
constexpr bit_row k_hardware[] = {
    {alarm_bit::k_board_temperature, "board temperature"},
    {alarm_bit::k_cpu_temperature, "CPU temperature"},
    {alarm_bit::k_phy_temperature, "PHY temperature"},
    {alarm_bit::k_input_1v0, "1.0 V input"},
    {alarm_bit::k_input_1v8, "1.8 V input"},
    {alarm_bit::k_input_5v0, "5.0 V input"},
    {alarm_bit::k_dc_battery, "DC battery"},
};
constexpr bit_row k_power[] = {
    {alarm_bit::k_main_over_voltage, "main power over-voltage"},
    {alarm_bit::k_main_under_voltage, "main power under-voltage"},
    {alarm_bit::k_main_no_input, "main power no input"},
    {alarm_bit::k_redundant_over_voltage, "redundant power over-voltage"},
    {alarm_bit::k_redundant_under_voltage, "redundant power under-voltage"},
    {alarm_bit::k_redundant_no_input, "redundant power no input"},
};

struct alarms {
    bool known;
    uint32_t first;
    uint32_t word;
};

alarms get_alarms() {
    alarms got = {};
    got.known = switch_ask([&] { return sasi_get_alarm(&got.first, &got.word); });
    return got;
}

const char *power_text(const alarms &from, const sasi_power_bits &bits) {
    return k_power_words[static_cast<size_t>(sasi_power_of(from.word, bits))];
}

report_table &add_table(report &to) {
    return report_add_table(to, "alarms", "", {{"bit", "Bit"}, {"alarm", "Alarm"}, {"state", "State"}});
}

void add_bit(report_table &table, const alarms &from, uint32_t bit, const std::string &text) {
    table.rows.push_back(
        {int64_t{bit}, text, switch_cell(from.known, (from.word >> bit & 1) != 0 ? "alarm" : "ok")});
}

} // namespace

service_answer switch_show_alarms(const service_call & /*call*/, report &to) {
    constexpr uint32_t k_link_end = alarm_bit::k_link_down_port1 + k_switch_ports;
    constexpr uint32_t k_known_end = alarm_bit::k_redundant_no_input + 1;
    static_assert(std::size(k_hardware) == alarm_bit::k_link_down_port1 &&
                      k_link_end + std::size(k_power) == k_known_end,
                  "a bit without a row");
    const alarms got = get_alarms();
    report_add(to, {"alarm", "Alarm"}, switch_cell(got.known, got.word != 0 ? "present" : "none"));
    report_add(to, {"main_power", "Main power"}, switch_cell(got.known, power_text(got, k_main_power_bits)));
    report_add(to, {"redundant_power", "Redundant power"},
               switch_cell(got.known, power_text(got, k_redundant_power_bits)));
    report_add(to, {"first_word", "First word"}, switch_cell(got.known, got.first));
    report_table &table = add_table(to);
    for (const bit_row &row : k_hardware) {
        add_bit(table, got, row.bit, row.text);
    }
    for (uint32_t bit = alarm_bit::k_link_down_port1; bit < k_link_end; bit++) {
        add_bit(table, got, bit, "link down, port " + std::to_string(bit - alarm_bit::k_link_down_port1 + 1));
    }
    for (const bit_row &row : k_power) {
        add_bit(table, got, row.bit, row.text);
    }
    for (uint32_t bit = k_known_end; bit < 32; bit++) {
        if ((got.word >> bit & 1) != 0) {
            add_bit(table, got, bit, "unknown");
        }
    }
    return {};
}

service_answer switch_show_hardware(const service_call & /*call*/, report &to) {
    const alarms got = get_alarms();
    report_table &table = add_table(to);
    for (const bit_row &row : k_hardware) {
        add_bit(table, got, row.bit, row.text);
    }
    return {};
}
