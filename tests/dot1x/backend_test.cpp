// Every event in every state, by the calls it makes and what it changes.

#include "lib/dot1x/dot1x_backend.h"

#include "lib/base/switch_ports.h"

#include <array>
#include <gmock/gmock.h>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int32_t k_port = k_switch_ports;
constexpr dot1x_port k_start = {0, 0x56, 0x1234, 1, 1, 1, 0, 0, 0, 1, 1, 1, 1, 0, 45, 7, 8};

dot1x_settings s_settings;
bool s_debug = false;
std::string s_done; // calls to the rest of the authenticator, each with the changes so far
std::vector<int32_t> s_from_notification; // events given from within the next notification

/// The state, and the other members that are not as k_start has them.
std::string changes() {
    const dot1x_port &p = *dot1x_get_port(k_port);
    const auto members = [](const dot1x_port &of) {
        return std::array<std::pair<const char *, int>, 16>{{{"server", of.idFromServer},
                                                             {"id", of.currentId},
                                                             {"count", of.reqCount},
                                                             {"start", of.authStart},
                                                             {"abort", of.authAbort},
                                                             {"timeout", of.authTimeout},
                                                             {"success", of.authSuccess},
                                                             {"fail", of.authFail},
                                                             {"rxResp", of.rxResp},
                                                             {"aSuccess", of.aSuccess},
                                                             {"aFail", of.aFail},
                                                             {"aReq", of.aReq},
                                                             {"port", of.portStatus},
                                                             {"suppTimeout", of.suppTimeout},
                                                             {"supp", of.suppWhile},
                                                             {"serverWhile", of.serverWhile}}};
    };
    std::string text = " in " + std::to_string(p.bm_status);
    const auto before = members(k_start);
    const auto now = members(p);
    for (size_t i = 0; i < now.size(); i++) {
        text +=
            now[i] == before[i] ? "" : std::string(" ") + now[i].first + "=" + std::to_string(now[i].second);
    }
    return text;
}

void on_call(const char *what, int32_t port, int32_t value = 0) {
    EXPECT_EQ(k_port, port);
    s_done += std::string(what) + (value != 0 ? " " + std::to_string(value) : "") + changes() + "; ";
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
    .send_success = [](int32_t port, uint8_t id) { on_call("EAP-Success", port, id); },
    .send_failure = [](int32_t port, uint8_t id) { on_call("EAP-Failure", port, id); },
    .notify = on_notify,
    .settings = [](int32_t /*port*/) { return s_settings; },
    .debug = [] { return s_debug; },
};

/// What an event does in a state: the calls, then the changes it leaves.
std::string done_by(int32_t event, uint8_t state, uint16_t count = 1, uint16_t authorised = 0) {
    dot1x_port &p = *dot1x_get_port(k_port);
    p = k_start;
    p.bm_status = state;
    p.reqCount = count;
    p.portStatus = authorised;
    s_done.clear();
    backend_SM_transition(k_port, event);
    return s_done + changes();
}

constexpr const char *k_initialized = "notify 23 in 6 abort=0;  in 2 count=0 start=0 abort=0";
constexpr const char *k_requested = "request in 0 id=86;  in 0 id=86 count=2 supp=45";
constexpr const char *k_responded =
    "response in 1 count=0 rxResp=0 aSuccess=0 aFail=0 aReq=0 serverWhile=30; "
    " in 1 count=0 rxResp=0 aSuccess=0 aFail=0 aReq=0 serverWhile=30";
constexpr const char *k_accepted = "EAP-Success 86 in 4 id=86; notify 8 in 4 id=86 success=1; "
                                   " in 2 id=86 count=0 start=0 success=1";
constexpr const char *k_rejected = "EAP-Failure 86 in 3 id=86; notify 9 in 3 id=86 fail=1; "
                                   " in 2 id=86 count=0 start=0 fail=1";
constexpr const char *k_timed_out =
    "EAP-Failure 52 in 5; notify 4 in 5 timeout=1;  in 2 count=0 start=0 timeout=1";

class Backend : public testing::Test {
protected:
    void SetUp() override {
        dot1x_set_hooks(&k_hooks);
        s_settings = {.maxReq = 2, .serverTimeout = 30};
    }
};

TEST_F(Backend, EventsAreTakenInTheirStatesOnly) {
    const std::map<std::pair<int, int>, const char *> taken = {
        // state, event
        {{0, 17}, k_responded}, {{0, 20}, k_requested}, {{1, 18}, k_accepted}, {{1, 19}, k_rejected},
        {{1, 20}, k_timed_out}, {{1, 22}, k_requested}, {{2, 21}, k_responded}};
    for (uint8_t state = BM_STATUS_REQUEST; state <= BM_STATUS_INITIALIZE; state++) {
        for (int32_t event = -1; event <= 24; event++) {
            const auto row = taken.find({state, event});
            const std::string refused = " in " + std::to_string(state);
            EXPECT_EQ(event == 0 || event == 23 ? k_initialized
                      : row != taken.end()      ? row->second
                                                : refused,
                      done_by(event, state))
                << "event " << event << " in " << int{state};
        }
    }
}

TEST_F(Backend, RequestsAreRepeatedUpToTheirNumberAndCountedTo255) {
    EXPECT_EQ("EAP-Failure 52 in 5 count=2; notify 4 in 5 count=2 timeout=1;  in 2 count=0 start=0 timeout=1",
              done_by(e_aWhile, BM_STATUS_REQUEST, 2));
    EXPECT_EQ("notify 4 in 5 count=3 timeout=1 port=1;  in 2 count=0 start=0 timeout=1 port=1",
              done_by(e_aWhile, BM_STATUS_REQUEST, 3, 1))
        << "no failure to a port that is authorised";
    s_settings.maxReq = 300;
    EXPECT_EQ("request in 0 id=86 count=255;  in 0 id=86 count=0 supp=45",
              done_by(e_aWhile, BM_STATUS_REQUEST, 255));
    *dot1x_get_port(k_port) = k_start;
    dot1x_get_port(k_port)->authTimeout = 1;
    backend_SM_transition(k_port, e_rxResp);
    EXPECT_EQ(0, dot1x_get_port(k_port)->authTimeout) << "of the exchange before";
}

TEST_F(Backend, TransitionFromWithinANotificationIsOverwrittenByIdle) {
    for (const int32_t outer : {e_aSuccess, e_aFail, e_aWhile, e_authAbort}) {
        s_from_notification = {e_authAbort, e_authStart, e_aReq};
        const std::string done = done_by(outer, BM_STATUS_RESPONSE);
        EXPECT_THAT(done, testing::HasSubstr("request in 0")) << "the inner transitions ran";
        EXPECT_THAT(done, testing::HasSubstr(";  in 2 id=86 count=0 "));
    }
}

TEST_F(Backend, PortsAreApart) {
    dot1x_port &other = *dot1x_get_port(1);
    const dot1x_port before = other;
    done_by(e_initialize, BM_STATUS_REQUEST);
    EXPECT_TRUE(before == other);
    s_done.clear();
    using limits = std::numeric_limits<int32_t>;
    for (const int32_t port : {0, 13, -1, limits::max(), limits::min()}) {
        EXPECT_EQ(nullptr, dot1x_get_port(port));
        backend_SM_transition(port, e_initialize);
        do_backend_SM_request(port);
    }
    EXPECT_EQ("", s_done);
}

TEST_F(Backend, DebugLinesNameEventStateAndEntryAction) {
    const struct {
        uint8_t state;
        int32_t event;
        const char *accepted; // between the line number and the port
        std::vector<const char *> entered;
    } k_cases[] = {
        {2, 0, " e_initialize", {"initialize", "idle"}},
        {1, 18, " e_aSuccess & BM_STATUS_RESPONSE", {"success", "idle"}},
        {0, 18, " e_aSuccess,bm_status=0", {}},
        {2, 21, " e_authStart & BM_STATUS_IDLE", {"response"}},
        {1, 24, " eventId=24", {}},
    };
    for (const auto &c : k_cases) {
        std::string expected = std::string("backend_SM_transition,[0-9]+:") + c.accepted + ", port=12\n";
        for (const char *entered : c.entered) {
            expected += std::string("do_backend_SM_") + entered + ",[0-9]+: port=12\n";
        }
        testing::internal::CaptureStdout();
        s_debug = true;
        done_by(c.event, c.state);
        s_debug = false;
        done_by(c.event, c.state);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::MatchesRegex(expected));
    }
}

} // namespace
