#include "modbus/mbevent.h"

#include "modbus/porttcp.h"

namespace {

// One slot: a new post overwrites an event that was not taken yet.
bool s_pending = false;
mb_event s_event = k_mb_event_ready;

} // namespace

bool mb_event_init() {
    s_pending = false;
    return true;
}

bool mb_event_post(mb_event event) {
    s_event = event;
    s_pending = true;
    return true;
}

bool mb_event_get(mb_event *event) {
    if (s_pending) {
        *event = s_event;
        s_pending = false;
        return true;
    }
    // A request that came in has posted its event: the next call takes it.
    tcp_port_poll();
    return false;
}
