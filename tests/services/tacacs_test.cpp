// The TACACS+ service against a daemon of the test's own, over the management server.

#include "lib/cli/cli_config.h"
#include "lib/cmds/cmds_family.h"
#include "lib/cmds/cmds_services.h"
#include "lib/ipc/ipc_names.h"
#include "lib/services/services.h"
#include "tests/ipc/ipc_peer.h"

#include <chrono>

namespace {

using strings = std::vector<std::string>;
using answer_future = std::future<service_answer>;

constexpr uint8_t k_route = 3;
constexpr const char *k_silent = "The TACACS+ daemon does not answer";

/// The number of a command by the end of its name.
uint16_t number_of(const std::string &name) {
    for (uint16_t i = 1; i <= k_ipc_command_max; i++) {
        if (ipc_command_name(i) == "proto_subcmd_tacplus_" + name) {
            return i;
        }
    }
    return 0;
}

octets request(const std::string &name, const octets &payload = {}) {
    return asked(k_route, number_of(name), payload);
}

/// As the shell's thread does it.
answer_future change(bool on, const std::string &words, const strings &arguments = {}) {
    return std::async(std::launch::async, [=] {
        return (on ? service_tacacs.apply : service_tacacs.withdraw)({words, arguments, ""});
    });
}

octets text_field(const std::string &text) {
    octets field(text.begin(), text.end());
    field.resize(64);
    return field;
}

octets server(octets begin, const octets &address, const std::string &key) {
    begin.insert(begin.end(), address.begin(), address.end());
    begin.resize(20);
    const octets field = text_field(key);
    begin.insert(begin.end(), field.begin(), field.end());
    return begin;
}

class tacacs_peer : public peer {
public:
    tacacs_peer() : peer(k_route) { EXPECT_TRUE(eventually(service_tacacs.is_here)); }

    void answer(const std::string &name, int32_t status, const octets &payload = {}) const {
        send(response(k_route, number_of(name), status, payload));
    }
    /// Expects a request and answers it.
    void serve(const std::string &name, const octets &payload = {}, int32_t status = 0) const {
        EXPECT_EQ(request(name, payload), receive()) << name;
        answer(name, status);
    }
};

/// Until the server has seen the last client go: requests would be given to that.
void await_nobody() {
    ASSERT_TRUE(eventually([] { return !service_tacacs.is_here(); }));
}

void expect_refused(answer_future answer, const std::string &text) {
    const service_answer got = answer.get();
    EXPECT_EQ(service_outcome::refused, got.outcome);
    EXPECT_EQ(text, got.text);
}

std::string shown(const tacacs_peer &by, int32_t status, const octets &payload) {
    report to;
    auto answer = std::async(std::launch::async, [&] {
        return service_tacacs.show({"tacacs-plus", {}, ""}, to);
    });
    EXPECT_EQ(request("show_tacacs"), by.receive());
    by.answer("show_tacacs", status, payload);
    const service_answer got = answer.get();
    return got.outcome == service_outcome::done ? report_json(to) : got.text;
}

class Tacacs : public testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(with_empty_directories({"/tmp"}));
        ASSERT_EQ(0, ipc_serv_start());
    }
    void SetUp() override { await_nobody(); }
};

} // namespace

TEST_F(Tacacs, EachSettingHasItsRequests) {
    const std::string longest(63, 'k');
    const octets v6 = {0x20, 1, 0xD, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9};
    const struct {
        std::string words;
        strings arguments;
        std::string set;
        octets payload;
        std::string undo;
        octets undo_payload;
    } k_cases[] = {
        {"enable", {}, "set_aaa_newmodel", {}, "no_aaa_newmodel", {}},
        {"server-host",
         {"1", "192.168.1.5"},
         "set_serv_ipaddr",
         server({1, 4, 0, 49}, {192, 168, 1, 5}, ""),
         "no_serv_ipaddr",
         server({1, 4, 0, 0}, {}, "")},
        {"server-host",
         {"4", "10.0.0.1", "port", "65535", "key", longest},
         "set_serv_ipaddr",
         server({4, 4, 0xFF, 0xFF}, {10, 0, 0, 1}, longest),
         "no_serv_ipaddr",
         server({4, 4, 0, 0}, {}, "")},
        {"server-ipv6-host",
         {"2", "2001:db8:0:0:0:0:0:9", "key", "port"},
         "set_serv_ipaddr",
         server({2, 6, 0, 49}, v6, "port"),
         "no_serv_ipaddr",
         server({2, 6, 0, 0}, {}, "")},
        {"server-key", {longest}, "set_serv_key", text_field(longest), "no_serv_key", text_field("")},
        {"authentication line-console", {"server"}, "set_aaa_authen_login", {1}, "no_aaa_authen_login", {1}},
        {"authentication line-telnet",
         {"server-local"},
         "set_aaa_authen_login_local",
         {2},
         "no_aaa_authen_login",
         {2}},
        {"authentication line-ssh", {"local"}, "no_aaa_authen_login", {3}, "no_aaa_authen_login", {3}},
        {"authentication web", {"server"}, "set_aaa_authen_login", {4}, "no_aaa_authen_login", {4}},
        {"authorization exec", {}, "set_aaa_author_exec", {}, "no_aaa_author_exec", {}},
        {"authorization commands", {}, "set_aaa_author_commands", {}, "no_aaa_author_commands", {}},
        {"authorization line-console", {}, "console_enable", {}, "console_disable", {}},
        {"accounting commands", {}, "set_aaa_acct_commands", {}, "no_aaa_acct_commands", {}},
    };
    const tacacs_peer by;
    for (const auto &c : k_cases) {
        const std::string words = "tacacs-plus " + c.words;
        auto set = change(true, words, c.arguments);
        by.serve(c.set, c.payload);
        EXPECT_EQ(service_outcome::done, set.get().outcome);
        const bool keyed = c.undo == "no_serv_ipaddr";
        auto undo = change(false, words, keyed ? strings{c.arguments[0]} : strings{});
        by.serve(c.undo, c.undo_payload);
        EXPECT_EQ(service_outcome::done, undo.get().outcome);
    }
    EXPECT_EQ(service_outcome::not_supported, change(true, "tacacs-plus timeout", {"9"}).get().outcome);
    expect_refused(change(true, "tacacs-plus server-key", {longest + "k"}),
                   "A key has 63 characters at most");
    expect_refused(change(true, "tacacs-plus server-host", {"5", "10.0.0.1"}), "Servers are 1 to 4");
    expect_refused(change(true, "tacacs-plus server-ipv6-host", {"1", "10.0.0.1"}), "This is no address");
    // Restoring what was not there goes without the keys.
    EXPECT_EQ(service_outcome::not_supported, change(false, "tacacs-plus server-host").get().outcome);
}

TEST_F(Tacacs, ADaemonThatDiesInARequestIsSilentAndComesAnew) {
    for (const bool given_up : {false, true}) {
        await_nobody();
        tacacs_peer by;
        const uint32_t before = service_tacacs.comings();
        auto answer = change(true, "tacacs-plus enable");
        EXPECT_FALSE(by.receive().empty());
        if (given_up) {
            answer.wait();
        }
        by.close();
        expect_refused(std::move(answer), k_silent);
        await_nobody();
        const tacacs_peer next;
        EXPECT_NE(before, service_tacacs.comings());
        const auto served = std::async(std::launch::async, [&] { next.serve("set_aaa_author_exec"); });
        EXPECT_TRUE(eventually([] { // the thread of a request that was given up ends by itself
            return change(true, "tacacs-plus authorization exec").get().outcome == service_outcome::done;
        }));
    }
}

TEST_F(Tacacs, WhatIsDoneLateIsTakenBackAndAllIsSentAgain) {
    const tacacs_peer by;
    const uint32_t before = service_tacacs.comings();
    const auto begin = std::chrono::steady_clock::now();
    auto late = change(true, "tacacs-plus server-host", {"3", "10.0.0.1", "key", "secret"});
    expect_refused(std::move(late), k_silent);
    expect_refused(change(true, "tacacs-plus enable"), k_silent); // at once: the daemon has a request
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(took >= std::chrono::milliseconds(1900) && took < std::chrono::milliseconds(3800));

    by.serve("set_serv_ipaddr", server({3, 4, 0, 49}, {10, 0, 0, 1}, "secret"));
    by.serve("no_serv_ipaddr", server({3, 4, 0, 0}, {}, ""));
    EXPECT_TRUE(eventually([&] { return service_tacacs.comings() != before; }));
    EXPECT_EQ(before + 1, service_tacacs.comings()) << "once";
    auto next = change(true, "tacacs-plus server-host", {"1", "10.0.0.2"});
    by.serve("set_serv_ipaddr", server({1, 4, 0, 49}, {10, 0, 0, 2}, ""), 9);
    expect_refused(std::move(next), "The TACACS+ daemon refuses it with status 9");
}

TEST_F(Tacacs, ShowTellsWhatIsToldAndNothingElse) {
    const tacacs_peer by;
    octets state = {2, 1, 2, 1, 2, 1, 3, 2, 1, 9, 0, 0};
    octets servers[] = {{4, 4, 0, 49, 10, 0, 0, 1}, {1, 6, 0xFF, 0xFF, 0xFE, 0x80}, {5, 4}, {2, 7}};
    const uint8_t ends[][2] = {{2, 3}, {1, 1}, {1, 1}, {3, 255}};
    for (size_t i = 0; i < std::size(servers); i++) {
        servers[i].resize(24);
        std::copy_n(ends[i], 2, &servers[i][20]);
        state.insert(state.end(), servers[i].begin(), servers[i].end());
    }
    EXPECT_EQ(
        R"({"enabled":"on","shared_key":"none","login_console":"server-local","login_telnet":"server",)"
        R"("login_ssh":"local","login_web":null,"authorization_exec":"on","authorization_commands":"off",)"
        R"("authorization_console":"on","accounting_commands":"off","servers":[)"
        R"({"number":4,"address":"10.0.0.1","port":49,"key":"own","state":"does not answer"},)"
        R"({"number":1,"address":"fe80::","port":65535,"key":"shared","state":"not asked yet"},)"
        R"({"number":2,"address":null,"port":null,"key":null,"state":null}]})",
        shown(by, 0, state));
    state.assign(60000, 0);
    state[0] = 1;
    EXPECT_TRUE(shown(by, 0, state).starts_with(R"({"enabled":"off","shared_key":null)")) << "too long";
    EXPECT_EQ("The TACACS+ daemon refuses it with status 4", shown(by, 4, {}));
}

TEST_F(Tacacs, ADaemonThatComesAnewBetweenTwoLooksGetsAllSettings) {
    EXPECT_EQ(0, cmds_install());
    cmds_watch_services();
    EXPECT_EQ(0, cli_run_config("tacacs-plus enable\ntacacs-plus timeout 9\ntacacs-plus server-key k\n",
                                [](int32_t line) { ADD_FAILURE() << line; }));
    const auto look = [](const tacacs_peer &by, bool gets) {
        auto looking = std::async(std::launch::async, cmds_watch_services);
        if (gets) {
            by.serve("set_aaa_newmodel");
            by.serve("set_serv_key", text_field("k"));
        }
        looking.get();
    };
    auto first = std::make_unique<tacacs_peer>();
    look(*first, true);
    look(*first, false);
    first.reset();
    await_nobody();
    const tacacs_peer next;
    look(next, true);
}
