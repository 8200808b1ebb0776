// Every command of every family, by the rows themselves: typed as it is declared, and with each of its words
// wrong.

#include "lib/cli/cli_config.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_session.h"
#include "lib/config/config_file.h"

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <unistd.h>

namespace {

std::string s_printed;
const cli_command *s_reached = nullptr; // the command whose handler was called
bool s_only_reach = false;              // and not carried out

} // namespace

// The linker leads calls of these here.
extern "C" {
[[gnu::format(printf, 1, 2)]] int __wrap__Z9cli_printPKcz(const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    s_printed += text;
    return length;
}

int32_t __real__Z8cmds_runiPKPKc(int32_t argc, const char *const *argv);
int32_t __wrap__Z8cmds_runiPKPKc(int32_t argc, const char *const *argv) {
    s_reached = cli_running_command();
    return s_only_reach ? 0 : __real__Z8cmds_runiPKPKc(argc, argv);
}
}

namespace {

// ---- words for patterns

struct sample {
    const char *good;
    const char *bad; // null: anything is taken
};

sample sample_of_type(const std::string &type) {
    static const std::map<std::string, sample> s_samples = {
        {"VLANID", {"7", "4095"}},
        {"DATE", {"2027/01/31", "2027/2/30"}},
        {"GROUP_ID", {"3", "x"}},
        {"HEX_VALUE", {"1f", "xyz"}},
        {"IPADDR", {"192.168.1.1", "999.1.1.1"}},
        {"IPADDR_MASK", {"10.0.0.0/8", "10.0.0.0/33"}},
        {"IPV6ADDR", {"fe80:0:0:0:0:0:0:1", "fe80::1"}},
        {"MACADDR", {"00:11:22:33:44:55", "0:11:22:33:44:55"}},
        {"PORT_ID", {"3", "13"}},
        {"PORTLISTS", {"1-3,5", "1,13"}},
        {"VALUE", {"30", "x"}},
        {"VLANLISTS", {"1,10-19", "1,4095"}},
        {"OID", {"1.3.6.1", "1..3"}},
        {"PRIORITY", {"3", "x"}},
        {"QUEUE_ID", {"3", "x"}},
        {"RATE_LIMIT", {"64", "x"}},
        {"TIME", {"12:30:00", "25:00:00"}},
        {"SFTP_HOST", {"user@10.0.0.1/file", "user"}},
        {"SCP_HOST", {"user@10.0.0.1/file", "user"}},
    };
    const auto found = s_samples.find(type);
    return found != s_samples.end() ? found->second : sample{"text", "bell\a"};
}

std::vector<std::string> words_of(std::string_view line) {
    std::istringstream in{std::string(line)};
    return {std::istream_iterator<std::string>(in), {}};
}

std::string joined(const std::vector<std::string> &words) {
    std::string line;
    for (const std::string &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

/// Another word that fits is the other end of a range or of the choices.
std::string good_word(const std::string &pattern, bool other = false) {
    if (pattern.front() == '<') {
        const cli_pattern_word range = cli_classify(pattern.c_str());
        return std::to_string(other ? range.high : range.low);
    }
    if (pattern.front() == '(') {
        const size_t begin = other ? pattern.find_last_of("(|") : 0;
        return pattern.substr(begin + 1, pattern.find_first_of("|)", begin + 1) - begin - 1);
    }
    return cli_is_type(pattern) ? sample_of_type(pattern).good : pattern;
}

std::string bad_word(const std::string &pattern) {
    if (pattern.front() == '<') {
        return std::to_string(cli_classify(pattern.c_str()).high + 1);
    }
    return cli_is_type(pattern) ? sample_of_type(pattern).bad : "nothing-like-that";
}

std::vector<std::string> good_words(std::string_view line) {
    std::vector<std::string> words = words_of(line);
    for (size_t i = 0; i < words.size(); i++) {
        const bool is_hash = i > 0 && words[i - 1] == "encrypted" && cli_is_type(words[i]);
        words[i] = is_hash ? "$5$salt$" + std::string(43, 'x') : good_word(words[i]);
    }
    return words;
}

std::string good_line(std::string_view line) { return joined(good_words(line)); }

/// A line that changes the setting: its last word is another one where the first choice holds anyway.
std::string changing_line(const cmds_form &form) {
    std::vector<std::string> words = good_words(form.line);
    if (form.initial != nullptr && joined(words).ends_with(std::string(" ") + form.initial)) {
        words.back() = good_word(words_of(form.line).back(), true);
    }
    return joined(words);
}

// ---- the rows, and the modes they stand in

struct placed_row {
    const cmds_row *row;
    const cmds_mode *mode;
};

std::vector<placed_row> all_rows() {
    std::vector<placed_row> rows;
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            for (const cmds_mode &mode : k_cmds_modes) {
                if ((row.form->where.modes & cmds_mode_bit(mode.id)) != 0) {
                    rows.push_back({&row, &mode});
                }
            }
        }
    }
    return rows;
}

std::string name_of(const placed_row &placed) {
    return std::string(placed.mode->name) + ": " + std::string(placed.row->form->line);
}

class Commands : public testing::Test {
protected:
    Commands() {
        static const bool s_installed = cmds_install() == 0;
        EXPECT_TRUE(s_installed);
    }
    ~Commands() override {
        s_only_reach = false;
        ::unlink(m_file.c_str());
    }

    /// The configuration that lines typed in a mode make.
    std::string configure(const cmds_mode &mode, const std::vector<std::string> &lines) {
        std::string text =
            mode.line != nullptr && mode.from == k_cli_mode_config ? good_line(mode.line) + "\n" : "";
        for (const std::string &line : lines) {
            text += line + "\n";
        }
        return replay(text);
    }

    /// The configuration that a saved one makes; `m_result` is that of its replay.
    std::string replay(const std::string &text) {
        std::ofstream(m_file) << text;
        const std::unique_ptr<config_store, void (*)(config_store *)> store(config_new(), config_free);
        m_result = cmds_read_config(m_file.c_str(), *store, [](int32_t) {});
        return config_text(*store);
    }

    const std::string m_file = testing::TempDir() + "zop_families_" + std::to_string(::getpid());
    int32_t m_result = 0;
};

TEST_F(Commands, AreAsManyAsTheVocabularyHas) {
    std::map<uint32_t, int> by_mask;
    std::map<std::string, int> by_word;
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, family->count)) {
            by_mask[row.command.mode_mask]++;
            by_word[words_of(row.form->line).front()]++;
        }
    }
    EXPECT_EQ((std::map<uint32_t, int>{{0x2, 17}, {0x4, 805}, {0x8, 64}, {0x10000, 13}, {0x20000, 80}}),
              by_mask);
    EXPECT_EQ(204, by_word["no"]);
    EXPECT_EQ(145, by_word["show"]);
    EXPECT_EQ(19, by_word["exit"]);
    EXPECT_EQ(18, by_word["end"]);
}

TEST_F(Commands, EachIsReachedByItsOwnLineAndExplained) {
    s_only_reach = true;
    for (const placed_row &placed : all_rows()) {
        SCOPED_TRACE(name_of(placed));
        cli_session session = cmds_session_in(placed.mode->id);
        session.mode_mask |= placed.row->command.mode_mask;
        const std::vector<std::string> words = good_words(placed.row->form->line);
        s_reached = nullptr;
        s_printed.clear();
        EXPECT_EQ(cli_session_execute(&session, joined(words).c_str()), 0) << s_printed;
        EXPECT_EQ(s_reached, &placed.row->command);
        s_printed.clear();
        cli_help_line(session, (joined(words) + " ").c_str());
        EXPECT_NE(s_printed.find("<cr>"), std::string::npos) << s_printed;
    }
}

TEST_F(Commands, AWrongWordChangesNothing) {
    for (const placed_row &placed : all_rows()) {
        const std::vector<std::string> pattern = words_of(placed.row->form->line);
        const std::string before = configure(*placed.mode, {});
        for (size_t i = 0; i < pattern.size() && placed.row->form->kind == cmds_kind::setting; i++) {
            std::vector<std::string> words = good_words(placed.row->form->line);
            words[i] = bad_word(pattern[i]);
            EXPECT_EQ(configure(*placed.mode, {joined(words)}), before)
                << name_of(placed) << ": " << joined(words);
            EXPECT_EQ(m_result, k_cli_load_failed_lines);
        }
    }
}

TEST_F(Commands, SettingsAreReplayedAsTheyWereTypedAndTakenBack) {
    std::map<std::pair<const cmds_family *, uint16_t>, const cmds_row *> undoing;
    for (const placed_row &placed : all_rows()) {
        if (placed.row->form->kind == cmds_kind::undo) {
            undoing[{placed.row->family, placed.row->stem}] = placed.row;
        }
    }
    for (const placed_row &placed : all_rows()) {
        const cmds_form &form = *placed.row->form;
        if (form.kind != cmds_kind::setting || placed.mode->id == k_mode_exec) {
            continue;
        }
        SCOPED_TRACE(name_of(placed));
        const bool on_at_first = form.initial != nullptr && form.initial == std::string_view(k_cmds_on);
        const cmds_row *const undo = undoing[{placed.row->family, placed.row->stem}];
        const std::string line = changing_line(form);
        const std::string undo_line = undo != nullptr ? good_line(undo->form->line) : "";
        const std::string before = configure(*placed.mode, {});
        const std::string changed = configure(*placed.mode, {on_at_first ? undo_line : line});
        EXPECT_EQ(m_result, 0);
        EXPECT_NE(changed, before);
        EXPECT_NE(changed.find(on_at_first ? undo_line : line), std::string::npos) << changed;
        EXPECT_EQ(replay(changed), changed);
        EXPECT_EQ(m_result, 0);
        if (undo != nullptr) {
            EXPECT_EQ(configure(*placed.mode, {line, on_at_first ? line : undo_line}), before);
        }
        if (form.initial != nullptr && form.keys == 0 && !on_at_first) {
            EXPECT_EQ(
                configure(*placed.mode, {line, std::string(placed.row->command.words) + " " + form.initial}),
                before);
        }
    }
}

TEST_F(Commands, ShowAndMove) {
    EXPECT_EQ(cmds_install(), -1) << "installed already";
    cli_session session = cmds_session_in(k_mode_exec);
    const auto run_line = [&](const std::string &line) {
        s_printed.clear();
        return std::to_string(cli_session_execute(&session, line.c_str())) + s_printed;
    };
    const std::string silent = " +: the switch does not answer\n";
    EXPECT_THAT(run_line("show system-info"),
                testing::MatchesRegex("0System name +: [^\n]+\nSoftware version +: [0-9.]+\nDevice type" +
                                      silent + "IP address" + silent + "Subnet mask" + silent +
                                      "System up for +: [0-9]+ days, [0-9]{2}:[0-9]{2}:[0-9]{2}\n"));
    run_line("configure terminal");
    EXPECT_EQ(run_line("interface range gigabitethernet1/0/ 1,3-5"), "0");
    EXPECT_EQ(session.values[0], 0x3A);
    EXPECT_EQ(run_line("exit"), "0");
    EXPECT_EQ(run_line("interface range gigabitethernet1/0/ 13"), "-6% Ports are 1 to 12, as in 1,3-5\n");
    EXPECT_EQ(session.mode_id, k_cli_mode_config);
    EXPECT_EQ(session.values[0], 0x3A);
    session.values[2] = k_screen_length_min;
    EXPECT_EQ(cmds_screen_length(session), k_screen_length_min);
    EXPECT_EQ(run_line("end"), "0");
    EXPECT_EQ(run_line("exit"), "0");
    EXPECT_EQ(cli_last_status(), 0x1012e);
    session = cmds_session_in(k_mode_exec, true);
    EXPECT_EQ(run_line("configure terminal"), "-1") << "not a user's";
    EXPECT_EQ(run_line("exit"), "0");
}

} // namespace
