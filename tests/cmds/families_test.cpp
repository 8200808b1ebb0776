// Every command of every family, by the rows themselves: typed as it is declared, and with each of its words
// wrong.

#include "lib/cli/cli_config.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_session.h"
#include "lib/config/config_file.h"
#include "tests/support/command_lines.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <memory>
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

TEST_F(Commands, WhatFollowsANoMakesItNoOtherOne) {
    s_only_reach = true;
    for (const placed_row &placed : all_rows()) {
        if (placed.row->form->kind != cmds_kind::undo || placed.row->command.pattern != nullptr) {
            continue;
        }
        cli_session session = cmds_session_in(placed.mode->id);
        session.mode_mask |= placed.row->command.mode_mask;
        s_reached = nullptr;
        const std::string line = joined(good_words(placed.row->form->line)) + " 8080 pasted";
        EXPECT_EQ(cli_session_execute(&session, line.c_str()), 0) << name_of(placed);
        ASSERT_NE(s_reached, nullptr) << name_of(placed);
        EXPECT_STREQ(s_reached->words, placed.row->command.words) << name_of(placed);
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

TEST_F(Commands, LinesWithAMistakeHoldTheirSecretsAllTheSame) {
    for (const char *line :
         {"user account bob level user password Tulip-48", "us ac bob lev user pass Tulip-48",
          "user account bob password Tulip-48", "usr acount bob level user password Tulip-48",
          "tacacs-plus server-host 10.0.0.1 key Tulip-48", "server-key Tulip-48",
          "snmp comunity Tulip-48 community public", "dot1x radius primary key Tulip-48"}) {
        EXPECT_TRUE(cmds_holds_secret(line)) << line;
    }
    for (const char *line : {"user password", "no tacacs-plus server-key", "user password-length 9",
                             "primary 3", "show snmp", "vlan 12", ""}) {
        EXPECT_FALSE(cmds_holds_secret(line)) << line;
    }
}

/// More settings than there is room for: six a VLAN.
std::string too_many_settings() {
    std::string text;
    for (int32_t i = 0; i < 6 * 4094; i++) {
        text += "vlan " + std::to_string(i % 4094 + 1) + "\nadd fixed " + std::to_string(i / 4094 + 1) +
                " tagged\n!\n";
    }
    return text;
}

std::string noise(size_t size) {
    std::string bytes(size, '\0');
    uint32_t state = 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

TEST_F(Commands, AHostileSavedFileGivesItsGoodLinesAndNoMore) {
    constexpr size_t k_size = 1U << 20U;
    const struct {
        const char *name;
        std::string file;
        size_t kept; // lines beside the host name
        int32_t result;
    } cases[] = {
        {"no line feed", std::string(k_size, 'x') + "\n", 0, k_cli_load_failed_lines},
        {"nothing but NUL", std::string(k_size, '\0') + "\n", 0, 0},
        {"nothing but line feeds", std::string(k_size, '\n'), 0, 0},
        {"noise", noise(k_size) + "\n!\n", 0, k_cli_load_failed_lines},
        {"every VLAN, twice", "vlan range 1-4094\n!\nvlan range 1-4094\n!\n", 1 + 2 * 4094, 0},
        {"too many", too_many_settings(), 1 + 4094 + k_config_settings_max - 1, k_cli_load_failed_lines},
    };
    for (const auto &c : cases) {
        const std::string text = replay("hostname before\n" + c.file + "hostname after\n");
        EXPECT_EQ(c.result, m_result) << c.name;
        EXPECT_EQ(1 + c.kept, std::count(text.begin(), text.end(), '\n')) << c.name;
        EXPECT_EQ(0, text.find("hostname after\n")) << c.name;
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
