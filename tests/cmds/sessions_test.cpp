// Sessions of several clients in one process: accounts, questions and their answers, the factory's
// configuration, and what shows tell of the configuration.

#include "lib/cli/cli_config.h"
#include "lib/cli/cli_parser.h"
#include "lib/cli/csh_status.h"
#include "lib/cli/screen_length.h"
#include "lib/cmds/cmds_config.h"
#include "lib/cmds/cmds_failures.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_password.h"
#include "lib/cmds/cmds_session.h"
#include "lib/config/config_file.h"
#include "lib/services/restart.h"
#include "lib/services/services.h"
#include "tests/support/private_scenario.h"

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <sys/stat.h>
#if ZOP_HAS_LIBCRYPT
#include <crypt.h>
#endif

namespace {

using testing::HasSubstr;
using testing::Not;

std::string s_printed;
std::vector<std::string>
    s_calls;           // of the service that carries all out: "+words arguments", "-words arguments"
std::string s_refused; // the words that it will not take back, or a whole call

std::string call_text(char sign, const service_call &call) {
    std::string text = sign + std::string(call.words);
    for (const std::string &argument : call.arguments) {
        text += ' ' + argument;
    }
    return call.context.empty() ? text : text + " in " + std::string(call.context);
}

service_answer apply(const service_call &call) {
    s_calls.push_back(call_text('+', call));
    return s_calls.back() == s_refused ? service_answer{service_outcome::refused, "it is too much"}
                                       : service_answer{};
}

service_answer withdraw(const service_call &call) {
    s_calls.push_back(call_text('-', call));
    return call.words == s_refused || s_calls.back() == s_refused
               ? service_answer{service_outcome::refused, "it is in use"}
               : service_answer{};
}

constexpr service k_carrying = {"a test", nullptr, apply, withdraw, nullptr, nullptr};

} // namespace

// The linker leads calls of these here.
extern "C" {
[[gnu::format(printf, 1, 2)]] int __wrap__Z9cli_printPKcz(const char *format, ...) {
    std::array<char, 16384> text{};
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it is initialised
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    s_printed += text.data();
    return length;
}
const service *
__wrap__Z13services_findSt17basic_string_viewIcSt11char_traitsIcEE(std::string_view /*words*/) {
    return &k_carrying;
}
}

namespace {

/// A client's session.
class client {
public:
    explicit client(int32_t mode_id = k_mode_exec, bool user_only = false)
        : m_session(cmds_session_in(mode_id, user_only)) {}
    client &person() {
        m_session = cmds_with_person(m_session);
        return *this;
    }
    client &json() {
        m_session = cmds_with_json(m_session);
        return *this;
    }
    [[nodiscard]] cli_session &session() { return m_session; }
    [[nodiscard]] bool is_asked() const { return m_session.node_kind == k_cli_node_answer; }

    /// Returns what the line printed, after the number of its result where that is not 0.
    std::string type(const std::string &line) {
        s_printed.clear();
        const int32_t result = cli_session_execute(&m_session, line.c_str());
        return (result != 0 ? std::to_string(result) : "") + s_printed;
    }

private:
    cli_session m_session;
};

/// In a process of its own, with an empty "/var" and all commands; nothing of the machine is touched.
void with_commands(const std::function<void()> &scenario) {
    with_private({"/var"}, [&] {
        services_on_desk();
        ASSERT_EQ(0, cmds_install());
        ASSERT_EQ(0, ::mkdir("/var/config", 0755));
        scenario();
    });
}

std::string running() { return config_text(cmds_store()); }

void write_saved(const std::string &text) { std::ofstream(k_cmds_saved_config) << text; }

std::string saved() {
    std::ifstream file(k_cmds_saved_config);
    return {std::istreambuf_iterator<char>(file), {}};
}

// ---- accounts

const std::string k_hash = "$5$salt$" + std::string(43, 'x');

void keep_accounts() {
    client first(k_cli_mode_config);
    client second(k_cli_mode_config);
    client viewer(k_mode_exec, true);
    EXPECT_EQ("", first.type("user account ann lev administrator pass correct-horse"));
    EXPECT_EQ("", second.type("user account bob level user password correct-horse"));
    const std::string text = running();
    std::smatch hashes;
    ASSERT_TRUE(std::regex_match(text, hashes,
                                 std::regex("user account ann level administrator encrypted (.*)\n"
                                            "user account bob level user encrypted (.*)\n")))
        << text;
    EXPECT_NE(hashes[1], hashes[2]) << "the same salt twice";
    for (const std::string &hash : {hashes[1].str(), hashes[2].str()}) {
#if ZOP_HAS_LIBCRYPT
        crypt_data work{};
        EXPECT_EQ(hash, ::crypt_rn("correct-horse", hash.c_str(), &work, sizeof work));
#endif
        EXPECT_TRUE(cmds_is_password_hash(hash));
    }
    EXPECT_EQ("", second.type("user account bob level user encrypted " + hashes[2].str()));
    EXPECT_EQ(text, running()) << "taken back as it is";

    // Who sees the hashes.
    EXPECT_THAT(first.type("show running-config"), HasSubstr(hashes[1].str()));
    EXPECT_THAT(
        client(k_mode_exec).json().type("show running-config"),
        testing::StartsWith(R"({"running_config":["user account ann level administrator encrypted $5$)"));
    write_saved(text);
    EXPECT_EQ("user account ann level administrator encrypted ********\n"
              "user account bob level user encrypted ********\n",
              first.type("show startup-config"));
    EXPECT_THAT(client(k_mode_exec).json().type("show startup-config"), Not(HasSubstr("$5$")));
    EXPECT_EQ("Accounts\nName  Level\nann   administrator\nbob   user\n", first.type("show user account"));
    for (const char *line : {"show running-config", "show startup-config", "show user account"}) {
        EXPECT_EQ("-1", viewer.type(line)) << line;
    }

    // An administrator stays.
    const std::string last = "-6% This is the last administrator's account\n";
    EXPECT_EQ(last, second.type("delete user ann"));
    EXPECT_EQ(last, second.type("user account ann level user password correct-horse"));
    EXPECT_EQ("-6% There is no such account\n", second.type("delete user an"));
    EXPECT_EQ("", first.type("user account bob level administrator encrypted " + k_hash));
    EXPECT_EQ("", first.type("delete user ann"));
    EXPECT_EQ("-user account ann", s_calls.back());
    EXPECT_EQ("user account bob level administrator encrypted " + k_hash + "\n", running());
}

void refuse_passwords() {
    client at(k_cli_mode_config);
    const std::string too_short = "-6% This password is too short; see user password-length\n";
    const auto type = [&](const std::string &rest) { return at.type("user account ann level user " + rest); };
    EXPECT_EQ(too_short, type("password 1234567"));
    EXPECT_EQ(too_short, type("password caf\xc3\xa9-56")) << "characters, not bytes";
    EXPECT_EQ("", type("password caf\xc3\xa9-567"));
    at.type("user password-length 12");
    EXPECT_EQ(too_short, type("password 12345678901"));
    EXPECT_EQ("", type("password 123456789012"));
    const std::string before = running();
    const std::string hash(43, 'x');
    for (const std::string &wrong : std::initializer_list<std::string>{
             "$5$$" + hash, "$5$salt", "$5$salt$" + hash + "x", "$5$salt$" + hash.substr(1),
             "$6$salt$" + hash, "$5$" + std::string(17, 's') + "$" + hash, "$5$sa:t$" + hash,
             "$5$salt$" + hash.substr(1) + "*"}) {
        EXPECT_EQ("-6% This is no hash of the form $5$SALT$HASH\n", type("encrypted " + wrong)) << wrong;
    }
    EXPECT_EQ(before, running());
    EXPECT_EQ("", type("encrypted $5$" + std::string(16, 's') + "$" + hash));
}

// ---- questions

void ask_two_at_once() {
    client rebooting;
    client copying;
    rebooting.person();
    copying.person();
    write_saved("hostname kept\n");
    EXPECT_EQ("The switch restarts, and what was not saved is lost. Are you sure? (y/n) ",
              rebooting.type("reboot"));
    EXPECT_TRUE(rebooting.is_asked());
    copying.type("copy factory-default-config startup-config");
    EXPECT_TRUE(copying.is_asked());
    EXPECT_EQ("", copying.type(" Yes "));
    EXPECT_EQ("", saved()) << "its own question";
    EXPECT_FALSE(copying.is_asked());
    EXPECT_FALSE(restart_take()) << "nobody else's";
    EXPECT_EQ("Nothing has been done.\n", rebooting.type("no"));
    for (const char *answer : {"n", "", "yess", "y y", "reboot force"}) {
        rebooting.type("reboot");
        EXPECT_EQ("Nothing has been done.\n", rebooting.type(answer)) << answer;
        EXPECT_FALSE(rebooting.is_asked() || restart_take()) << answer;
    }
    rebooting.type("reboot");
    EXPECT_EQ("", rebooting.type("y"));
    EXPECT_EQ(k_csh_status_restarts, cli_last_status());
    EXPECT_TRUE(restart_take());
    EXPECT_FALSE(restart_take()) << "once";

    // Without a person, and sessions that were made up.
    client script;
    EXPECT_EQ("-6% Without a terminal this needs the word force\n", script.type("reboot"));
    EXPECT_FALSE(script.is_asked());
    client asked;
    asked.person().type("reboot");
    ASSERT_TRUE(asked.is_asked());
    const auto answer_as = [&](const std::function<void(cli_session &)> &change) {
        client made_up = asked;
        change(made_up.session());
        EXPECT_EQ("-6% Nothing was asked\n", made_up.type("y"));
        EXPECT_FALSE(made_up.is_asked() || restart_take());
    };
    answer_as([](cli_session &session) { session.mode_mask = k_mask_user; });
    answer_as([](cli_session &session) { session.mode_id = 99; });
    answer_as([](cli_session &session) { session.values[2] = -1; });
    answer_as([](cli_session &session) { session.values[2] &= 0x3FFFF; }); // no number
    answer_as([](cli_session &session) { session.values[2] |= 0x3F << 18; });
    EXPECT_EQ("", script.type("reboot force"));
    EXPECT_TRUE(restart_take());
}

void take_all_back() {
    client at(k_cli_mode_config);
    client other(k_cli_mode_config);
    for (const char *line :
         {"hostname north", "no http server", "set length 40", "vlan 12", "name cellar", "add fixed 3 tagged",
          "exit", "interface gigabitethernet1/0/ 3", "vlan pvid 12"}) {
        EXPECT_EQ("", at.type(line)) << line;
    }
    other.type("vlan 12");
    const std::string before = running();
    write_saved(before);
    EXPECT_EQ(40, screen_length());
    s_calls.clear();
    s_refused = "name";
    at.type("end");
    EXPECT_EQ("-2% it is in use\n% Settings that could not be taken back: 1\n",
              at.type("reload default-config force"));
    EXPECT_EQ("\nvlan 12\nname cellar\n!\n", running());
    EXPECT_EQ(
        (std::vector<std::string>{"-vlan pvid in interface gigabitethernet1/0/ 3", "-add fixed 3 in vlan 12",
                                  "-name in vlan 12", "+http server", "-hostname", "-set length"}),
        s_calls);
    EXPECT_EQ(24, screen_length());
    s_refused.clear();
    EXPECT_EQ("", at.type("reload default-config force"));
    EXPECT_EQ("", running());
    EXPECT_EQ("-2% What was being configured has gone; leave by exit\n", other.type("name attic"));
    EXPECT_EQ(before, saved());
}

void change_all_ports_or_none() {
    const std::string first = " in interface gigabitethernet1/0/ 1";
    const std::string second = " in interface gigabitethernet1/0/ 2";
    const struct {
        std::string before, line, refused; // what is typed first, what is refused at the second port
        std::vector<std::string> calls;
    } cases[] = {
        {"vlan pvid 5",
         "vlan pvid 9",
         "+vlan pvid 9" + second,
         {"+vlan pvid 9" + first, "+vlan pvid 9" + second, "+vlan pvid 5" + first}},
        {"",
         "vlan pvid 9",
         "+vlan pvid 9" + second,
         {"+vlan pvid 9" + first, "+vlan pvid 9" + second, "-vlan pvid" + first}},
        {"spanning-tree mst cost 1 200",
         "no spanning-tree mst cost 1",
         "-spanning-tree mst cost 1" + second,
         {"-spanning-tree mst cost 1" + first, "-spanning-tree mst cost 1" + second,
          "+spanning-tree mst cost 1 200" + first}},
    };
    for (const auto &c : cases) {
        config_clear(cmds_store());
        client at(k_cli_mode_config);
        at.type("interface range gigabitethernet1/0/ 1-2");
        at.type(c.before);
        const std::string before = running();
        s_refused = c.refused;
        s_calls.clear();
        EXPECT_THAT(at.type(c.line), testing::StartsWith("-2% it is ")) << c.line;
        EXPECT_EQ(c.calls, s_calls);
        EXPECT_EQ(before, running());
        s_refused.clear();
    }
}

void lose_a_vlan() {
    client at(k_cli_mode_config);
    client other(k_cli_mode_config);
    EXPECT_EQ("", at.type("vlan range 7-8"));
    EXPECT_EQ("", other.type("no vlan 8"));
    EXPECT_EQ("-2% What was being configured has gone; leave by exit\n", at.type("name a"));
    EXPECT_EQ("\nvlan 7\n!\n", running()) << "nothing of it comes back";
}

void fill_up() {
    const std::string full = "-2% The configuration is full\n";
    client at(k_cli_mode_config);
    client port(k_cli_mode_config);
    for (const char *line : {"hostname north", "vlan range 2-3", "name a", "exit"}) {
        EXPECT_EQ("", at.type(line)) << line;
    }
    port.type("interface gigabitethernet1/0/ 3");
    const config_context filler = config_enter(cmds_store(), {0, "", "filler", 0}, false);
    for (int32_t key = 1; config_room(cmds_store()) > 1; key++) {
        ASSERT_TRUE(config_set(cmds_store(), filler, {0, std::to_string(key), "line", 0}));
    }
    s_calls.clear();
    EXPECT_EQ("", at.type("hostname south")) << "it takes no more room than the other name";
    at.type("vlan range 2-3");
    EXPECT_EQ("", at.type("name b"));
    EXPECT_EQ("+hostname south", s_calls.front());
    s_calls.clear();
    EXPECT_EQ(full, at.type("unknown-unicast drop")) << "there is room for one of the two";
    at.type("exit");
    EXPECT_EQ("", at.type("no http server"));
    EXPECT_EQ(full, at.type("no telnet server"));
    EXPECT_EQ("", at.type("telnet server")) << "as it is at first";
    EXPECT_EQ(full, port.type("no vlan pvid")) << "the port is nowhere in the configuration";
    EXPECT_EQ((std::vector<std::string>{"-http server", "+telnet server"}), s_calls)
        << "what cannot be kept is not carried out";
    ASSERT_TRUE(config_leave_out(cmds_store(), filler));
    EXPECT_EQ("hostname south\nno http server\n\nvlan 2\nname b\n!\nvlan 3\nname b\n!\n", running());
}

// ---- names and shows

void name_the_switch() {
    client at(k_cli_mode_config);
    const std::string longest(63, 'a');
    for (const std::string &good :
         {std::string("a"), std::string("Hall-2.north"), std::string("3com"), longest}) {
        EXPECT_EQ("", at.type("hostname " + good)) << good;
        EXPECT_EQ("hostname " + good + "\n", running());
    }
    for (const char *wrong : {"-a", "a-", "a_b", "a..b", ".a", "a.", "a.-b", "caf\xc3\xa9"}) {
        EXPECT_EQ("-6% A name is letters, digits and hyphens, which do not begin or end it\n",
                  at.type(std::string("hostname ") + wrong));
    }
    EXPECT_NE("", at.type("hostname " + longest + "a"));
    EXPECT_NE("", at.type("hostname b." + longest.substr(1))) << "64 in all";
    EXPECT_EQ("hostname " + longest + "\n", running());
}

void show_what_is_configured() {
    client at(k_cli_mode_config);
    for (const char *line :
         {"vlan range 11-13", "add fixed 3 tagged", "add fixed 2 tagged", "exit", "vlan 12", "name cellar",
          "add fixed 4 untagged", "exit", "interface gigabitethernet1/0/ 3", "vlan pvid 12",
          "no vlan ingress-filter", "exit", "mac-address-table static mac 00:11:22:33:44:55 vlan 12 port 3",
          "mac-address-table refusal mac 00:11:22:33:44:66 vlan 7",
          "mac-address-table multicast mac 01:00:5e:00:00:01 vlan 12 port 1-3", "no telnet server",
          "http server port 8080", "cli auto-logout never"}) {
        ASSERT_EQ("", at.type(line)) << line;
    }
    EXPECT_EQ("Learning            : independent\n\nVLANs as configured\n"
              "VLAN  Name    State   Tagged ports  Untagged ports\n"
              "  12  cellar  active  2,3           4\n  13  -       active  2,3           -\n",
              at.type("show vlan range 12-20"));
    client script;
    script.json();
    EXPECT_EQ(R"({"vlan":12,"name":"cellar","state":"active","unknown_unicast":"flood",)"
              R"("tagged_ports":"2,3","untagged_ports":"4"})"
              "\n",
              script.type("show vlan 12"));
    EXPECT_EQ("-6% This VLAN is not configured\n", script.type("show vlan 14"));
    EXPECT_THAT(script.type("show vlan ports"),
                HasSubstr(R"({"port":3,"pvid":12,"tagged_vlans":"11-13","untagged_vlans":null,)"
                          R"("forbidden_vlans":null,"acceptable_frames":"all","ingress_filter":"off"},)"
                          R"({"port":4,"pvid":1,"tagged_vlans":null,"untagged_vlans":"12",)"));
    EXPECT_EQ("Addresses as configured\nVLAN  MAC address        Kind     Port\n"
              "  12  00:11:22:33:44:55  static   3\n   7  00:11:22:33:44:66  refused  -\n",
              at.type("show mac-address-table static"));
    EXPECT_THAT(at.type("show mac-address-table multicast"), HasSubstr("12  01:00:5e:00:00:01  1-3\n"));
    EXPECT_THAT(at.type("show servers"), AllOf(HasSubstr("http        on     8080  TCP\n"),
                                               HasSubstr("telnet      off      23  TCP\n")));
    EXPECT_EQ("Auto-logout after   : never\nLines of a screen   : 24\n", at.type("show cli"));
    EXPECT_EQ("{\"failed\":0,\"lines\":[]}\n", script.type("show startup-config failures"));
}

// ---- the saved configuration

void read_what_start_would_refuse() {
    write_saved("set length 1\nset length 30000\nhostname -a\n");
    EXPECT_EQ("% Lines of the saved configuration that cannot be run: 3\n",
              client().type("show startup-config"));
    EXPECT_EQ("{\"startup_config\":[],\"failed\":3}\n", client().json().type("show startup-config"));
}

void tell_that_it_cannot_be_read() {
    EXPECT_EQ("-2% No configuration has been saved\n", client().type("show startup-config"));
    ASSERT_EQ(0, ::symlink(k_cmds_saved_config, k_cmds_saved_config));
    EXPECT_EQ("-2% The saved configuration cannot be read: Too many levels of symbolic links\n",
              client().type("show startup-config"));
}

void name_what_failed() {
    write_saved("hostname -a\nhttp server 80\nvlan 5000\nvlan 5\nreboot force\nname a b\n"
                "end\nengineering\nno dbg-stp\n");
    EXPECT_EQ(k_cli_load_failed_lines, cli_load_config(k_cmds_saved_config, cmds_note_failure));
    EXPECT_EQ(R"({"failed":7,"lines":[)"
              R"({"line":1,"reason":"A name is letters, digits and hyphens, which do not begin or end it"},)"
              R"({"line":2,"reason":"wrong argument"},)"
              R"({"line":3,"reason":"no command of a saved configuration"},)"
              R"({"line":5,"reason":"no command of a saved configuration"},)"
              R"({"line":6,"reason":"no command of a saved configuration"},)"
              R"({"line":8,"reason":"This cannot stand in a saved configuration"},)"
              R"({"line":9,"reason":"no command of a saved configuration"}]})"
              "\n",
              client().json().type("show startup-config failures"));
}

/// A "reboot" of the test's own, in a folder that nobody else sees and that is searched first.
void restart_the_machine() {
    for (const int status : {0, 3}) {
        std::ofstream("/usr/sbin/reboot") << "#!/bin/sh\necho > /usr/sbin/called\nexit " << status << "\n";
        ASSERT_EQ(0, ::chmod("/usr/sbin/reboot", 0755));
        EXPECT_EQ(status == 0, restart_machine());
        EXPECT_EQ(0, ::unlink("/usr/sbin/called"));
    }
}

void with_typed_passwords(void (*scenario)()) {
#if ZOP_HAS_LIBCRYPT
    with_commands(scenario);
#else
    static_cast<void>(scenario);
    GTEST_SKIP() << "no libcrypt to hash passwords by";
#endif
}

TEST(Sessions, ASettingOfSeveralPortsIsChangedAtAllOrNone) { with_commands(change_all_ports_or_none); }
TEST(Sessions, AVlanThatAnotherOneRemovesStaysAway) { with_commands(lose_a_vlan); }
TEST(Sessions, TheMachineIsRestartedByItsProgramWhichMayFail) {
    with_private({"/usr/sbin"}, restart_the_machine);
}
TEST(Sessions, AccountsAreKeptAsHashesAndOneAdministratorStays) { with_typed_passwords(keep_accounts); }
TEST(Sessions, PasswordsThatAreShortAndHashesThatAreNoneAreRefused) {
    with_typed_passwords(refuse_passwords);
}
TEST(Sessions, AnAnswerBelongsToTheQuestionOfItsSession) { with_commands(ask_two_at_once); }
TEST(Sessions, TheFactoryConfigurationTakesBackWhatWasCarriedOut) { with_commands(take_all_back); }
TEST(Sessions, AFullConfigurationIsChangedButNotExceeded) { with_commands(fill_up); }
TEST(Sessions, NamesAreHostNames) { with_commands(name_the_switch); }
TEST(Sessions, SavedLengthsThatCannotBeSetAreNotShown) { with_commands(read_what_start_would_refuse); }
TEST(Sessions, ASavedFileThatCannotBeReadIsNotCalledMissing) { with_commands(tell_that_it_cannot_be_read); }
TEST(Sessions, SavedLinesThatFailAreNamedEachWithItsOwnReason) { with_commands(name_what_failed); }
TEST(Sessions, ShowsTellWhatIsConfigured) { with_commands(show_what_is_configured); }

} // namespace
