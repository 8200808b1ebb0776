#include "lib/ipc/internal/ipc_gate.h"

#include "lib/base/mutex_guard.h"
#include "lib/ipc/ipc_wire.h"

#include <array>
#include <pthread.h>

namespace {

enum gate_state : uint8_t { k_free, k_owned, k_answered };

struct gate {
    gate_state state;
    ipc_ticket owner;
};

// All gates share one mutex: it is held for a few instructions, and a wait is on the command's own condition.
pthread_mutex_t s_mutex = PTHREAD_MUTEX_INITIALIZER;
std::array<gate, k_ipc_command_max + 1> s_gates = {};
std::array<pthread_cond_t, k_ipc_command_max + 1> s_changed; // made ready by ipc_gate_init
ipc_ticket s_last_ticket = 0;

void await_locked(uint16_t command, gate_state state) {
    while (s_gates[command].state != state) {
        pthread_cond_wait(&s_changed[command], &s_mutex);
    }
}

} // namespace

void ipc_gate_init() {
    for (pthread_cond_t &changed : s_changed) {
        pthread_cond_init(&changed, nullptr);
    }
}

ipc_ticket ipc_gate_enter(uint16_t command) {
    const mutex_guard guard(s_mutex);
    await_locked(command, k_free);
    s_gates[command] = {k_owned, ++s_last_ticket};
    return s_last_ticket;
}

void ipc_gate_answer(uint16_t command, ipc_ticket ticket) {
    const mutex_guard guard(s_mutex);
    if (s_gates[command].state == k_owned && s_gates[command].owner == ticket) {
        s_gates[command].state = k_answered;
        pthread_cond_broadcast(&s_changed[command]);
    }
}

void ipc_gate_leave(uint16_t command) {
    const mutex_guard guard(s_mutex);
    await_locked(command, k_answered);
    s_gates[command] = {k_free, 0};
    pthread_cond_broadcast(&s_changed[command]);
}
