#include "lib/dot1x/dot1x_backend.h"

#include "lib/base/invariant.h"
#include "lib/base/switch_ports.h"
#include "lib/dot1x/dot1x_table.h"

#include <cstdio>

namespace {

constexpr uint16_t k_count_wrap = 256; // reqCount is wider, but 255 is the last value it takes

dot1x_port s_ports[k_switch_ports]{}; // port 1 first
const dot1x_hooks *s_hooks = nullptr; // null: not set yet

/// What every entry action does first: its debug line, the new state. Null for a port that there is not.
dot1x_port *enter(int32_t port, dot1x_state state, const char *function, int32_t line) {
    dot1x_port *const record = dot1x_get_port(port);
    if (record == nullptr) {
        return nullptr;
    }
    INVARIANT(s_hooks != nullptr);
    if (s_hooks->debug()) {
        std::printf("%s,%d: port=%d\n", function, line, port);
    }
    record->bm_status = state;
    return record;
}

bool holds(dot1x_guard guard, int32_t port, const dot1x_port &record) {
    if (guard == dot1x_guard::none) {
        return true;
    }
    const bool below = record.reqCount < s_hooks->settings(port).maxReq;
    return below == (guard == dot1x_guard::below_max_req);
}

const dot1x_row *find_row(int32_t port, int32_t event, const dot1x_port &record) {
    for (const dot1x_row &row : k_dot1x_rows) {
        if (row.event == event && (row.state == k_dot1x_any_state || row.state == record.bm_status) &&
            holds(row.guard, port, record)) {
            return &row;
        }
    }
    return nullptr;
}

/// The debug line of one call: `function` and `line` say where it was made.
void print_event(const char *function, int32_t line, int32_t port, int32_t event, const dot1x_row *accepted) {
    const char *const name = dot1x_event_name(event);
    if (name == nullptr) {
        std::printf("%s,%d: eventId=%d, port=%d\n", function, line, event, port);
    } else if (accepted == nullptr) {
        std::printf("%s,%d: %s,bm_status=%d, port=%d\n", function, line, name,
                    dot1x_get_port(port)->bm_status, port);
    } else if (accepted->state == k_dot1x_any_state) {
        std::printf("%s,%d: %s, port=%d\n", function, line, name, port);
    } else {
        std::printf("%s,%d: %s & BM_STATUS_%s, port=%d\n", function, line, name,
                    k_dot1x_states[accepted->state].name, port);
    }
}

} // namespace

void dot1x_set_hooks(const dot1x_hooks *hooks) {
    INVARIANT(hooks != nullptr && hooks->send_request != nullptr && hooks->send_response != nullptr &&
              hooks->send_success != nullptr && hooks->send_failure != nullptr && hooks->notify != nullptr &&
              hooks->settings != nullptr && hooks->debug != nullptr);
    s_hooks = hooks;
}

dot1x_port *dot1x_get_port(int32_t port) {
    return port >= 1 && port <= k_switch_ports ? &s_ports[port - 1] : nullptr;
}

void backend_SM_transition(int32_t port, int32_t event) {
    const dot1x_port *const record = dot1x_get_port(port);
    if (record == nullptr) {
        return;
    }
    INVARIANT(s_hooks != nullptr);
    const dot1x_row *const row = find_row(port, event, *record);
    if (s_hooks->debug()) {
        print_event(__func__, __LINE__, port, event, row);
    }
    if (row != nullptr) {
        row->enter(port);
    }
}

void do_backend_SM_request(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_REQUEST, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    record->currentId = record->idFromServer;
    s_hooks->send_request(port);
    record->suppWhile = record->suppTimeout;
    record->reqCount++;
    if (record->reqCount == k_count_wrap) {
        record->reqCount = 0;
    }
}

void do_backend_SM_response(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_RESPONSE, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    record->authTimeout = 0;
    record->rxResp = 0;
    record->aSuccess = 0;
    record->aFail = 0;
    record->aReq = 0;
    record->serverWhile = s_hooks->settings(port).serverTimeout;
    record->reqCount = 0;
    s_hooks->send_response(port);
}

void do_backend_SM_success(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_SUCCESS, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    record->currentId = record->idFromServer;
    s_hooks->send_success(port, static_cast<uint8_t>(record->currentId));
    record->authSuccess = 1;
    s_hooks->notify(port, k_dot1x_notify_success);
    do_backend_SM_idle(port);
}

void do_backend_SM_fail(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_FAIL, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    record->currentId = record->idFromServer;
    s_hooks->send_failure(port, static_cast<uint8_t>(record->currentId));
    record->authFail = 1;
    s_hooks->notify(port, k_dot1x_notify_fail);
    do_backend_SM_idle(port);
}

void do_backend_SM_timeout(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_TIMEOUT, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    // An authorised port stays so until the authenticator state machine says otherwise: no failure is sent.
    if (record->portStatus == 0) {
        s_hooks->send_failure(port, static_cast<uint8_t>(record->currentId));
    }
    record->authTimeout = 1;
    s_hooks->notify(port, k_dot1x_notify_timeout);
    do_backend_SM_idle(port);
}

void do_backend_SM_initialize(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_INITIALIZE, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    record->authAbort = 0;
    s_hooks->notify(port, k_dot1x_notify_abort);
    do_backend_SM_idle(port);
}

void do_backend_SM_idle(int32_t port) {
    dot1x_port *const record = enter(port, BM_STATUS_IDLE, __func__, __LINE__);
    if (record == nullptr) {
        return;
    }
    record->authStart = 0;
    record->reqCount = 0;
}
