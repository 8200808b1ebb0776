#pragma once

#include <cstdint>

// The stack's event queue, of one slot.

/// What the transport tells the core. The queue holds one event.
enum mb_event : int32_t {
    k_mb_event_ready = 0,
    k_mb_event_frame_received = 1,
    k_mb_event_execute = 2,
    k_mb_event_frame_sent = 3,
};

/// Empties the event queue. Returns true.
bool mb_event_init();

/// Stores an event over any that was not taken yet. Returns true.
bool mb_event_post(mb_event event);

/// Takes the pending event and returns true; without one, waits in tcp_port_poll and returns false.
[[nodiscard]] bool mb_event_get(mb_event *event);
