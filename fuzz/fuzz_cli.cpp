// A line of hostile text executed, helped with and completed, on commands with every kind of pattern word.
// What a handler is given must be the line's own words and fit the pattern by a plain reading of it.

#include "lib/cli/cli_help.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

int32_t s_calls = 0;
int32_t s_lines = 0; // printed
int32_t s_wrong_arguments = 0;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// The line split by the C library.
std::vector<std::string> s_words;

void check_arguments(int32_t argc, const char *const *argv) {
    s_calls++;
    require(argc >= 0 && static_cast<size_t>(argc) <= s_words.size());
    for (int32_t i = 0; i < argc; i++) {
        require(s_words[s_words.size() - static_cast<size_t>(argc) + static_cast<size_t>(i)] == argv[i]);
    }
}

int32_t take(int32_t argc, const char *const *argv) {
    check_arguments(argc, argv);
    return argc % 3 - 1; // -1, 0, 1
}

int32_t take_number(int32_t argc, const char *const *argv) {
    check_arguments(argc, argv);
    require(argc == 1 && std::strspn(argv[0], "0123456789") == std::strlen(argv[0]));
    const unsigned long long value = std::strtoull(argv[0], nullptr, 10);
    require(value >= 1 && value <= 60);
    return 0;
}

int32_t take_choice(int32_t argc, const char *const *argv) {
    check_arguments(argc, argv);
    require(argc == 1 && (std::strcmp(argv[0], "enable") == 0 || std::strcmp(argv[0], "disable") == 0));
    return 0;
}

int32_t take_vlan(int32_t argc, const char *const *argv) {
    check_arguments(argc, argv);
    const unsigned long long value = std::strtoull(argv[0], nullptr, 10);
    require(argc == 1 && value >= 1 && value <= 4094);
    return 0;
}

int32_t take_address(int32_t argc, const char *const *argv) {
    check_arguments(argc, argv);
    require(argc == 1 && std::strlen(argv[0]) <= 15 &&
            std::strspn(argv[0], "0123456789.") == std::strlen(argv[0]));
    return 0;
}

constexpr uint32_t k_low = 0x4;
constexpr uint32_t k_high = 0x80000000;

int32_t run_inner(int32_t argc, const char *const *argv) {
    check_arguments(argc, argv);
    cli_session inner = {};
    inner.mode_id = cli_session_mode();
    inner.mode_mask = k_low | k_high;
    const auto outer_words = s_words;
    s_words = {"set", "off"};
    require(cli_session_execute(&inner, "set off") != -301);
    s_words = outer_words;
    cli_set_last_status(0); // the inner line left its own
    cli_session_enter(5 + argc % 2, k_low);
    return 0;
}

constexpr cli_command k_commands[] = {
    {"timer", k_low, 0, "<1-60>", take_number, {"Timer.", "Seconds.", "<cr>            Set it."}},
    {"trap", k_low | k_high, 0, "(enable|disable)", take_choice, {"Traps.", "Whether."}},
    {"vlan", k_low, 0, "VLANID", take_vlan, {"VLAN.", "Its id."}},
    {"vlan-stacking", k_low, 0, nullptr, take, {"Stacking."}},
    {"ip address", k_low, 0, "IPADDR", take_address, {"IP.", "Address.", "The address."}},
    {"ip address", k_high, 0, nullptr, take, {}},
    {"set off", k_low, 0, nullptr, take, {"Set.", nullptr, "<cr>            Off."}},
    {"set on", k_high, 0, "DATE TIME IPADDR_MASK", take, {}},
    {"set", k_low, 0, "HEX_VALUE IPV6ADDR", take, {}},
    {"set", k_low, 0, "MACADDR SFTP_HOST", take, {}},
    {"session", k_low, 0, "(||a|b;c|d)", take, {}},
    {"run", k_low | k_high, 0, nullptr, run_inner, {"Run."}},
    {"run", k_low, 0, "STRINGS STRINGS STRINGS <> <99999999999999999999-1>", take, {}},
    {"silent", k_low, 0, nullptr, nullptr, {}},
};

bool install() {
    for (const cli_command &command : k_commands) {
        require(cli_install(5, &command) == 0 && cli_install(6, &command) == 0);
    }
    return true;
}

void split(const char *line) {
    s_words.clear();
    std::string word;
    for (const char *at = line; at < line + 511 && *at != '\0'; at++) {
        if (std::isspace(static_cast<unsigned char>(*at)) == 0) {
            if (word.empty() && *at == ';') {
                break;
            }
            word += *at;
        } else if (!word.empty()) {
            s_words.push_back(word);
            word.clear();
        }
    }
    if (!word.empty()) {
        s_words.push_back(word);
    }
    s_words.resize(std::min<size_t>(s_words.size(), 20));
}

} // namespace

extern "C" {

[[gnu::format(printf, 1, 2)]] int __wrap__Z9cli_printPKcz(const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    for (const char *at = text; *at != '\0'; at++) {
        s_lines += *at == '\n' ? 1 : 0;
    }
    s_wrong_arguments += std::strcmp(text, "% Wrong argument\n") == 0 ? 1 : 0;
    return length;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool s_installed = install();
    require(s_installed);
    const uint8_t choice = size > 0 ? data[0] : 0;
    const std::string line(reinterpret_cast<const char *>(data) + (size > 0 ? 1 : 0),
                           size > 0 ? size - 1 : 0);
    split(line.c_str());
    cli_session session = {};
    session.mode_id = 4 + (choice & 3);
    session.mode_mask = (choice & 4) != 0 ? k_high : k_low;
    session.recording = choice >> 3;

    s_lines = 0;
    require(cli_help_line(session, line.c_str()) == s_lines);
    s_lines = 0;
    require(cli_complete_line(session, line.c_str()) == s_lines);
    std::vector<const char *> words;
    for (const std::string &word : s_words) {
        words.push_back(word.c_str());
    }
    for (const int32_t offset : {-1, 0, 1, 2}) {
        s_lines = 0;
        require(cli_list_next_words(session, offset, static_cast<int32_t>(words.size()), words.data()) ==
                s_lines);
    }

    s_calls = 0;
    s_wrong_arguments = 0;
    const int32_t result = cli_session_execute(&session, line.c_str());
    if (s_calls == 0) { // "!", or nothing fits
        require(result == -1 || s_words == std::vector<std::string>{"!"});
        require((cli_last_status() == 0) == (s_wrong_arguments == 1 || result == 0));
    } else {
        require(cli_last_status() == 0 && session.mode_id >= 5 && session.mode_id <= 6);
    }
    return 0;
}
}
