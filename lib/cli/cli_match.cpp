#include "lib/cli/cli_match.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <regex.h>

namespace {

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_hex(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }
bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// ---- numbers

constexpr int64_t k_saturated = INT64_MAX;

/// Reads a run of decimal digits and moves past it; a value that does not fit is the largest there is.
int64_t read_digits(const char *&at, int32_t width = INT32_MAX) {
    int64_t value = 0;
    for (; is_digit(*at) && width > 0; at++, width--) {
        const int64_t digit = *at - '0';
        value = value > (k_saturated - digit) / 10 ? k_saturated : value * 10 + digit;
    }
    return value;
}

/// Reads what "%d", or "%Nd" with a width, converts: blanks, a sign, digits. False when there is no digit.
bool scan_number(const char *&at, int64_t &value, int32_t width = INT32_MAX) {
    while (is_space(*at)) {
        at++;
    }
    const bool negative = *at == '-';
    if (negative || *at == '+') {
        at++;
        width--;
    }
    if (!is_digit(*at) || width <= 0) {
        return false;
    }
    value = read_digits(at, width);
    value = negative ? -value : value;
    return true;
}

/// Whether the input begins with `count` numbers with `separator` between them.
bool scan_numbers(const char *input, int32_t count, char separator) {
    int64_t value = 0;
    for (int32_t i = 0; i < count; i++) {
        if ((i > 0 && *input++ != separator) || !scan_number(input, value)) {
            return false;
        }
    }
    return true;
}

// ---- the rules of the types; each sees the whole input word

bool anything(const char * /*input*/) { return true; }

bool only_digits(const char *input) { return std::all_of(input, input + std::strlen(input), is_digit); }

bool vlan_id(const char *input) {
    if (!only_digits(input)) {
        return false;
    }
    const int64_t value = read_digits(input);
    return value >= 1 && value <= 4094;
}

bool date(const char *input) { return scan_numbers(input, 3, '/'); }
bool time_of_day(const char *input) { return scan_numbers(input, 3, ':'); }

/// One hexadecimal digit is enough, whatever stands around it. Kept: commands depend on it, whose values have
/// forms of their own.
bool hex_value(const char *input) { return std::any_of(input, input + std::strlen(input), is_hex); }

/// Four parts of one to three digits. The values are the handlers' business.
bool ip_address(const char *input) {
    for (int32_t part = 0; part < 4; part++) {
        if (part > 0 && *input++ != '.') {
            return false;
        }
        const char *const begin = input;
        read_digits(input);
        if (input == begin || input - begin > 3) {
            return false;
        }
    }
    return *input == '\0';
}

bool ip_address_mask(const char *input) {
    int64_t value = 0;
    for (int32_t part = 0; part < 4; part++) {
        if ((part > 0 && *input++ != '.') || !scan_number(input, value, 3)) {
            return false;
        }
    }
    return *input++ == '/' && scan_number(input, value) && value < 33;
}

/// Eight groups of up to four digits in full form; only the last one may not be empty.
bool ipv6_address(const char *input) {
    int32_t colons = 0;
    int32_t group = 0;
    for (; *input != '\0'; input++) {
        if (*input == ':') {
            colons++;
            group = 0;
        } else if (!is_hex(*input) || ++group > 4) {
            return false;
        }
    }
    return colons == 7 && group > 0;
}

bool mac_address(const char *input) {
    for (int32_t i = 0; i < 6; i++) {
        if ((i > 0 && *input++ != ':') || !is_hex(input[0]) || !is_hex(input[1])) {
            return false;
        }
        input += 2;
    }
    return *input == '\0';
}

/// user@a.b.c.d, then perhaps a port and a path.
bool user_at_host(const char *input) {
    static regex_t s_expression;
    static const bool s_compiled =
        ::regcomp(&s_expression,
                  "^[[:alnum:]]+@[[:digit:]]{1,3}\\.[[:digit:]]{1,3}\\.[[:digit:]]{1,3}\\.[[:digit:]]{1,3}"
                  "(\\:[[:digit:]]+){,1}\\/{,1}.*$",
                  REG_EXTENDED | REG_NOSUB) == 0;
    return s_compiled && ::regexec(&s_expression, input, 0, nullptr, 0) == 0;
}

struct type_row {
    const char *name;
    cli_type_rule rule;
};

constexpr type_row k_types[] = {
    {"VLANID", vlan_id},
    {"STRINGS", anything},
    {"COMMUNITY", anything},
    {"DATE", date},
    {"GROUP_ID", only_digits},
    {"HEX_VALUE", hex_value},
    {"IFNAME", anything},
    {"IPADDR", ip_address},
    {"IPADDR_MASK", ip_address_mask},
    {"IPV6ADDR", ipv6_address},
    {"IPv6_URL_PATH", anything},
    {"LEVEL", anything},
    {"MACADDR", mac_address},
    {"MONITORMODE", anything},
    {"PORT_ID", anything},
    {"PORTLISTS", anything},
    {"VALUE", only_digits},
    {"VERSION", anything},
    {"VIEW_NAME_32", anything},
    {"VLANLISTS", anything},
    {"OID", anything},
    {"PRIORITY", only_digits},
    {"QUEUE_ID", only_digits},
    {"RATE_LIMIT", only_digits},
    {"TIME", time_of_day},
    {"URL_PATH", anything},
    {"SFTP_HOST", user_at_host},
    {"SCP_HOST", user_at_host},
};
static_assert(std::equal(std::begin(k_types), std::end(k_types), std::begin(k_cli_type_names),
                         std::end(k_cli_type_names),
                         [](const type_row &row, std::string_view name) { return name == row.name; }));

cli_type_rule find_type(const char *name) {
    for (const type_row &row : k_types) {
        if (std::strcmp(row.name, name) == 0) {
            return row.rule;
        }
    }
    return nullptr;
}

// ---- ranges and alternatives

int64_t next_run_of_digits(const char *&at) {
    while (*at != '\0' && !is_digit(*at)) {
        at++;
    }
    return read_digits(at);
}

bool encloses(const char *text, char first, char last) {
    const size_t length = std::strlen(text);
    return length >= 2 && text[0] == first && text[length - 1] == last;
}

bool within(int64_t value, const cli_pattern_word &range) {
    return value >= range.low && value <= range.high;
}

/// Most words of a line's commands differ in their first characters: no length is needed for that.
bool begins_with(const char *text, const char *input) {
    while (*input != '\0' && *input == *text) {
        input++;
        text++;
    }
    return *input == '\0';
}

bool equals_input(const char *choice, size_t length, void *input) {
    const auto *const text = static_cast<const char *>(input);
    return std::strlen(text) == length && std::memcmp(text, choice, length) == 0;
}

} // namespace

void cli_tokenise(cli_words *words, const char *line) {
    const size_t length = ::strnlen(line, sizeof words->text - 1);
    std::memcpy(words->text, line, length);
    words->text[length] = '\0';
    words->count = 0;
    for (char *at = words->text; words->count < k_cli_words_max;) {
        while (is_space(*at)) {
            at++;
        }
        if (*at == '\0' || *at == ';') {
            return;
        }
        words->word[words->count++] = at;
        while (*at != '\0' && !is_space(*at)) {
            at++;
        }
        if (*at != '\0') {
            *at++ = '\0';
        }
    }
}

cli_pattern_word cli_classify(const char *text) {
    if (const cli_type_rule rule = find_type(text); rule != nullptr) {
        return {cli_word_kind::type, rule, 0, 0, text};
    }
    if (encloses(text, '<', '>')) {
        const char *at = text;
        const int64_t low = next_run_of_digits(at);
        const int64_t high = next_run_of_digits(at);
        return {cli_word_kind::range, nullptr, low, high, text};
    }
    const bool choices = encloses(text, '(', ')');
    return {choices ? cli_word_kind::alternatives : cli_word_kind::keyword, nullptr, 0, 0, text};
}

bool cli_prefix_match(const char *input, const cli_pattern_word &pattern) {
    switch (pattern.kind) {
    case cli_word_kind::type:
        return pattern.rule(input);
    case cli_word_kind::range:
        return input[0] != '\0' && only_digits(input) && within(read_digits(input), pattern);
    case cli_word_kind::alternatives:
        return cli_each_choice(pattern.text, equals_input, const_cast<char *>(input));
    case cli_word_kind::keyword:
        break;
    }
    return begins_with(pattern.text, input);
}

bool cli_exact_match(const char *input, const cli_pattern_word &pattern) {
    if (pattern.kind == cli_word_kind::type) {
        return pattern.rule(input);
    }
    if (pattern.kind == cli_word_kind::range) {
        return within(std::strtoll(input, nullptr, 10), pattern);
    }
    return std::strcmp(input, pattern.text) == 0;
}

bool cli_is_unfinished(const char *input, const char *text) {
    const size_t length = std::strlen(input);
    return std::strncmp(input, text, length) == 0 && text[length] != '\0';
}

bool cli_each_choice(const char *alternatives, bool (*emit)(const char *choice, size_t length, void *context),
                     void *context) {
    const char *at = alternatives + 1;
    const char *const end = alternatives + std::strlen(alternatives) - 1;
    for (int32_t count = 0; at < end && *at != ';' && count < k_cli_words_max;) {
        const char *const choice_end = std::find(at, end, '|');
        if (choice_end > at) {
            count++;
            if (emit(at, static_cast<size_t>(choice_end - at), context)) {
                return true;
            }
        }
        at = choice_end < end ? choice_end + 1 : end;
    }
    return false;
}
