#pragma once

#include <cstdint>

// The backend authentication state machine of the 802.1X authenticator (IEEE 802.1X-2004, 8.2.9), one per
// port: it relays EAP between the supplicant and the authentication server. The rest of the authenticator
// drives it by events and is called back through one table of hooks. It runs on the authenticator's one
// thread and takes no locks.

/// States, as kept in `bm_status`. Only the first three last beyond a call; the others fall through to idle.
enum dot1x_state : uint8_t {
    BM_STATUS_REQUEST = 0,    // an EAP request is with the supplicant
    BM_STATUS_RESPONSE = 1,   // a response is with the authentication server
    BM_STATUS_IDLE = 2,       // nothing is under way
    BM_STATUS_FAIL = 3,       // the server rejected
    BM_STATUS_SUCCESS = 4,    // the server accepted
    BM_STATUS_TIMEOUT = 5,    // one of the two did not answer
    BM_STATUS_INITIALIZE = 6, // reset or abort; also what a port holds before its first event
};

/// Events. The numbers are shared with the authenticator's other state machines, hence the gap.
enum dot1x_event : int32_t {
    e_initialize = 0,
    e_rxResp = 17,    // the supplicant answered
    e_aSuccess = 18,  // the server accepted
    e_aFail = 19,     // the server rejected
    e_aWhile = 20,    // the wait timer of the present state ran out
    e_authStart = 21, // the authenticator state machine wants an authentication
    e_aReq = 22,      // the server sent a further request
    e_authAbort = 23,
};

/// Events for the port's authenticator state machine.
enum dot1x_notification : int32_t {
    k_dot1x_notify_timeout = 4,
    k_dot1x_notify_success = 8,
    k_dot1x_notify_fail = 9,
    k_dot1x_notify_abort = 23,
};

/// What a port's machine works on. A fresh one is a port before its first event. Its users write
/// `idFromServer`, `suppTimeout`, `portStatus` and the flags that announce an event, and count the two wait
/// timers down. `authSuccess` and `authFail` are only ever set here: the authenticator state machine clears
/// them, with `authTimeout`, when it begins an authentication (8.2.4).
struct dot1x_port {
    uint8_t bm_status = BM_STATUS_INITIALIZE; // a dot1x_state
    uint8_t idFromServer = 0;                 // identifier of the server's last message
    uint16_t currentId = 0;                   // identifier of the EAP exchange in progress
    uint16_t reqCount = 0;                    // EAP requests sent since the last response, 0..255
    uint8_t authStart = 0;                    // flags: 0 or 1
    uint8_t authAbort = 0;
    uint8_t authTimeout = 0;
    uint8_t authSuccess = 0;
    uint8_t authFail = 0;
    uint8_t rxResp = 0;
    uint8_t aSuccess = 0;
    uint8_t aFail = 0;
    uint8_t aReq = 0;
    uint16_t portStatus = 0;   // 0: unauthorised
    uint16_t suppTimeout = 30; // seconds to wait for the supplicant; the standard's default
    uint16_t suppWhile = 0;    // wait timer for the supplicant, seconds left
    uint16_t serverWhile = 0;  // wait timer for the server, seconds left

    bool operator==(const dot1x_port &) const = default;
};

/// The settings of a port that the machine reads.
struct dot1x_settings {
    uint16_t maxReq;        // EAP requests to a silent supplicant before it times out
    uint16_t serverTimeout; // seconds to wait for the authentication server
};

/// What the rest of the authenticator supplies. Every member must be set. `port` is always one of the switch.
/// A send hook must not run a transition of its port, not even when the answer is there at once: the entry
/// action that calls it has more to do, and would do it in the wrong state. It notes the event, which is
/// given when backend_SM_transition has returned.
struct dot1x_hooks {
    void (*send_request)(int32_t port);             // the EAP request held for the port, to the supplicant
    void (*send_response)(int32_t port);            // the supplicant's response, to the server
    void (*send_success)(int32_t port, uint8_t id); // an EAP-Success with this identifier
    void (*send_failure)(int32_t port, uint8_t id); // an EAP-Failure with this identifier
    void (*notify)(int32_t port, int32_t event);    // a dot1x_notification
    dot1x_settings (*settings)(int32_t port);       // the port's settings of this moment
    bool (*debug)();                                // whether debug lines are printed
};

/// Sets the hooks; once, before the first event. The table stays the caller's and must live as long as the
/// machines are used. Aborts on a table with a member missing.
void dot1x_set_hooks(const dot1x_hooks *hooks);

/// The record of `port`, one of the switch (1 to k_switch_ports), or null for any other number. It lives for
/// ever.
dot1x_port *dot1x_get_port(int32_t port);

/// Runs one transition. An event that is unknown or does not fit the port's state changes nothing, nor does
/// any event for a port that there is not. Aborts when no hooks are set.
///
/// Success, fail, timeout and initialize notify the authenticator state machine before they enter idle. A
/// hook may run a transition of the same port from within that notification, but the idle that follows
/// overwrites its state: what it sent stays sent, the port ends in idle with `authStart` and `reqCount` 0.
///
/// With the debug switch on, a call prints one line with the event and whether it was accepted, and each
/// entry action one with its name, to standard output.
void backend_SM_transition(int32_t port, int32_t event);

// The entry actions. Each sets `bm_status` and does what its state does; a port that there is not is ignored.

/// Takes over the server's identifier, sends the EAP request, loads `suppWhile`. `reqCount` goes up by one
/// and wraps at 256.
void do_backend_SM_request(int32_t port);

/// Clears the flags of the exchange so far and `reqCount`, loads `serverWhile`, relays the response.
void do_backend_SM_response(int32_t port);

/// Sends an EAP-Success with the server's identifier, sets `authSuccess`, notifies, enters idle.
void do_backend_SM_success(int32_t port);

/// Sends an EAP-Failure with the server's identifier, sets `authFail`, notifies, enters idle.
void do_backend_SM_fail(int32_t port);

/// Sends an EAP-Failure unless the port is authorised, sets `authTimeout`, notifies, enters idle.
void do_backend_SM_timeout(int32_t port);

/// Clears `authAbort`, notifies, enters idle.
void do_backend_SM_initialize(int32_t port);

/// Clears `authStart` and `reqCount`.
void do_backend_SM_idle(int32_t port);
