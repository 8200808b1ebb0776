#include "lib/cmds/cmds_values.h"

#include "lib/base/parse_number.h"
#include "lib/base/switch_ports.h"
#include "lib/base/take_piece.h"
#include "lib/cli/cli_match.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <iterator>
#include <optional>

namespace {

constexpr size_t k_text_max = 64;
constexpr int32_t k_groups = 6; // of aggregated links

static_assert(k_switch_ports == 12, "the texts below say so");
constexpr const char *k_port_list_fault = "Ports are 1 to 12, as in 1,3-5";
constexpr const char *k_text_fault = "This text is too long, or has characters that cannot be printed";

std::optional<cmds_span> read_span(std::string_view piece, int32_t low, int32_t high) {
    cmds_span span = {};
    const bool single = piece.find('-') == std::string_view::npos;
    if (!parse_number(take_piece(piece, '-'), low, high, &span.low)) {
        return std::nullopt;
    }
    span.high = span.low;
    if (!single && (!parse_number(piece, low, high, &span.high) || span.high < span.low)) {
        return std::nullopt;
    }
    return span;
}

/// Reads `count` numbers with a separator between them and nothing else.
template<size_t count>
std::optional<std::array<int32_t, count>> read_numbers(std::string_view text, char separator,
                                                       int32_t highest) {
    std::array<int32_t, count> numbers{};
    if (std::count(text.begin(), text.end(), separator) != count - 1) {
        return std::nullopt;
    }
    for (int32_t &number : numbers) {
        if (!parse_number(take_piece(text, separator), 0, highest, &number)) {
            return std::nullopt;
        }
    }
    return numbers;
}

// ---- the types that are more than their rule says; each puts the value into its form, or says what is wrong

using keep_fn = const char *(*)(std::string_view value, std::string *kept);

const char *keep_list(std::string_view value, int32_t high, const char *fault, std::string *kept) {
    std::vector<cmds_span> spans;
    if (!cmds_read_list(value, 1, high, &spans)) {
        return fault;
    }
    *kept = cmds_list_text(spans);
    return nullptr;
}

const char *keep_ports(std::string_view value, std::string *kept) {
    return keep_list(value, k_switch_ports, k_port_list_fault, kept);
}

const char *keep_vlans(std::string_view value, std::string *kept) {
    return keep_list(value, k_vlan_max, "VLANs are 1 to 4094, as in 1,10-19", kept);
}

const char *keep_number(std::string_view value, std::string *kept) {
    int32_t number = 0;
    if (!parse_number(value, &number)) {
        return "This number is too large";
    }
    *kept = std::to_string(number);
    return nullptr;
}

const char *keep_group(std::string_view value, std::string *kept) {
    int32_t group = 0;
    if (!parse_number(value, 1, k_groups, &group)) {
        return "Groups are 1 to 6";
    }
    *kept = std::to_string(group);
    return nullptr;
}

const char *keep_port(std::string_view value, std::string *kept) {
    int32_t port = 0;
    if (!parse_number(value, 1, k_switch_ports, &port)) {
        return "Ports are 1 to 12";
    }
    *kept = std::to_string(port);
    return nullptr;
}

const char *keep_address(std::string_view value, std::string *kept) {
    const auto parts = read_numbers<4>(value, '.', 255);
    if (!parts) {
        return "The parts of an address are 0 to 255";
    }
    *kept = std::to_string((*parts)[0]) + '.' + std::to_string((*parts)[1]) + '.' +
            std::to_string((*parts)[2]) + '.' + std::to_string((*parts)[3]);
    return nullptr;
}

const char *keep_network(std::string_view value, std::string *kept) {
    const std::string_view address = take_piece(value, '/');
    int32_t prefix = 0;
    if (const char *const fault = keep_address(address, kept); fault != nullptr) {
        return fault;
    }
    if (!parse_number(value, 0, 32, &prefix)) {
        return "The length of a prefix is 0 to 32";
    }
    *kept += '/' + std::to_string(prefix);
    return nullptr;
}

const char *keep_small(std::string_view value, std::string *kept) {
    *kept = value;
    std::transform(kept->begin(), kept->end(), kept->begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return nullptr;
}

/// Groups without leading zeros, and 0 for an empty one, so that an address has one form.
const char *keep_ipv6(std::string_view value, std::string *kept) {
    kept->clear();
    for (bool more = true; more;) {
        more = value.find(':') != std::string_view::npos;
        const std::string_view group = take_piece(value, ':');
        const std::string_view digits = group.substr(std::min(group.find_first_not_of('0'), group.size()));
        *kept += digits.empty() ? "0" : digits;
        *kept += more ? ":" : "";
    }
    return keep_small(std::string(*kept), kept);
}

const char *keep_time(std::string_view value, std::string *kept) {
    const auto parts = read_numbers<3>(value, ':', 59);
    if (!parts || (*parts)[0] > 23) {
        return "A time is 00:00:00 to 23:59:59";
    }
    char text[40];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", (*parts)[0], (*parts)[1], (*parts)[2]);
    *kept = text;
    return nullptr;
}

const char *keep_date(std::string_view value, std::string *kept) {
    constexpr int32_t k_days[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    constexpr const char *k_fault = "A date is year/month/day, 1970/1/1 to 2037/12/31";
    const auto parts = read_numbers<3>(value, '/', 2037);
    if (!parts) {
        return k_fault;
    }
    const auto [year, month, day] = *parts;
    const bool leap = year % 4 == 0; // none of 1970 to 2037 is a century's without
    if (year < 1970 || month < 1 || month > 12 || day < 1 || day > k_days[month - 1] ||
        (month == 2 && day == 29 && !leap)) {
        return k_fault;
    }
    char text[40];
    std::snprintf(text, sizeof text, "%04d/%02d/%02d", year, month, day);
    *kept = text;
    return nullptr;
}

const char *keep_hexadecimal(std::string_view value, std::string *kept) {
    const bool prefixed = value.size() > 2 && value[0] == '0' && (value[1] == 'x' || value[1] == 'X');
    uint32_t number = 0;
    if (!parse_number(value.substr(prefixed ? 2 : 0), &number, 16)) {
        return "This is no hexadecimal number of 32 bits";
    }
    char text[16];
    std::snprintf(text, sizeof text, "%x", number);
    *kept = text;
    return nullptr;
}

const char *keep_object(std::string_view value, std::string *kept) {
    const bool digits =
        std::all_of(value.begin(), value.end(), [](char c) { return c == '.' || (c >= '0' && c <= '9'); });
    if (!digits || value.find("..") != std::string_view::npos || value.back() == '.' ||
        value.size() > 2 * k_text_max) {
        return "An object identifier is numbers with dots between them, as in 1.3.6.1";
    }
    *kept = value;
    return nullptr;
}

struct type_row {
    std::string_view name;
    keep_fn keep;
};

constexpr type_row k_types[] = {
    {"VLANID", keep_number},         {"DATE", keep_date},
    {"GROUP_ID", keep_group},        {"IPADDR", keep_address},
    {"IPADDR_MASK", keep_network},   {"IPV6ADDR", keep_ipv6},
    {"MACADDR", keep_small},         {"PORT_ID", keep_port},
    {"PORTLISTS", keep_ports},       {"VALUE", keep_number},
    {"VLANLISTS", keep_vlans},       {"OID", keep_object},
    {"PRIORITY", keep_number},       {"QUEUE_ID", keep_number},
    {"RATE_LIMIT", keep_number},     {"TIME", keep_time},
    {"HEX_VALUE", keep_hexadecimal},
};
static_assert(std::all_of(std::begin(k_types), std::end(k_types),
                          [](const type_row &row) { return cli_is_type(row.name); }));

/// The length of free text, by type, where it is not k_text_max.
size_t longest_of(std::string_view type) {
    if (type == "VIEW_NAME_32" || type == "COMMUNITY") {
        return 32;
    }
    return type.ends_with("PATH") || type.ends_with("HOST") ? 2 * k_text_max : k_text_max;
}

/// Takes the first character off a text in UTF-8. Returns its number; 0 when it is none, or is written longer
/// than it has to be.
uint32_t take_character(std::string_view *text) {
    const auto first = static_cast<uint8_t>(text->front());
    const size_t length = first < 0x80 ? 1 : first < 0xC0 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    constexpr uint32_t k_least[] = {1, 0, 0x80, 0x800, 0x10000};
    if (length == 0 || first >= 0xF8 || text->size() < length) {
        return 0;
    }
    uint32_t number = length == 1 ? first : first & (0x7FU >> length);
    for (const char c : text->substr(1, length - 1)) {
        const auto byte = static_cast<uint8_t>(c);
        if ((byte & 0xC0) != 0x80) {
            return 0;
        }
        number = number << 6 | (byte & 0x3FU);
    }
    text->remove_prefix(length);
    return number >= k_least[length] ? number : 0;
}

/// Nothing in it moves a cursor or ends a line, and as JSON it stays what it is. Terminals take 0x80 to 0x9F
/// for control characters, too.
bool is_printable(std::string_view text) {
    while (!text.empty()) {
        const uint32_t number = take_character(&text);
        const bool surrogate = number >= 0xD800 && number <= 0xDFFF;
        if (number < ' ' || (number >= 0x7F && number < 0xA0) || surrogate || number > 0x10FFFF) {
            return false;
        }
    }
    return true;
}

} // namespace

bool cmds_read_list(std::string_view text, int32_t low, int32_t high, std::vector<cmds_span> *spans) {
    spans->clear();
    for (bool more = true; more;) {
        more = text.find(',') != std::string_view::npos;
        const auto span = read_span(take_piece(text, ','), low, high);
        if (!span) {
            return false;
        }
        spans->push_back(*span);
    }
    std::sort(spans->begin(), spans->end(),
              [](const cmds_span &a, const cmds_span &b) { return a.low < b.low; });
    auto last = spans->begin();
    for (auto next = last + 1; next != spans->end(); ++next) {
        if (next->low <= last->high + 1) {
            last->high = std::max(last->high, next->high);
        } else {
            *++last = *next;
        }
    }
    spans->erase(last + 1, spans->end());
    return true;
}

std::string cmds_list_text(const std::vector<cmds_span> &spans) {
    std::string text;
    for (const cmds_span &span : spans) {
        text += (text.empty() ? "" : ",") + std::to_string(span.low);
        if (span.high > span.low) {
            text += (span.high == span.low + 1 ? ',' : '-') + std::to_string(span.high);
        }
    }
    return text;
}

const char *cmds_keep_value(std::string_view pattern, std::string_view value, size_t longest,
                            std::string *kept) {
    if (pattern.front() == '<') {
        return keep_number(value, kept);
    }
    const auto *const type = std::find_if(std::begin(k_types), std::end(k_types),
                                          [=](const type_row &row) { return row.name == pattern; });
    if (type != std::end(k_types)) {
        const char *const fault = type->keep(value, kept);
        const bool bounded = longest != 0 && type->keep == keep_hexadecimal;
        return fault == nullptr && bounded && kept->size() > longest ? "This has too many digits" : fault;
    }
    if (!cli_is_type(pattern)) { // a keyword that may have been abbreviated, or one of several choices
        *kept = pattern.front() == '(' ? value : pattern;
        return nullptr;
    }
    *kept = value;
    return value.size() <= (longest != 0 ? longest : longest_of(pattern)) && is_printable(value)
               ? nullptr
               : k_text_fault;
}
