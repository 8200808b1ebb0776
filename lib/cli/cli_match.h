#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

// How the words of a typed line are compared with the words of a command's pattern.

constexpr int32_t k_cli_words_max = 20;        // further words of a line are ignored
constexpr size_t k_cli_line_size = 512;        // of a line with its NUL; the rest of a longer one is ignored
constexpr size_t k_cli_pattern_word_max = 127; // characters of a pattern word

/// The words of a line: pointers into `text`, or into the line for words that are not copied.
struct cli_words {
    int32_t count;
    const char *word[k_cli_words_max];
    char text[k_cli_line_size];
};

/// Splits a line at white space. A word that begins with ';' ends the line: what follows is a comment.
void cli_tokenise(cli_words *words, const char *line);

/// The names of the types that an argument can have.
inline constexpr std::string_view k_cli_type_names[] = {
    "VLANID",   "STRINGS",     "COMMUNITY",  "DATE",          "GROUP_ID",     "HEX_VALUE", "IFNAME",
    "IPADDR",   "IPADDR_MASK", "IPV6ADDR",   "IPv6_URL_PATH", "LEVEL",        "MACADDR",   "MONITORMODE",
    "PORT_ID",  "PORTLISTS",   "VALUE",      "VERSION",       "VIEW_NAME_32", "VLANLISTS", "OID",
    "PRIORITY", "QUEUE_ID",    "RATE_LIMIT", "TIME",          "URL_PATH",     "SFTP_HOST", "SCP_HOST",
};
constexpr bool cli_is_type(std::string_view word) {
    return std::find(std::begin(k_cli_type_names), std::end(k_cli_type_names), word) !=
           std::end(k_cli_type_names);
}

/// Whether an input word is accepted as an argument of a type.
using cli_type_rule = bool (*)(const char *input);

enum class cli_word_kind : uint8_t {
    keyword,
    type,         // a name of the type table, such as VLANID
    range,        // "<1-60>", both ends included
    alternatives, // "(enable|disable)"
};

/// A word of a pattern, classified.
struct cli_pattern_word {
    cli_word_kind kind;
    cli_type_rule rule; // type
    int64_t low;        // range
    int64_t high;
    const char *text; // stays the caller's
};

/// Classifies a pattern word. The bounds of a range are its first and second run of digits, no signs; a
/// missing run is 0.
cli_pattern_word cli_classify(const char *text);

/// The match by which a line selects a command: the type's rule; decimal digits within the range; one of the
/// alternatives; the beginning of the keyword. `input` is not empty.
bool cli_prefix_match(const char *input, const cli_pattern_word &pattern);

/// The match that settles an ambiguity: the type's rule; a number, with a sign too, within the range; the
/// whole text of anything else.
bool cli_exact_match(const char *input, const cli_pattern_word &pattern);

/// Whether `input` is the beginning of `text` but not the whole of it.
bool cli_is_unfinished(const char *input, const char *text);

/// Calls `emit` with each choice of alternatives, "(a|b)", until it returns true. Returns whether it did.
bool cli_each_choice(const char *alternatives, bool (*emit)(const char *choice, size_t length, void *context),
                     void *context);
