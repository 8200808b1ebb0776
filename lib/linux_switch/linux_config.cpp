#include "lib/linux_switch/linux_config.h"

#include "lib/base/parse_number.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>

namespace {

constexpr std::string_view k_blanks = " \t\r";
constexpr double k_most = 1e6; // volts or degrees

constexpr uint32_t bit(uint32_t number) { return uint32_t{1} << number; }

constexpr uint32_t k_board = bit(alarm_bit::k_board_temperature);
constexpr uint32_t k_cpu = bit(alarm_bit::k_cpu_temperature);
constexpr uint32_t k_phy = bit(alarm_bit::k_phy_temperature);
constexpr uint32_t k_1v0 = bit(alarm_bit::k_input_1v0);
constexpr uint32_t k_1v8 = bit(alarm_bit::k_input_1v8);
constexpr uint32_t k_5v0 = bit(alarm_bit::k_input_5v0);
constexpr uint32_t k_battery = bit(alarm_bit::k_dc_battery);

/// What follows a key.
enum class kind : uint8_t { links, supply, voltage, temperature };

/// A key, and which bits it raises below its sensor's limits, above them and when there is nothing to read.
struct key_row {
    std::string_view key;
    kind what;
    uint32_t low;
    uint32_t high;
    uint32_t lost;
};

constexpr key_row online(std::string_view key, const sasi_power_bits &bits) {
    return {key, kind::supply, 0, 0, bit(bits.no_input)};
}
constexpr key_row voltage(std::string_view key, const sasi_power_bits &bits) {
    return {key, kind::voltage, bit(bits.under_voltage), bit(bits.over_voltage), bit(bits.no_input)};
}
constexpr key_row one_bit(std::string_view key, kind what, uint32_t bits) {
    return {key, what, bits, bits, bits};
}

constexpr key_row k_keys[] = {
    {"alarm.link-down", kind::links, 0, 0, 0},
    online("power.main.online", k_main_power_bits),
    voltage("power.main.voltage", k_main_power_bits),
    online("power.redundant.online", k_redundant_power_bits),
    voltage("power.redundant.voltage", k_redundant_power_bits),
    one_bit("temperature.board", kind::temperature, k_board),
    one_bit("temperature.cpu", kind::temperature, k_cpu),
    one_bit("temperature.phy", kind::temperature, k_phy),
    one_bit("input.1v0", kind::voltage, k_1v0),
    one_bit("input.1v8", kind::voltage, k_1v8),
    one_bit("input.5v0", kind::voltage, k_5v0),
    one_bit("battery", kind::voltage, k_battery),
};

std::vector<std::string_view> words_of(std::string_view line) {
    std::vector<std::string_view> words;
    for (;;) {
        const size_t start = line.find_first_not_of(k_blanks);
        if (start == std::string_view::npos || line[start] == '#') {
            return words;
        }
        line.remove_prefix(start);
        const size_t end = std::min(line.find_first_of(k_blanks), line.size());
        words.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
}

std::string quoted(std::string_view text) { return "'" + std::string(text) + "'"; }

/// Whether a text is the name of something in a folder, and leads nowhere else.
bool is_file_name(std::string_view text) {
    return !text.empty() && text[0] != '.' && text.find('/') == std::string_view::npos &&
           text.find('\0') == std::string_view::npos;
}

/// Whether a text is `prefix` and a number.
bool is_feature(std::string_view text, std::string_view prefix) {
    uint32_t number = 0;
    return text.starts_with(prefix) && parse_number(text.substr(prefix.size()), 0, 999, &number);
}

bool parse_limit(std::string_view text, std::optional<int64_t> &limit) {
    double value = 0;
    if (!parse_number(text, -k_most, k_most, &value)) {
        return false;
    }
    limit = std::llround(value * 1000);
    return true;
}

using values = std::span<const std::string_view>;

bool parse_links(values words, linux_config &config, std::string &error) {
    config.watch_all = words.size() == 1 && words[0] == "*";
    for (const std::string_view word : config.watch_all ? values() : words) {
        linux_name name{};
        if (!linux_name_of(word, &name)) {
            error = quoted(word) + " is no name of an interface";
            return false;
        }
        config.watched.push_back(name);
    }
    return true;
}

bool parse_supply(const key_row &row, values words, linux_config &config, std::string &error) {
    if (words.size() != 1 || !is_file_name(words[0])) {
        error = std::string(row.key) + " takes the name of a power supply";
        return false;
    }
    config.supplies.push_back({std::string(words[0]), row.lost});
    return true;
}

bool parse_sensor(const key_row &row, values words, linux_config &config, std::string &error) {
    const bool is_voltage = row.what == kind::voltage;
    const size_t limits = is_voltage ? 2 : 1;
    linux_sensor sensor{.chip = {},
                        .device = {},
                        .feature = {},
                        .limits = {},
                        .low_bits = row.low,
                        .high_bits = row.high,
                        .lost_bits = row.lost};
    if ((words.size() != 2 && words.size() != 2 + limits) ||
        !is_feature(words[1], is_voltage ? "in" : "temp")) {
        error =
            std::string(row.key) + (is_voltage ? " takes CHIP inN [LOW HIGH]" : " takes CHIP tempN [HIGH]");
        return false;
    }
    const size_t at = words[0].find('@');
    sensor.chip = words[0].substr(0, at);
    sensor.device = at == std::string_view::npos ? "" : words[0].substr(at + 1);
    sensor.feature = words[1];
    if (!is_file_name(sensor.chip) || (at != std::string_view::npos && !is_file_name(sensor.device))) {
        error = quoted(words[0]) + " is no chip: NAME or NAME@DEVICE";
        return false;
    }
    if (words.size() > 2 && (!parse_limit(words.back(), sensor.limits.high) ||
                             (is_voltage && (!parse_limit(words[2], sensor.limits.low) ||
                                             *sensor.limits.low >= *sensor.limits.high)))) {
        error = is_voltage ? "limits are two numbers of volts, the lower one first"
                           : "a limit is a number of degrees Celsius";
        return false;
    }
    config.sensors.push_back(std::move(sensor));
    return true;
}

bool parse_line(std::string_view line, uint32_t *seen, linux_config &config, std::string &error) {
    const std::vector<std::string_view> words = words_of(line);
    if (words.empty()) {
        return true;
    }
    const auto *const row = std::find_if(std::begin(k_keys), std::end(k_keys),
                                         [&](const key_row &one) { return one.key == words[0]; });
    if (row == std::end(k_keys)) {
        error = quoted(words[0]) + " is no key";
        return false;
    }
    const uint32_t mark = bit(static_cast<uint32_t>(row - std::begin(k_keys)));
    if ((*seen & mark) != 0 || words.size() == 1) {
        error = std::string(row->key) + (words.size() == 1 ? " lacks its value" : " is given twice");
        return false;
    }
    *seen |= mark;
    const values rest = values(words).subspan(1);
    switch (row->what) {
    case kind::links:
        return parse_links(rest, config, error);
    case kind::supply:
        return parse_supply(*row, rest, config, error);
    default:
        return parse_sensor(*row, rest, config, error);
    }
}

} // namespace

bool linux_config_is_empty(const linux_config &config) {
    return !config.watch_all && config.watched.empty() && config.supplies.empty() && config.sensors.empty();
}

bool linux_name_of(std::string_view text, linux_name *name) {
    constexpr std::string_view k_never = "/: \t\n\v\f\r";
    if (text.empty() || text.size() >= name->size() || text == "." || text == ".." ||
        text.find_first_of(k_never) != std::string_view::npos || text.find('\0') != std::string_view::npos) {
        return false;
    }
    name->fill(0);
    std::copy(text.begin(), text.end(), name->begin());
    return true;
}

bool linux_config_parse(std::string_view text, const std::string &file, linux_config &config,
                        std::string &error) {
    static_assert(std::size(k_keys) <= 32);
    config = {};
    uint32_t seen = 0;
    for (size_t number = 1; !text.empty(); number++) {
        const size_t end = text.find('\n');
        if (!parse_line(text.substr(0, end), &seen, config, error)) {
            error.insert(0, file + ":" + std::to_string(number) + ": ");
            return false;
        }
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return true;
}
