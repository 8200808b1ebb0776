#include "apps/dot1x_sim/script.h"

#include "lib/dot1x/dot1x_table.h"

#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr script k_scripts[] = {
    {"accept", "the server asks once, then accepts", "r", "qa", 1},
    {"reject", "the server asks once, then rejects", "r", "qf", 1},
    {"silent-supplicant", "the supplicant answers no request: sent twice, then a timeout", "--", "q", 1},
    {"late-supplicant", "the supplicant answers the repeated request", "-r", "qa", 1},
    {"silent-server", "the server does not answer", "", "-", 1},
    {"abort", "the supplicant logs off in the middle", "x", "q", 1},
    {"reauth", "accepted, then authenticated again", "rr", "qaqa", 2},
    {"reauth-timeout", "accepted, then the server falls silent: no EAP-Failure to an authorised port", "r",
     "qa-", 2},
};

constexpr int32_t k_port = 1;
constexpr int32_t k_no_event = -1;
constexpr dot1x_settings k_settings = {.maxReq = 2, .serverTimeout = 30};
constexpr uint32_t k_reauthentication_period = 3600;
constexpr std::string_view k_more = " ...";

uint32_t s_now = 0;                // simulated seconds
int32_t s_next_event = k_no_event; // what the supplicant or the server answered
const char *s_supplicant = "";     // the letters not played yet
const char *s_server = "";
bool s_debug = false;
char s_states[1024] = ""; // the states so far, for the last line; k_more after those that fit

const char *state_name() { return k_dot1x_states[dot1x_get_port(k_port)->bm_status].name; }

void note_state() {
    const std::string_view noted = s_states;
    if (noted.ends_with(k_more)) {
        return;
    }
    const char *const name = state_name();
    const bool fits = noted.size() + 1 + std::strlen(name) + k_more.size() < sizeof s_states;
    std::snprintf(s_states + noted.size(), sizeof s_states - noted.size(), "%s%s", fits ? " " : k_more.data(),
                  fits ? name : "");
}

void print_action(const char *text, unsigned value) {
    std::printf("       %-10s  %s %u\n", state_name(), text, value);
}

char next_letter(const char *&letters) { return *letters == '\0' ? '-' : *letters++; }

void supplicant_gets_request(int32_t port) {
    dot1x_port *const record = dot1x_get_port(port);
    note_state();
    print_action("EAP request to the supplicant, identifier", record->currentId);
    switch (next_letter(s_supplicant)) {
    case 'r':
        record->rxResp = 1;
        s_next_event = e_rxResp;
        break;
    case 'x':
        record->authAbort = 1;
        s_next_event = e_authAbort;
        break;
    default:
        break;
    }
}

void server_gets_response(int32_t port) {
    dot1x_port *const record = dot1x_get_port(port);
    note_state();
    print_action("response to the server, to be answered within seconds", record->serverWhile);
    const char letter = next_letter(s_server);
    if (letter == '-') {
        return;
    }
    record->idFromServer++;
    record->aReq = letter == 'q' ? 1 : 0;
    record->aSuccess = letter == 'a' ? 1 : 0;
    record->aFail = letter == 'f' ? 1 : 0;
    s_next_event = letter == 'q' ? e_aReq : letter == 'a' ? e_aSuccess : e_aFail;
}

void send_success(int32_t /*port*/, uint8_t id) {
    print_action("EAP-Success to the supplicant, identifier", id);
}

void send_failure(int32_t /*port*/, uint8_t id) {
    print_action("EAP-Failure to the supplicant, identifier", id);
}

void notify(int32_t port, int32_t event) {
    note_state();
    print_action("authenticator notified of event", static_cast<unsigned>(event));
    // All of the authenticator state machine that a script needs: who passed is let in, anything else shuts.
    dot1x_get_port(port)->portStatus = event == k_dot1x_notify_success ? 1 : 0;
}

dot1x_settings settings(int32_t /*port*/) { return k_settings; }

bool debug() { return s_debug; }

constexpr dot1x_hooks k_hooks = {
    .send_request = supplicant_gets_request,
    .send_response = server_gets_response,
    .send_success = send_success,
    .send_failure = send_failure,
    .notify = notify,
    .settings = settings,
    .debug = debug,
};

void give_event(int32_t event) {
    std::printf("%4u s %-10s  %s\n", s_now, state_name(), dot1x_event_name(event));
    backend_SM_transition(k_port, event);
    if (dot1x_get_port(k_port)->bm_status == BM_STATUS_IDLE) {
        note_state();
    }
}

/// One authentication. It ends, as maxReq and the letters bound it: every event takes a letter or, once they
/// are used up, is a time-out.
void play_round() {
    dot1x_port *const record = dot1x_get_port(k_port);
    record->authSuccess = record->authFail = record->authTimeout = 0;
    record->authStart = 1;
    give_event(e_authStart);
    while (record->bm_status != BM_STATUS_IDLE) {
        int32_t event = s_next_event;
        s_next_event = k_no_event;
        if (event == k_no_event) {
            s_now += record->bm_status == BM_STATUS_REQUEST ? record->suppWhile : record->serverWhile;
            event = e_aWhile;
        }
        give_event(event);
    }
}

} // namespace

std::span<const script> built_in_scripts() { return k_scripts; }

char script_bad_letter(const script &played) {
    const char *const supplicant = played.supplicant + std::strspn(played.supplicant, "rx-");
    return *supplicant != '\0' ? *supplicant : played.server[std::strspn(played.server, "qaf-")];
}

void play_script(const script &played, bool debug_lines) {
    s_now = 0;
    s_next_event = k_no_event;
    s_supplicant = played.supplicant;
    s_server = played.server;
    s_debug = debug_lines;
    s_states[0] = '\0';
    dot1x_set_hooks(&k_hooks);
    *dot1x_get_port(k_port) = {};
    std::printf("%s: %s\n", played.name, played.about);
    give_event(e_initialize);
    for (int round = 0; round < played.rounds; round++) {
        s_now += round == 0 ? 0 : k_reauthentication_period;
        play_round();
    }
    std::printf("  states:%s\n", s_states);
}
