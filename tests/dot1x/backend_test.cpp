// Every event in every state, by the calls it makes and the record it leaves.

#include "lib/dot1x/dot1x_backend.h"

#include "lib/base/switch_ports.h"

#include <algorithm>
#include <array>
#include <gmock/gmock.h>
#include <limits>
#include <utility>
#include <vector>

namespace {

/// A call to the rest of the authenticator, with the port's record as it was at that moment.
struct call {
    std::string what;
    int32_t port, value;
    dot1x_port record;
    bool operator==(const call &) const = default;
};

std::vector<call> s_calls;
std::array<dot1x_settings, k_switch_ports + 1> s_settings;
bool s_debug = false;
std::vector<int32_t> s_from_notification; // events given from within the next notification

void on_call(const char *what, int32_t port, int32_t value = 0) {
    s_calls.push_back({what, port, value, *dot1x_get_port(port)});
}

void on_notify(int32_t port, int32_t event) {
    on_call("notify", port, event);
    for (const int32_t inner : std::exchange(s_from_notification, {})) {
        backend_SM_transition(port, inner);
    }
}

constexpr dot1x_hooks k_hooks = {
    .send_request = [](int32_t port) { on_call("request", port); },
    .send_response = [](int32_t port) { on_call("response", port); },
    .send_success = [](int32_t port, uint8_t id) { on_call("success", port, id); },
    .send_failure = [](int32_t port, uint8_t id) { on_call("failure", port, id); },
    .notify = on_notify,
    .settings = [](int32_t port) { return s_settings[static_cast<size_t>(port)]; },
    .debug = [] { return s_debug; },
};

// The rules, pair by pair; every pair that is not here is refused.
enum class when { always, below, not_below };
struct rule {
    int32_t state, event;
    when condition;
    int32_t entered;
};
constexpr rule k_rules[] = {
    {0, 0, when::always, 6},  {1, 0, when::always, 6},  {2, 0, when::always, 6},     {3, 0, when::always, 6},
    {4, 0, when::always, 6},  {5, 0, when::always, 6},  {6, 0, when::always, 6},     {0, 23, when::always, 6},
    {1, 23, when::always, 6}, {2, 23, when::always, 6}, {3, 23, when::always, 6},    {4, 23, when::always, 6},
    {5, 23, when::always, 6}, {6, 23, when::always, 6}, {0, 17, when::always, 1},    {1, 18, when::always, 4},
    {1, 19, when::always, 3}, {0, 20, when::below, 0},  {0, 20, when::not_below, 5}, {1, 20, when::always, 5},
    {2, 21, when::always, 1}, {1, 22, when::always, 0},
};

/// What the machine does to `p`, and the calls it makes, by the rules above.
std::vector<call> model(int32_t port, dot1x_port &p, int32_t event, dot1x_settings settings) {
    std::vector<call> calls;
    const auto say = [&](const char *what, int32_t value = 0) { calls.push_back({what, port, value, p}); };
    const when now = p.reqCount < settings.maxReq ? when::below : when::not_below;
    const auto *found = std::find_if(std::begin(k_rules), std::end(k_rules), [&](const rule &r) {
        return r.state == p.bm_status && r.event == event &&
               (r.condition == when::always || r.condition == now);
    });
    if (found == std::end(k_rules)) {
        return calls;
    }
    p.bm_status = static_cast<uint8_t>(found->entered);
    switch (found->entered) {
    case 0:
        p.currentId = p.idFromServer;
        say("request");
        p.suppWhile = p.suppTimeout;
        p.reqCount = p.reqCount == 255 ? 0 : static_cast<uint16_t>(p.reqCount + 1);
        return calls;
    case 1:
        p.authTimeout = p.rxResp = p.aSuccess = p.aFail = p.aReq = 0;
        p.serverWhile = settings.serverTimeout;
        p.reqCount = 0;
        say("response");
        return calls;
    case 3:
    case 4:
        p.currentId = p.idFromServer;
        say(found->entered == 4 ? "success" : "failure", p.currentId & 0xFF);
        (found->entered == 4 ? p.authSuccess : p.authFail) = 1;
        say("notify", found->entered == 4 ? 8 : 9);
        break;
    case 5:
        if (p.portStatus == 0) {
            say("failure", p.currentId & 0xFF);
        }
        p.authTimeout = 1;
        say("notify", 4);
        break;
    default:
        p.authAbort = 0;
        say("notify", 23);
    }
    p.bm_status = 2;
    p.authStart = 0;
    p.reqCount = 0;
    return calls;
}

static_assert([] {
    dot1x_port fresh;
    return fresh == dot1x_port{};
}());

class Backend : public testing::Test {
protected:
    void SetUp() override {
        dot1x_set_hooks(&k_hooks);
        s_settings.fill({.maxReq = 2, .serverTimeout = 30});
    }

    static dot1x_port &start(int32_t port, uint8_t state, uint16_t count, uint16_t authorised) {
        s_calls.clear();
        return *dot1x_get_port(port) = {state, 0x56, 0x1234, count, 1,          1,  0, 0, 0,
                                        1,     1,    1,      1,     authorised, 45, 7, 8};
    }
};

TEST_F(Backend, EveryPairOfStateAndEventFollowsTheRules) {
    s_settings[k_switch_ports] = {.maxReq = 3, .serverTimeout = 60};
    for (const uint16_t count : std::array<uint16_t, 5>{0, 1, 2, 3, 255}) {
        for (uint16_t authorised = 0; authorised <= 1; authorised++) {
            for (uint8_t state = BM_STATUS_REQUEST; state <= BM_STATUS_INITIALIZE; state++) {
                for (int32_t event = -1; event <= 24; event++) {
                    const int32_t port = event % 2 == 0 ? 1 : k_switch_ports;
                    const dot1x_port &other = *dot1x_get_port(k_switch_ports + 1 - port);
                    const dot1x_port other_before = other;
                    const dot1x_port &p = start(port, state, count, authorised);
                    dot1x_port expected = p;
                    const std::vector<call> calls =
                        model(port, expected, event, s_settings[static_cast<size_t>(port)]);
                    backend_SM_transition(port, event);
                    ASSERT_TRUE(expected == p && calls == s_calls && other_before == other)
                        << "state " << int{state} << " event " << event << " count " << count
                        << " authorised " << authorised;
                }
            }
        }
    }
}

TEST_F(Backend, TransitionFromWithinANotificationIsOverwrittenByIdle) {
    for (const int32_t outer : {e_aSuccess, e_aFail, e_aWhile, e_authAbort}) {
        const dot1x_port &p = start(1, BM_STATUS_RESPONSE, 0, 0);
        s_from_notification = {e_authAbort, e_authStart, e_aReq};
        backend_SM_transition(1, outer);
        EXPECT_EQ("request", s_calls.back().what) << "the inner transitions ran";
        EXPECT_EQ(BM_STATUS_IDLE, p.bm_status);
        EXPECT_EQ(0, p.reqCount);
    }
}

TEST_F(Backend, PortOutsideTheTableIsIgnored) {
    s_calls.clear();
    using limits = std::numeric_limits<int32_t>;
    for (const int32_t port : {0, 13, -1, limits::max(), limits::min()}) {
        EXPECT_EQ(nullptr, dot1x_get_port(port));
        backend_SM_transition(port, e_initialize);
        do_backend_SM_request(port);
    }
    EXPECT_TRUE(s_calls.empty());
}

TEST_F(Backend, DebugLinesNameEventStateAndEntryAction) {
    const struct {
        uint8_t state;
        int32_t event;
        const char *accepted; // between the line number and ", port=3"
        std::vector<const char *> entered;
    } k_cases[] = {
        {2, 0, " e_initialize", {"initialize", "idle"}},
        {0, 17, " e_rxResp & BM_STATUS_REQUEST", {"response"}},
        {2, 17, " e_rxResp,bm_status=2", {}},
        {1, 18, " e_aSuccess & BM_STATUS_RESPONSE", {"success", "idle"}},
        {0, 18, " e_aSuccess,bm_status=0", {}},
        {1, 19, " e_aFail & BM_STATUS_RESPONSE", {"fail", "idle"}},
        {0, 20, " e_aWhile & BM_STATUS_REQUEST", {"request"}},
        {1, 20, " e_aWhile & BM_STATUS_RESPONSE", {"timeout", "idle"}},
        {2, 20, " e_aWhile,bm_status=2", {}},
        {2, 21, " e_authStart & BM_STATUS_IDLE", {"response"}},
        {1, 22, " e_aReq & BM_STATUS_RESPONSE", {"request"}},
        {1, 23, " e_authAbort", {"initialize", "idle"}},
        {1, 24, " eventId=24", {}},
    };
    for (const auto &c : k_cases) {
        std::string expected = std::string("backend_SM_transition,[0-9]+:") + c.accepted + ", port=3\n";
        for (const char *entered : c.entered) {
            expected += std::string("do_backend_SM_") + entered + ",[0-9]+: port=3\n";
        }
        start(3, c.state, 0, 0);
        testing::internal::CaptureStdout();
        s_debug = true;
        backend_SM_transition(3, c.event);
        s_debug = false;
        backend_SM_transition(3, c.event);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::MatchesRegex(expected));
    }
}

} // namespace
