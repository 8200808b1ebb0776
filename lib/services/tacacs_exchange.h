#pragma once

#include "lib/services/tacacs_wire.h"

#include <array>
#include <span>

// Requests to the TACACS+ daemon that do not hold the shell up. From the shell's thread alone.

struct tacacs_request {
    tacacs_command command = tacacs_command::none;
    size_t size = 0; // of the payload
    std::array<uint8_t, k_tacacs_request_max> payload = {};
};

/// Sends a request and waits for its answer, 2 s at most. Returns whether there is one; its status and, when
/// that is 0, as much of its payload as `reply` takes. `reply` takes sizeof(tacacs_state) bytes at most.
///
/// A request that nobody waits for any longer stays with the daemon: until it has answered or gone nothing
/// else is sent, and false is returned at once. When it is done after all it is taken back by `undo`, and
/// tacacs_comings() tells to send all settings again.
[[nodiscard]] bool tacacs_exchange(const tacacs_request &request, const tacacs_request &undo,
                                   std::span<uint8_t> reply, int32_t *status);

/// A number that is another one when all settings are to be sent since: a daemon has come, or has answered a
/// request too late. For lateness it changes every 30 s at most, as sending is what the daemon may be slow
/// in.
uint32_t tacacs_comings();
