// Declared commands, and what becomes of lines: run, helped with, completed, replayed. And what they set.

#include "lib/cli/cli_config.h"
#include "lib/cli/cli_help.h"
#include "lib/cli/cli_match.h"
#include "lib/cli/cli_output.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/cli_tree.h"
#include "lib/cli/cli_tree_nodes.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_session.h"
#include "tests/support/private_scenario.h"
#include "tests/support/syslog_capture.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <list>
#include <string>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

std::string s_printed;           // since the last look
std::vector<std::string> s_runs; // what handlers were called with: "NAME: ARG ARG"

} // namespace

// Stands in for the server's, whose output files are not what is tested here.
int cli_print(const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is initialised
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    s_printed += text;
    return length;
}

namespace {

std::string taken(std::string &text) { return std::exchange(text, ""); }

int32_t note(const char *name, int32_t argc, const char *const *argv) {
    std::string line = name;
    for (int32_t i = 0; i < argc; i++) {
        line += std::string(i == 0 ? ": " : " ") + argv[i];
    }
    s_runs.push_back(line);
    return 0;
}

template<char Name> int32_t run(int32_t argc, const char *const *argv) {
    const char name[] = {Name, '\0'};
    return note(name, argc, argv);
}

int32_t refuse(int32_t /*argc*/, const char *const * /*argv*/) { return -1; }
int32_t fail(int32_t /*argc*/, const char *const * /*argv*/) { return 7; }

int32_t enter_mode_9(int32_t /*argc*/, const char *const *argv) {
    cli_session_enter(9, 0x4);
    cli_session_set(0, std::stoi(argv[0]));
    return 0;
}

/// Installs commands in a mode of their own, which lasts as long as the process, and runs lines there.
class commands {
public:
    explicit commands(std::initializer_list<cli_command> rows) {
        static std::list<std::vector<cli_command>> s_installed; // for ever, as the parser wants them
        static int32_t s_next_mode = 100;
        session.mode_id = s_next_mode++;
        session.mode_mask = 0x4;
        for (const cli_command &row : s_installed.emplace_back(rows)) {
            results.push_back(cli_install(session.mode_id, &row));
        }
    }

    /// What came of a line: the handlers that ran, what was printed, the result and the status, by letters:
    /// "a: x" ran, "W" wrong argument, "-" nothing found.
    std::string operator()(const std::string &line) {
        s_runs.clear();
        const int32_t result = cli_session_execute(&session, line.c_str());
        const std::string printed = taken(s_printed);
        if (result == 0) {
            EXPECT_EQ(0, cli_last_status()) << line;
            return s_runs.empty() ? "done" : s_runs.back();
        }
        EXPECT_EQ(-1, result) << line;
        if (printed == "% Wrong argument\n") {
            EXPECT_EQ(0, cli_last_status()) << line;
            return "W";
        }
        EXPECT_EQ("", printed) << line;
        EXPECT_EQ(0x10001, cli_last_status()) << line;
        return "-";
    }

    void check(const std::vector<std::pair<std::string, const char *>> &lines) {
        for (const auto &[line, expected] : lines) {
            EXPECT_EQ(expected, (*this)(line)) << line;
        }
    }

    cli_session session = {};
    std::vector<int32_t> results;
};

cli_command command(const char *words, const char *pattern, cli_handler_fn handler, uint32_t mask = 0x4) {
    return {words, mask, 0, pattern, handler, {}};
}

TEST(CliMatch, TypesRangesAndAlternatives) {
    const std::string huge = "4294967297";
    const std::string wider(400, '9');
    using words = std::vector<const char *>;
    const std::tuple<const char *, words, words> cases[] = {
        {"VLANID", {"1", "4094", "0004094"}, {"0", "4095", "-1", "1x", huge.c_str(), wider.c_str()}},
        {"DATE", {"1/2/3", "-1/+2/3x", "99/99/9999/"}, {"1/2", "1/2/", "a/1/2", "1-2-3"}},
        {"TIME", {"1:2:3", "99:99:99rest"}, {"1:2", "1:2:x", "1/2/3"}},
        {"GROUP_ID", {"0", "007"}, {"-1", "1a", "\xb2"}},
        {"VALUE", {"007"}, {"-1"}},
        {"PRIORITY", {"007"}, {"-1"}},
        {"QUEUE_ID", {"007"}, {"-1"}},
        {"RATE_LIMIT", {"007"}, {"-1"}},
        {"HEX_VALUE", {"zz1", "0x", "f"}, {"zz", "-", "\xe9"}},
        {"IPADDR",
         {"1.2.3.4", "999.1.1.1", "000.0.00.0"},
         {"1.1.1", "1.1.1.", ".1.1.1", "1..1.1", "1.1.1.1.1", "1.1.1.1.", "1234.1.1.1", "1.1.1.1x", "1.1.1"}},
        {"IPADDR_MASK",
         {"1.2.3.4/32", "999.1.1.1/0x", "-12.1.1.1/-5"},
         {"1.2.3.4/33", "1.2.3.4", "1.2.3/8", "1234.1.1.1/8", "1.2.3.4/", "1.2.3.4/99999999999999999999"}},
        {"IPV6ADDR",
         {"1:2:3:4:5:6:7:8", "::::::ffff:0", "1::::::aBcD:8"},
         {"1:2:3:4:5:6:7", "1:2:3:4:5:6:7:", "1:2:3:4:5:6:7:8:9", "12345:2:3:4:5:6:7:8", "g:2:3:4:5:6:7:8",
          "::1"}},
        {"MACADDR",
         {"02:1b:FE:80:7f:06"},
         {"0:11:22:33:44:55", "00:11:22:33:44", "00:11:22:33:44:555", "00:11:22:33:44:5g",
          "00-11-22-33-44-55", "00:11:22:33:44:55:"}},
        {"SFTP_HOST",
         {"user1@1.2.3.4", "u@999.1.1.1:22/path", "u@1.2.3.4/", "u@1.2.3.4anything"},
         {"@1.2.3.4", "u-1@1.2.3.4", "u@1.2.3", "u@1234.2.3.4", "u@host"}},
        {"SCP_HOST", {"user1@1.2.3.4"}, {"u@host"}},
        {"<1-60>", {"1", "60", "060"}, {"0", "61", "07x", "+5", huge.c_str(), wider.c_str()}},
        {"<-5-10>", {"5", "10"}, {"4", "11", "-5"}},
        {"(enable|disable)", {"enable", "disable"}, {"en", "enabled", "enable|disable", "(enable|disable)"}},
        {"terminal", {"t", "terminal"}, {"terminals", "T", "erminal"}},
    };
    for (const auto &[text, accepted, refused] : cases) {
        for (const char *input : accepted) {
            EXPECT_TRUE(cli_prefix_match(input, cli_classify(text))) << text << " " << input;
        }
        for (const char *input : refused) {
            EXPECT_FALSE(cli_prefix_match(input, cli_classify(text))) << text << " " << input;
        }
    }
    for (const char *type :
         {"STRINGS", "COMMUNITY", "IFNAME", "IPv6_URL_PATH", "LEVEL", "MONITORMODE", "PORT_ID", "PORTLISTS",
          "VERSION", "VIEW_NAME_32", "VLANLISTS", "OID", "URL_PATH"}) {
        EXPECT_TRUE(cli_prefix_match("\xff;%", cli_classify(type))) << type;
    }
    // The exact match takes any number in range, but only the whole text of alternatives.
    EXPECT_TRUE(cli_exact_match("+5x", cli_classify("<1-60>")));
    EXPECT_FALSE(cli_exact_match(wider.c_str(), cli_classify("<1-60>")));
    EXPECT_FALSE(cli_exact_match("enable", cli_classify("(enable|disable)")));
    EXPECT_TRUE(cli_exact_match("(enable|disable)", cli_classify("(enable|disable)")));
}

TEST(CliParser, AbbreviationsAmbiguityAndExactWords) {
    // The last one goes through the node "clear", which the one before keeps to mode 0x8.
    commands run_line{command("configure terminal", nullptr, run<'c'>),
                      command("copy", nullptr, run<'p'>),
                      command("vlan", "VLANID", run<'v'>),
                      command("vlan-stacking", nullptr, run<'s'>),
                      command("show version", nullptr, run<'a'>),
                      command("show vlan", nullptr, run<'b'>),
                      command("clear x", nullptr, run<'x'>, 0x8),
                      command("clear xy", nullptr, run<'y'>, 0xC)};
    run_line.check({{"con t", "c"},
                    {" configure\tterminal ; as a comment", "c"},
                    {"co t", "-"},
                    {"cop", "p"},
                    {"vla 3", "-"},
                    {"vlan-", "s"},
                    {"show v", "-"},
                    {"show ver", "a"},
                    {"sh vl", "b"},
                    {"unknown", "-"},
                    {"clear xy", "y"}});
    // "vlan" is exact among two; what its pattern refuses fits the longer keyword, which takes anything.
    run_line.check({{"vlan 3", "v: 3"}, {"vlan 4095", "s: 4095"}, {"vlan", "s"}, {"vlan 3 4", "s: 3 4"}});
    // The shorter one is not of this mode, and does not make it ambiguous.
    run_line.check({{"clear x", "y"}});
    run_line.session.mode_mask = 0xC; // now both can be meant, and "x" is exact
    EXPECT_EQ("x", run_line("clear x"));
    run_line.session.mode_id = 99999; // nothing is installed there
    EXPECT_EQ("-", run_line("con t"));
    EXPECT_EQ(nullptr, cli_find_node(99999)) << "running a line makes no node";
}

TEST(CliParser, AmbiguityIsDecidedAtTheSecondWordThatFits) {
    // Both "ab" and "abc" fit "ab"; a number fits only the type.
    commands run_line{command("set", "abc", run<'1'>),     command("set", "ab", run<'2'>),
                      command("set", "VALUE", run<'3'>),   command("set", "a", run<'4'>),
                      command("<1-5>", nullptr, run<'5'>), command("<3-9>", nullptr, run<'6'>)};
    // "set ab" is not ambiguous, so that the first declared that fits is taken; of 4 both ranges are exact.
    run_line.check({{"set ab", "1: ab"}, {"set a", "1: a"}, {"set 12", "3: 12"}, {"7", "6"}, {"4", "5"}});
}

TEST(CliParser, CandidatesFallbackAndWrongArguments) {
    commands run_line{command("show port", nullptr, run<'n'>),
                      command("show port", "<1-12>", run<'p'>),
                      command("show port", "<1-12> detail", run<'d'>),
                      command("reload", nullptr, run<'r'>),
                      command("reload", "IPADDR", nullptr), // declared, not handled
                      command("set", "VALUE", refuse),
                      command("broken", nullptr, nullptr)};
    run_line.check({{"show port", "n"},
                    {"show port 12", "p: 12"},
                    {"show port 12 det", "d: 12 det"},
                    {"reload 1.2.3.4", "r: 1.2.3.4"},
                    {"reload 1.2.3.4 x", "r: 1.2.3.4 x"},
                    {"set 5", "W"},
                    {"broken", "-"},
                    {"broken 5", "-"}});
    // The last one compared failed.
    run_line.check({{"show port 13", "W"}, {"show port 12 other", "W"}, {"reload now", "W"}});
    // All that was compared fits, none in number: the fallback.
    run_line.check({{"show port 12 detail x", "n: 12 detail x"}});
    // A word in full is the one meant, as it is where it would be ambiguous.
    commands alike{command("no http", nullptr, run<'h'>), command("no http port", nullptr, run<'p'>),
                   command("no https", nullptr, run<'s'>)};
    alike.check({{"no http x", "h: x"},
                 {"no http port 80", "p: 80"},
                 {"no http po 80", "p: 80"},
                 {"no https x", "s: x"}});
    commands failing{command("fail", nullptr, fail)};
    EXPECT_EQ(7, cli_session_execute(&failing.session, "fail"));
    EXPECT_EQ("", taken(s_printed));
    EXPECT_EQ(0, cli_last_status());
    EXPECT_EQ("-", failing(" ; nothing")); // and the status is not the last line's
}

TEST(CliParser, LimitsOfLinesAndDeclarations) {
    const std::string longest(127, 'w');
    const std::string too_long(128, 'w');
    const std::string twenty = "a b c d e f g h i j k l m n o p q r s t";
    std::string all_strings;
    for (int i = 0; i < 19; i++) {
        all_strings += "STRINGS ";
    }
    commands run_line{command(longest.c_str(), nullptr, run<'l'>),
                      command(too_long.c_str(), nullptr, run<'x'>),
                      command(twenty.c_str(), nullptr, run<'t'>),
                      command(twenty.c_str(), "u", run<'u'>),
                      command("echo", all_strings.c_str(), run<'e'>),
                      command("echo", all_strings.c_str(), run<'f'>),
                      command("twice", nullptr, run<'1'>),
                      command("twice", nullptr, run<'2'>),
                      command(" ; only a comment", nullptr, run<'c'>)};
    EXPECT_EQ((std::vector<int32_t>{0, -1, 0, -1, 0, -1, 0, 0, -1}), run_line.results);
    // Of equal ones the first installed, of fallbacks the last.
    run_line.check({{"twice", "1"},
                    {"twice x", "2: x"},
                    {"echo " + std::string(5000, 'x'), "-"},
                    {"echo 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22",
                     "e: 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20"}});
}

TEST(CliParser, SessionsKeepWhatHandlersChange) {
    commands run_line{command("enter", "VALUE", enter_mode_9)};
    const int32_t mode = run_line.session.mode_id;
    EXPECT_EQ("done", run_line("enter 77"));
    EXPECT_EQ(9, run_line.session.mode_id);
    EXPECT_EQ(77, run_line.session.values[0]);
    EXPECT_EQ(0, cli_session_mode()); // put back
    EXPECT_EQ("done", run_line("!"));
    EXPECT_EQ(5, run_line.session.mode_id);
    for (const int32_t outside : {1, 29, mode}) {
        run_line.session.mode_id = outside;
        EXPECT_EQ("-", run_line("!")) << outside;
    }
    run_line.session.node_kind = 2;
    EXPECT_EQ("-", run_line("an answer"));
    cli_set_prompt_handler(2, [](const char *line) { return note(line, 0, nullptr); });
    EXPECT_EQ("an  answer ; whole", run_line("an  answer ; whole"));
    cli_set_prompt_handler(2, nullptr);
}

std::string s_seen; // by read_session

int32_t read_session(int32_t /*argc*/, const char *const * /*argv*/) {
    s_seen = std::to_string(cmds_ports().value_or(0)) + " " + std::to_string(cmds_context().value_or(0)) +
             " " + cmds_current_mode().name;
    return 0;
}

TEST(CmdsSession, HandlersSeeOnlyWhatASessionCanHold) {
    const std::tuple<int32_t, int32_t, int32_t, const char *> cases[] = {
        {k_mode_vlan, 0x1FFE, 4094, "8190 4094 vlan"},
        {k_mode_exec, 0x1FFF, 4095, "0 4095 exec"},
        {INT32_MIN, 0x2002, 0, "0 0 exec"},
        {INT32_MAX, INT32_MIN, INT32_MIN, "0 0 exec"},
        {k_cli_mode_config, 2, 1, "2 1 config"},
    };
    static const cli_command reads = command("read", nullptr, read_session, 0x80000000);
    for (const auto &[mode_id, ports, vlan, seen] : cases) {
        ASSERT_EQ(0, cli_install(mode_id, &reads));
        cli_session session = {UINT32_MAX, mode_id, 0, {ports, vlan, -1}, INT32_MIN};
        EXPECT_EQ(0, cli_session_execute(&session, "read"));
        EXPECT_EQ(seen, s_seen);
        session.node_kind = ports; // none of these is a kind
        EXPECT_EQ(-1, cli_session_execute(&session, "read")) << ports;
    }
}

TEST(CliHelp, ListsWhatCanFollow) {
    // "Show." comes from the first one in the order of the words.
    commands in{{"show vlan",
                 0x4,
                 0,
                 nullptr,
                 run<'v'>,
                 {nullptr, nullptr, "<cr>            Show all.\n  [VLANID]        Show one."}},
                {"show vlan", 0x4, 0, "VLANID", run<'i'>, {nullptr, "VLANs.", "A number.", "<cr>"}},
                {"show version", 0x4, 0, nullptr, run<'e'>, {"Show."}},
                command("set", "(on|off)", run<'s'>),
                command("hidden", nullptr, run<'h'>, 0x8)};
    const auto listed = [&](int32_t offset, std::vector<const char *> words) {
        const int32_t lines =
            cli_list_next_words(in.session, offset, static_cast<int32_t>(words.size()), words.data());
        EXPECT_EQ(lines, std::count(s_printed.begin(), s_printed.end(), '\n'));
        return taken(s_printed);
    };
    EXPECT_EQ("  set             \n  show            Show.\n", listed(1, {}));
    EXPECT_EQ("  version         \n  vlan            \n", listed(1, {"show"}));
    EXPECT_EQ("  <cr>            Show all.\n  [VLANID]        Show one.\n  VLANID          A number.\n",
              listed(1, {"show", "vlan"}));
    EXPECT_EQ("  <cr>           \n", listed(1, {"show", "vlan", "7"}));
    EXPECT_EQ("  version         \n", listed(0, {"show", "version"}));
    EXPECT_EQ("", listed(1, {"sh"}) + listed(1, {"hidden"})) << "unfinished; of another mode";
    EXPECT_EQ("", listed(0, {}) + listed(-5, {"show"}) + listed(2, {"show", "vlan", "7"})) << "no such place";
}

TEST(CliHelp, HelpsAndCompletesWhileALineIsTyped) {
    commands in{command("show vlan", "VLANID", run<'v'>), command("show version", nullptr, run<'e'>),
                command("set", "(on|off|other)", run<'s'>), command("set-all", "(yes|no)", run<'a'>)};
    const std::tuple<decltype(&cli_help_line), const char *, const char *> cases[] = {
        {cli_help_line, "se", "  set             \n  set-all         \n"},
        {cli_help_line, "set ", "  (on|off|other)  \n"}, // and none of set-all
        {cli_help_line, "sh ve", "  version         \n"},
        {cli_help_line, "sh vl ", "  VLANID          \n"},
        {cli_help_line, "x ", ""},
        {cli_complete_line, "", "set\nset-all\nshow\n"},
        {cli_complete_line, "sh v", "version\nvlan\n"},
        {cli_complete_line, "set o", "on\noff\nother\n"},
        {cli_complete_line, "show vlan ", ""}};
    for (const auto &[list, line, expected] : cases) {
        EXPECT_EQ(std::count(expected, expected + std::strlen(expected), '\n'), list(in.session, line));
        EXPECT_EQ(expected, taken(s_printed)) << line;
    }

    cli_dump_tree();
    const std::string dump = taken(s_printed);
    EXPECT_TRUE(dump.ends_with("##### NODE" + std::to_string(in.session.mode_id) +
                               " ######\n"
                               "cmd set \ncmd set-all \ncmd show version \ncmd show vlan \n"
                               "set \n          (on|off|other) \nset-all \n          (yes|no) \n"
                               "show \n          version \n          vlan \n                    VLANID \n"))
        << dump;
}

TEST(CliConfig, ReplaysEveryLine) {
    static const cli_command rows[] = {command("enter", "VALUE", enter_mode_9, 0x4),
                                       command("line", "STRINGS", run<'l'>, 0x4),
                                       command("debug", nullptr, run<'d'>, 0x10000)};
    for (const cli_command &row : rows) {
        ASSERT_EQ(0, cli_install(5, &row));
    }
    static const cli_command inside = command("inner", nullptr, run<'i'>);
    ASSERT_EQ(0, cli_install(9, &inside));
    char path[] = "/tmp/cli-config-XXXXXX";
    ::close(::mkstemp(path));
    const std::string piece(240, 'x');
    const struct {
        std::string file;
        std::vector<std::string> runs;
        std::vector<int> failed; // lines
    } cases[] = {
        {"", {}, {}},
        {"#one\n\n ; comment\nline a\n", {"l: a"}, {}},
        {"# more words are a line\nline b\nx\n", {"l: b"}, {1, 3}},
        {"enter 3\ninner\nline c\n! back\nline d", {"i", "l: d"}, {3}}, // no "line" in mode 9
        {"debug\nline e\n", {"l: e"}, {1}},
        {std::string("line g\0x\ny\n", 11), {"l: g"}, {2}}, // what follows a NUL is no word, but is counted
        // 255 characters are one piece; what follows is a line of its own, of the same number.
        {"line " + piece + " ;23456789" + "line f\nx", {"l: " + piece, "l: f"}, {2}},
    };
    cli_set_last_status(42);
    for (const auto &c : cases) {
        std::ofstream(path) << c.file;
        s_runs.clear();
        EXPECT_EQ(c.failed.empty() ? 0 : -301, cli_load_config(path)) << c.file;
        EXPECT_EQ(c.runs, s_runs) << c.file;
        std::vector<std::string> logged;
        for (const int line : c.failed) {
            logged.push_back("4 " + std::string(path) + ": line " + std::to_string(line) + " failed");
        }
        EXPECT_EQ(logged, syslog_take_texts());
        EXPECT_EQ(42, cli_last_status());
    }
    ::unlink(path);
    EXPECT_EQ(-1, cli_load_config(path));
    EXPECT_EQ(-1, cli_load_config("/tmp")) << "opened, but not read";
    EXPECT_EQ(EISDIR, errno);
    s_printed.clear();
}

void screen_length_scenario() {
    EXPECT_EQ(24, screen_length()) << "no file";
    struct {
        const char *argument;
        int32_t result;
        const char *file; // afterwards
    } const set[] = {{"1", -6, ""},          {"2", 0, "2"},        {"29999", 0, "29999"},
                     {"30000", -6, "29999"}, {"-5", -6, "29999"},  {"", -6, "29999"},
                     {"24x", -6, "29999"},   {" 24", -6, "29999"}, {"4294967320", -6, "29999"},
                     {"060", 0, "60"},       {"24", 0, "24"}};
    for (const auto &row : set) {
        EXPECT_EQ(row.result, screen_length_set(row.argument, cli_print)) << row.argument;
        EXPECT_EQ(row.result == 0 ? "" : "% Invalid value\n\n", taken(s_printed));
        std::ifstream file(k_screen_length_file);
        EXPECT_EQ(row.file, std::string(std::istreambuf_iterator<char>(file), {})) << row.argument;
    }
    const std::pair<std::string, int32_t> stored[] = {
        {"25", 25}, {"2\n", 2}, {"30000", 24}, {"1", 24}, {"", 24}, {"50 x", 24}, {std::string(99, '5'), 24}};
    for (const auto &[content, length] : stored) {
        std::ofstream(k_screen_length_file) << content;
        EXPECT_EQ(length, screen_length()) << content;
        screen_length_show_config(cli_print);
        EXPECT_EQ(length == 24 ? "" : "set length " + std::to_string(length) + "\n", taken(s_printed));
    }
    EXPECT_EQ(std::filesystem::perms(0644), std::filesystem::status(k_screen_length_file).permissions());
    std::filesystem::remove(k_screen_length_file);
    std::filesystem::create_directory(k_screen_length_file);
    EXPECT_EQ(24, screen_length());
    EXPECT_EQ(k_screen_length_not_stored, screen_length_set("30", cli_print));
    EXPECT_THAT(syslog_take_texts(),
                testing::ElementsAre("4 screen_length_set: cannot write /var/qel_win_size: Is a directory"));
}

TEST(ScreenLength, OnlyNumbersInRangeAreStoredOrBelieved) { with_private({"/var"}, screen_length_scenario); }

} // namespace
