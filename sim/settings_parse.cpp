// Names and values of settings, from text to changes.

#include "sim/settings.h"

#include "lib/base/parse_number.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>

namespace {

// ---- names

/// Cuts the first component off `rest`.
std::string_view take_component(std::string_view &rest) {
    const size_t dot = rest.find('.');
    const std::string_view component = rest.substr(0, dot);
    rest = dot == std::string_view::npos ? std::string_view() : rest.substr(dot + 1);
    return component;
}

/// Which elements of an index a component of a name asks for: one, all with "*", or all requests of a family.
std::vector<uint32_t> places_of(sim_index index, std::string_view component) {
    std::vector<uint32_t> places;
    for (uint32_t place = 0; place < sim_index_count(index); place++) {
        const std::string label = sim_index_label(index, place);
        const bool of_family = index == sim_index::request && label.starts_with(std::string(component) + "/");
        if (component == "*" || component == label || of_family) {
            places.push_back(place);
        }
    }
    return places;
}

/// How a name fits a setting: not at all, but for an index that does not exist (its number in `bad`), or
/// well.
struct name_match {
    bool fits = true;
    int32_t bad = -1;
    std::array<std::vector<uint32_t>, 2> places = {std::vector<uint32_t>{0}, std::vector<uint32_t>{0}};
};

name_match match_name(const sim_setting &setting, std::string_view name) {
    name_match match;
    match.fits = !name.ends_with('.');
    std::string_view pattern = setting.name;
    for (size_t next = 0; match.fits && (!pattern.empty() || !name.empty());) {
        const std::string_view wanted = take_component(pattern);
        const std::string_view given = take_component(name);
        if (wanted != "#") {
            match.fits = wanted == given;
            continue;
        }
        match.fits = !given.empty();
        match.places[next] = places_of(setting.index[next], given);
        if (match.places[next].empty()) {
            match.bad = static_cast<int32_t>(next);
        }
        next++;
    }
    return match;
}

/// What could have been meant: the names that begin as `name` does, or else all beginnings.
std::string suggestions(std::string_view name) {
    const std::string_view beginning = take_component(name);
    std::string same;
    std::string beginnings;
    std::string_view last;
    for (const sim_setting &setting : sim_settings()) {
        std::string_view rest = setting.name;
        const std::string_view first = take_component(rest);
        if (first == beginning) {
            same += (same.empty() ? "" : ", ") + std::string(setting.name);
        }
        if (first != last) {
            beginnings += (beginnings.empty() ? "" : ", ") + std::string(first);
            last = first;
        }
    }
    return same.empty() ? "names begin with " + beginnings : "there are " + same;
}

/// Finds the setting that a name means, and its elements in `match`; null with `error` when there is none.
const sim_setting *find_setting(std::string_view name, name_match &match, std::string &error) {
    const sim_setting *misnumbered = nullptr;
    int32_t bad = 0;
    for (const sim_setting &setting : sim_settings()) {
        match = match_name(setting, name);
        if (match.fits && match.bad < 0) {
            return &setting;
        }
        if (match.fits && misnumbered == nullptr) {
            misnumbered = &setting;
            bad = match.bad;
        }
    }
    error = std::string(name) + ": ";
    if (misnumbered != nullptr) {
        error += "in " + std::string(misnumbered->name) + " the " + (bad == 0 ? "first" : "second") +
                 " # is one of " + sim_index_range(misnumbered->index[bad]) + ", or * for all";
    } else {
        error += "no such setting; " + suggestions(name);
    }
    return nullptr;
}

// ---- values

/// A whole decimal number, or a hexadecimal one after "0x".
template<typename T> bool parse_value(std::string_view text, T &number) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    return parse_number(text, &number, hexadecimal ? 16 : 10);
}

bool parse_named(const sim_setting &setting, std::string_view text, uint64_t &number) {
    for (const sim_value_name &value : setting.names) {
        if (text == value.name) {
            number = value.value;
            return true;
        }
    }
    return setting.kind != sim_kind::bits && parse_value(text, number) && number <= setting.limit;
}

bool parse_text(const sim_setting &setting, std::string_view text, sim_value &value) {
    if (text == "\"\"") {
        return true;
    }
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) {
            return false;
        }
    }
    if (text.empty() || text.size() > setting.limit) {
        return false;
    }
    std::memcpy(value.text, text.data(), std::min(text.size(), sizeof value.text));
    return true;
}

bool parse_words(const sim_setting &setting, std::string_view text, sim_value &value) {
    constexpr std::string_view k_as_text = "text:";
    if (text.starts_with(k_as_text)) {
        text.remove_prefix(k_as_text.size());
        for (size_t i = 0; i < text.size() && i < 2 * setting.limit; i++) {
            const auto c = static_cast<uint16_t>(static_cast<unsigned char>(text[i]));
            value.words[i / 2] = static_cast<uint16_t>(value.words[i / 2] | (i % 2 == 0 ? c << 8 : c));
        }
        return text.size() <= 2 * setting.limit;
    }
    for (size_t i = 0; i < setting.limit; i++) {
        const size_t comma = text.find(',');
        if (!parse_value(text.substr(0, comma), value.words[i])) {
            return false;
        }
        if (comma == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(comma + 1);
    }
    return false;
}

bool parse_address(std::string_view text, uint64_t &address) {
    constexpr size_t k_length = 17; // six pairs of digits and five colons
    address = 0;
    for (size_t i = 0; i < 6 && text.size() == k_length; i++) {
        uint8_t byte = 0;
        if (!parse_number(text.substr(3 * i, 2), &byte, 16) || (i < 5 && text[3 * i + 2] != ':')) {
            return false;
        }
        address = (address << 8) | byte;
    }
    return text.size() == k_length;
}

bool parse_integer(std::string_view text, uint64_t &number) {
    int32_t integer = 0;
    const bool parsed = parse_value(text, integer);
    number = static_cast<uint32_t>(integer);
    return parsed;
}

bool parse_ipv4(std::string_view text, uint64_t &number) {
    in_addr address{};
    const bool parsed = ::inet_pton(AF_INET, std::string(text).c_str(), &address) == 1;
    number = ntohl(address.s_addr);
    return parsed;
}

bool parse_fault(std::string_view text, sim_request_fault &fault) {
    constexpr uint32_t k_longest_delay_ms = 600'000;
    if (text == "ok") {
        return true;
    }
    for (;;) {
        const size_t comma = text.find(',');
        const std::string_view part = text.substr(0, comma);
        if (part == "fail") {
            fault.what |= k_sim_fault_fail;
        } else if (part.starts_with("code=") && parse_value(part.substr(5), fault.return_code)) {
            fault.what |= k_sim_fault_code;
        } else if (!part.starts_with("late=") || !parse_value(part.substr(5), fault.delay_ms) ||
                   fault.delay_ms > k_longest_delay_ms) {
            return false;
        }
        if (comma == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(comma + 1);
    }
}

bool parse_value(const sim_setting &setting, std::string_view text, sim_value &value) {
    switch (setting.kind) {
    case sim_kind::text:
        return parse_text(setting, text, value);
    case sim_kind::words:
        return parse_words(setting, text, value);
    case sim_kind::address:
        return parse_address(text, value.number);
    case sim_kind::integer:
        return parse_integer(text, value.number);
    case sim_kind::ipv4:
        return parse_ipv4(text, value.number);
    case sim_kind::ipv6:
        return ::inet_pton(AF_INET6, std::string(text).c_str(), value.text) == 1;
    case sim_kind::fault:
        return parse_fault(text, value.fault);
    case sim_kind::number:
    case sim_kind::octet:
    case sim_kind::bits:
    case sim_kind::link:
    case sim_kind::counter:
    case sim_kind::rate:
        break;
    }
    return parse_named(setting, text, value.number);
}

} // namespace

std::string sim_setting_values(const sim_setting &setting) {
    std::string values;
    for (const sim_value_name &value : setting.names) {
        const bool second_word = !values.empty() && value.value == setting.names[0].value;
        if (!second_word) {
            values += (values.empty() ? "one of " : ", ") + std::string(value.name);
        }
    }
    switch (setting.kind) {
    case sim_kind::text:
        return "1 to " + std::to_string(setting.limit) + " printable characters, or \"\" for none";
    case sim_kind::words:
        return "up to " + std::to_string(setting.limit) +
               " 16-bit numbers with commas between, or text:CHARACTERS";
    case sim_kind::integer:
        return "a whole number";
    case sim_kind::ipv4:
        return "an IPv4 address";
    case sim_kind::ipv6:
        return "an IPv6 address";
    case sim_kind::address:
        return "six bytes as in 02:1b:fe:80:7f:06";
    case sim_kind::fault:
        return "ok, or some of fail, code=N and late=MILLISECONDS (to 600000) with commas between";
    default:
        if (setting.kind == sim_kind::bits || setting.names.size() > setting.limit) {
            return values; // there are no other numbers
        }
        return values + (values.empty() ? "" : ", or ") + "a number up to " + std::to_string(setting.limit);
    }
}

bool sim_change_parse(std::string_view name, std::string_view value, std::vector<sim_change> &changes,
                      std::string &error) {
    name_match match;
    const sim_setting *setting = find_setting(name, match, error);
    if (setting == nullptr) {
        return false;
    }
    if (setting->read_only) {
        error = std::string(name) + ": can only be read";
        return false;
    }
    sim_change change{};
    if (!parse_value(*setting, value, change.value)) {
        error = std::string(name) + ": '" + std::string(value) + "' is not " + sim_setting_values(*setting);
        return false;
    }
    change.target.setting = setting;
    for (const uint32_t first : match.places[0]) {
        for (const uint32_t second : match.places[1]) {
            change.target.place[0] = first;
            change.target.place[1] = second;
            changes.push_back(change);
        }
    }
    return true;
}
