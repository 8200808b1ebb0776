#pragma once

#include "lib/dot1x/dot1x_backend.h"

#include <array>

// The machine as data: transitions, debug lines and the diagram in docs/dot1x.md are made from these rows.

/// When a transition is taken, beyond event and state.
enum class dot1x_guard : uint8_t {
    none,
    below_max_req, // reqCount is below the port's maxReq
    at_max_req,    // it is not
};

inline constexpr uint8_t k_dot1x_any_state = 0xFF;

/// One transition: in `state`, when the guard holds, `event` runs the entry action `enter`.
struct dot1x_row {
    dot1x_event event;
    uint8_t state; // a dot1x_state or k_dot1x_any_state
    dot1x_guard guard;
    void (*enter)(int32_t port);
};

inline constexpr dot1x_row k_dot1x_rows[] = {
    {e_initialize, k_dot1x_any_state, dot1x_guard::none, do_backend_SM_initialize},
    {e_rxResp, BM_STATUS_REQUEST, dot1x_guard::none, do_backend_SM_response},
    {e_aSuccess, BM_STATUS_RESPONSE, dot1x_guard::none, do_backend_SM_success},
    {e_aFail, BM_STATUS_RESPONSE, dot1x_guard::none, do_backend_SM_fail},
    {e_aWhile, BM_STATUS_REQUEST, dot1x_guard::below_max_req, do_backend_SM_request},
    {e_aWhile, BM_STATUS_REQUEST, dot1x_guard::at_max_req, do_backend_SM_timeout},
    {e_aWhile, BM_STATUS_RESPONSE, dot1x_guard::none, do_backend_SM_timeout},
    {e_authStart, BM_STATUS_IDLE, dot1x_guard::none, do_backend_SM_response},
    {e_aReq, BM_STATUS_RESPONSE, dot1x_guard::none, do_backend_SM_request},
    {e_authAbort, k_dot1x_any_state, dot1x_guard::none, do_backend_SM_initialize},
};

/// A state: its name after "BM_STATUS_", its entry action, and whether it lasts or falls through to idle.
struct dot1x_state_row {
    const char *name;
    void (*enter)(int32_t port);
    bool stable;
};

/// Indexed by dot1x_state.
inline constexpr std::array k_dot1x_states = {
    dot1x_state_row{"REQUEST", do_backend_SM_request, true},
    dot1x_state_row{"RESPONSE", do_backend_SM_response, true},
    dot1x_state_row{"IDLE", do_backend_SM_idle, true},
    dot1x_state_row{"FAIL", do_backend_SM_fail, false},
    dot1x_state_row{"SUCCESS", do_backend_SM_success, false},
    dot1x_state_row{"TIMEOUT", do_backend_SM_timeout, false},
    dot1x_state_row{"INITIALIZE", do_backend_SM_initialize, false},
};
static_assert(k_dot1x_states.size() == BM_STATUS_INITIALIZE + 1);

struct dot1x_event_row {
    dot1x_event event;
    const char *name;
};

inline constexpr dot1x_event_row k_dot1x_events[] = {
    {e_initialize, "e_initialize"},
    {e_rxResp, "e_rxResp"},
    {e_aSuccess, "e_aSuccess"},
    {e_aFail, "e_aFail"},
    {e_aWhile, "e_aWhile"},
    {e_authStart, "e_authStart"},
    {e_aReq, "e_aReq"},
    {e_authAbort, "e_authAbort"},
};

/// The name of an event, or null for a number that is none.
constexpr const char *dot1x_event_name(int32_t event) {
    for (const dot1x_event_row &row : k_dot1x_events) {
        if (row.event == event) {
            return row.name;
        }
    }
    return nullptr;
}

/// The state that an entry action of the table enters.
constexpr dot1x_state dot1x_state_entered(void (*enter)(int32_t port)) {
    uint8_t state = 0;
    while (k_dot1x_states[state].enter != enter) {
        state++;
    }
    return static_cast<dot1x_state>(state);
}
static_assert(dot1x_state_entered(do_backend_SM_initialize) == BM_STATUS_INITIALIZE);
