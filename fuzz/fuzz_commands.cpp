// Lines of the real vocabulary, right, wrong and hostile, typed into sessions on a desk: two of
// administrators, one of a user, and one whose words are made up. Whatever they make of the configuration can
// be replayed, and is the same then; a user changes nothing of it.

#include "lib/base/take_piece.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_session.h"
#include "lib/config/config_file.h"
#include "lib/services/services.h"
#include "tests/support/command_lines.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <spawn.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr size_t k_lines_max = 60; // so that none takes seconds with thousands of VLANs
constexpr size_t k_user = 2;       // number of the user's session
constexpr size_t k_made_up = 3;

std::string s_saved; // what the saved configuration is read from
int32_t s_printed_lines = 0;
std::array<cli_session, 4> s_sessions;
const cmds_row *s_last_row = nullptr; // the last one that a line was made of

struct free_store {
    void operator()(config_store *store) const { config_free(store); }
};
using owned_store = std::unique_ptr<config_store, free_store>;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// ---- lines by numbers

/// What is left of a line of the input; after its end come zeros.
struct choices {
    std::string_view rest;
    uint8_t next() {
        const uint8_t byte = rest.empty() ? 0 : static_cast<uint8_t>(rest.front());
        rest.remove_prefix(rest.empty() ? 0 : 1);
        return byte;
    }
};

const std::vector<placed_row> &rows() {
    static const std::vector<placed_row> s_rows = all_rows();
    return s_rows;
}

/// One that stands in this mode, or any one.
const cmds_row *choose_row(choices &from, int32_t mode_id) {
    static const auto s_by_mode = [] {
        std::array<std::vector<const cmds_row *>, k_cmds_mode_count + 1> by_mode;
        for (const placed_row &placed : rows()) {
            by_mode[static_cast<size_t>(placed.mode - k_cmds_modes)].push_back(placed.row);
            by_mode.back().push_back(placed.row);
        }
        return by_mode;
    }();
    const cmds_mode *const mode = cmds_find_mode(mode_id);
    const auto &those =
        s_by_mode[mode != nullptr ? static_cast<size_t>(mode - k_cmds_modes) : k_cmds_mode_count];
    const size_t number = from.next() * size_t{256} + from.next();
    return those[number % those.size()];
}

const cmds_row *row_that_undoes(const cmds_row &done) {
    const auto *const end = done.family->rows + done.family->count;
    const auto *const found = std::find_if(done.family->rows, end, [&](const cmds_row &row) {
        return row.form->kind == cmds_kind::undo && row.stem == done.stem;
    });
    return found != end ? found : &done;
}

/// Numbers that no span holds together: a line of a hundred of them is too long to be kept.
std::string list_of(int count) {
    std::string text = "1";
    for (int i = 1; i <= count; i++) {
        text += "," + std::to_string(2 * i + 1);
    }
    return text;
}

std::string choose_word(choices &from, const std::string &pattern) {
    constexpr const char *k_hostile[] = {
        "0",    "007",  "4294967296", "-1",    "+1",     "1-",     "!",  "#", ";",  "|", "1,1,1", "\x7f",
        "\xff", "%s%n", "<1-2>",      "(a|b)", "VLANID", "1-4094", "\"", "'", "no", "?", "\x1b[", "0x0"};
    const uint8_t choice = from.next();
    const uint8_t more = choice >> 3;
    const cli_pattern_word range = cli_classify(pattern.c_str());
    switch (choice & 7) {
    case 2:
        return good_word(pattern, true);
    case 3:
        return bad_word(pattern);
    case 4:
        return pattern.substr(0, pattern.size() / 2 + 1);
    case 5:
        return range.kind == cli_word_kind::range
                   ? std::to_string(range.low + (from.next() * 16 + more) % (range.high - range.low + 1))
                   : good_word(pattern, false);
    case 6:
        return pattern.ends_with("LISTS") ? list_of(more * 4) : std::string(size_t{1} + more * 9U, 'x');
    case 7:
        return k_hostile[more % std::size(k_hostile)];
    default:
        return good_word(pattern, false);
    }
}

std::string make_line(choices &from, const cmds_row &row) {
    std::string line;
    s_last_row = &row;
    for (const std::string &pattern : words_of(row.form->line)) {
        line += (line.empty() ? "" : " ") + choose_word(from, pattern);
    }
    return line;
}

const cmds_mode &choose_mode(choices &from) { return k_cmds_modes[from.next() % k_cmds_mode_count]; }

/// A session that nobody got from the server.
cli_session choose_session(choices &from) {
    cli_session session = cmds_session_in(choose_mode(from).id);
    session.mode_mask |= from.next() * 0x1001U;
    for (int32_t &value : session.values) {
        value = static_cast<int32_t>(from.next() | from.next() * 0x1000000U);
    }
    session.recording = from.next();
    return session;
}

// ---- a line of the input

void run_line(size_t number, const std::string &line) {
    cli_session &session = s_sessions[number];
    const std::string before = number == k_user ? config_text(cmds_store()) : "";
    cli_session_execute(&session, line.c_str());
    require(number == k_made_up || cmds_find_mode(session.mode_id) != nullptr);
    require(number != k_user ||
            ((session.mode_mask & ~k_mask_user) == 0 && config_text(cmds_store()) == before));
}

/// Types the line of a mode where it can be typed.
void enter(size_t number, const cmds_mode &mode, choices &from) {
    run_line(number, "end");
    if (mode.from == k_cli_mode_config) {
        run_line(number, "configure terminal");
    }
    if (const cmds_row *const row = cmds_entering_row(mode); row != nullptr) {
        run_line(number, make_line(from, *row));
    }
}

/// Help and completion say how many lines they print.
void ask(const std::string &line) {
    for (const auto asked : {cli_help_line, cli_complete_line}) {
        s_printed_lines = 0;
        const int32_t lines = asked(s_sessions[0], line.c_str());
        require(lines == s_printed_lines);
    }
}

/// The first byte of a line says what it is: above 0x7F one that is made up of the bytes after it.
void take_line(std::string_view line) {
    const uint8_t first = line.empty() ? 0 : static_cast<uint8_t>(line[0]);
    if (first < 0x80) {
        line.ends_with('?') ? ask(std::string(line.substr(0, line.size() - 1)))
                            : run_line(0, std::string(line));
        return;
    }
    const size_t number = first & 3;
    const int32_t mode = s_sessions[number].mode_id;
    choices from = {line.substr(1)};
    switch (first >> 2 & 7) {
    case 4:
        run_line(number, make_line(from, *choose_row(from, -1)));
        break;
    case 5:
        enter(number, choose_mode(from), from);
        break;
    case 6:
        s_sessions[k_made_up] = choose_session(from);
        break;
    case 7:
        if (s_last_row != nullptr) {
            run_line(number, make_line(from, *row_that_undoes(*s_last_row)));
        }
        break;
    default:
        run_line(number, make_line(from, *choose_row(from, mode)));
    }
}

// ---- the configuration

void check_line(const config_line &line, void * /*with*/) {
    const auto words = words_of(line.line);
    require(line.line.size() <= 254 && words.size() <= 20 && joined(words) == line.line);
    require(line.line.empty() || line.line == "!" || (line.line[0] != '#' && line.line[0] != '!'));
}

void check_configuration() {
    const std::string text = config_text(cmds_store());
    config_walk(cmds_store(), check_line, nullptr);
    if (text.empty()) { // a file in memory is never empty
        return;
    }
    const std::string saved = std::exchange(s_saved, text);
    const owned_store again(config_new());
    require(cmds_read_config(k_cmds_saved_config, *again, [](int32_t) { std::abort(); }) == 0);
    require(config_text(*again) == text);
    s_saved = saved;
}

void begin() {
    s_sessions = {cmds_session_in(k_mode_exec), cmds_with_json(cmds_session_in(k_cli_mode_config)),
                  cmds_session_in(k_mode_exec, true), cmds_session_in(k_cli_mode_config)};
    s_last_row = nullptr;
    cli_set_last_status(0);
}

/// Leaves no memory behind, so that none is looked for.
void end() {
    s_saved = {};
    config_clear(cmds_store());
}

} // namespace

extern "C" {

// Nothing of the machine is touched: files are in memory, and no program is started.

std::FILE *__real_fopen(const char *path, const char *mode);
std::FILE *__wrap_fopen(const char *path, const char *mode) {
    if (std::strcmp(path, k_cmds_saved_config) != 0) {
        return __real_fopen(path, mode);
    }
    if (s_saved.empty()) {
        errno = ENOENT;
        return nullptr;
    }
    return ::fmemopen(s_saved.data(), s_saved.size(), "r");
}

bool __wrap__Z18plain_file_replacePKcSt17basic_string_viewIcSt11char_traitsIcEEj(const char *path,
                                                                                 std::string_view text,
                                                                                 mode_t /*mode*/) {
    if (std::strcmp(path, k_cmds_saved_config) == 0) {
        s_saved = text;
    }
    return true;
}

int __wrap_posix_spawn(pid_t * /*child*/, const char * /*path*/, const posix_spawn_file_actions_t * /*files*/,
                       const posix_spawnattr_t * /*attributes*/, char *const * /*words*/,
                       char *const * /*variables*/) {
    return EAGAIN;
}

void __wrap__Z13cli_dump_treev() {} // the same each time, and long

pid_t __wrap_fork() { std::abort(); }
int __wrap_execv(const char * /*path*/, char *const * /*words*/) { std::abort(); }
int __wrap_sethostname(const char * /*name*/, size_t /*length*/) { std::abort(); }
int __wrap_clock_settime(clockid_t /*clock*/, const timespec * /*time*/) { std::abort(); }

/// What is printed moves no cursor.
[[gnu::format(printf, 1, 2)]] int __wrap__Z9cli_printPKcz(const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    for (const char *at = text; *at != '\0'; at++) {
        require(*at == '\n' || (static_cast<uint8_t>(*at) >= ' ' && *at != '\x7f'));
        s_printed_lines += *at == '\n' ? 1 : 0;
    }
    return length;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool s_installed = cmds_install() == 0;
    require(s_installed);
    services_on_desk();
    begin();
    std::string_view rest(reinterpret_cast<const char *>(data), size);
    for (size_t count = 0; !rest.empty() && count < k_lines_max; count++) {
        take_line(take_piece(rest, '\n'));
    }
    check_configuration();
    end();
    return 0;
}
}
