// A damaged saved configuration, read through the real commands, beside a plain reading of it: which lines
// are run, in which mode, and which ones are told to have failed. What was read is saved and read again: that
// is the same, and nothing of it fails.

#include "lib/cli/cli_config.h"
#include "lib/cli/cli_parser.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_family.h"
#include "lib/config/config_file.h"

#include <cctype>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace {

constexpr size_t k_piece_max = 255;
constexpr int32_t k_status_before = 0x1234;

struct piece {
    std::string text;
    int32_t number;  // of its line
    bool after_bang; // so that it begins in config
};

std::string_view s_file;
std::vector<piece> s_to_run;
size_t s_run = 0;
int32_t s_mode = 0; // that the session is in
uint32_t s_mask = 0;
int32_t s_failed = 0; // number of the line that has failed and is not told yet; 0: none
bool s_any_failed = false;
bool s_numbers_count = true; // a NUL hides the end of its line

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool is_blank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

std::string first_word(const std::string &text, bool *alone) {
    size_t begin = 0;
    while (begin < text.size() && is_blank(text[begin])) {
        begin++;
    }
    size_t end = begin;
    while (end < text.size() && !is_blank(text[end])) {
        end++;
    }
    size_t next = end;
    while (next < text.size() && is_blank(text[next])) {
        next++;
    }
    *alone = next == text.size() || text[next] == ';';
    return text.substr(begin, end - begin);
}

struct free_store {
    void operator()(config_store *store) const { config_free(store); }
};
using owned_store = std::unique_ptr<config_store, free_store>;

/// What is to be run of the file.
void read_plainly() {
    s_to_run.clear();
    int32_t number = 1;
    bool after_bang = true;
    for (std::string_view rest = s_file; !rest.empty();) {
        const size_t line = rest.find('\n');
        const size_t size = std::min(line == std::string_view::npos ? rest.size() : line + 1, k_piece_max);
        const std::string text(rest.data(), strnlen(rest.data(), size));
        bool alone = false;
        const std::string word = first_word(text, &alone);
        if (word.starts_with('!')) {
            after_bang = true;
        } else if (!word.empty() && word[0] != ';' && !(word[0] == '#' && alone)) {
            s_to_run.push_back({text, number, after_bang});
            after_bang = false;
        }
        number += rest[size - 1] == '\n' ? 1 : 0;
        rest.remove_prefix(size);
    }
}

void note_failure(int32_t number) {
    require(s_failed != 0 && (number == s_failed || !s_numbers_count));
    s_failed = 0;
}

/// Reads a file beside its plain reading. Returns whether all lines could be run.
bool read_file(std::string_view file, config_store &store) {
    s_file = file;
    s_numbers_count = file.find('\0') == std::string_view::npos;
    s_run = 0;
    s_mode = k_cli_mode_config;
    s_mask = k_cli_mask_config;
    s_failed = 0;
    s_any_failed = false;
    read_plainly();
    cli_set_last_status(k_status_before);
    const int32_t result = cmds_read_config(k_cmds_saved_config, store, note_failure);
    require(s_run == s_to_run.size() && s_failed == 0);
    require(result == (s_any_failed ? k_cli_load_failed_lines : 0));
    require(cli_last_status() == k_status_before);
    return result == 0;
}

} // namespace

extern "C" {

std::FILE *__real_fopen(const char *path, const char *mode);
std::FILE *__wrap_fopen(const char *path, const char *mode) {
    if (std::strcmp(path, k_cmds_saved_config) != 0) {
        return __real_fopen(path, mode);
    }
    require(mode[0] == 'r');
    return ::fmemopen(const_cast<char *>(s_file.data()), s_file.size(), "r");
}

int32_t __real__Z19cli_session_executeP11cli_sessionPKc(cli_session *session, const char *line);
int32_t __wrap__Z19cli_session_executeP11cli_sessionPKc(cli_session *session, const char *line) {
    require(s_run < s_to_run.size() && s_failed == 0);
    const piece &expected = s_to_run[s_run++];
    require(expected.text == line);
    require(session->mode_id == (expected.after_bang ? k_cli_mode_config : s_mode));
    require(session->mode_mask == s_mask);
    const int32_t result = __real__Z19cli_session_executeP11cli_sessionPKc(session, line);
    s_mode = session->mode_id;
    s_mask = session->mode_mask;
    s_failed = result != 0 ? expected.number : 0;
    s_any_failed = s_any_failed || result != 0;
    return result;
}

[[gnu::format(printf, 1, 2)]] int __wrap__Z9cli_printPKcz(const char *format, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length;
}

// Nothing is stored while a configuration is read to be looked at.
bool __wrap__Z18plain_file_replacePKcSt17basic_string_viewIcSt11char_traitsIcEEj(const char * /*path*/,
                                                                                 std::string_view /*text*/,
                                                                                 mode_t /*mode*/) {
    std::abort();
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool s_installed = cmds_install() == 0;
    require(s_installed);
    if (size == 0) { // a file in memory is never empty
        return 0;
    }
    const owned_store read(config_new());
    read_file({reinterpret_cast<const char *>(data), size}, *read);
    const std::string text = config_text(*read);
    if (!text.empty()) {
        const owned_store again(config_new());
        require(read_file(text, *again) && config_text(*again) == text);
    }
    return 0;
}
}
