#include "lib/ipc/ipc_gate.h"

#include "lib/ipc/ipc_wire.h"

#include <array>

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

} // namespace

void ipc_gate_init() {
    for (pthread_cond_t &changed : s_changed) {
        pthread_cond_init(&changed, nullptr);
    }
}

ipc_ticket ipc_gate_enter(uint16_t command) {
    gate &entered = s_gates[command];
    pthread_mutex_lock(&s_mutex);
    while (entered.state != k_free) {
        pthread_cond_wait(&s_changed[command], &s_mutex);
    }
    entered = {k_owned, ++s_last_ticket};
    const ipc_ticket ticket = entered.owner;
    pthread_mutex_unlock(&s_mutex);
    return ticket;
}

void ipc_gate_answer(uint16_t command, ipc_ticket ticket) {
    gate &answered = s_gates[command];
    pthread_mutex_lock(&s_mutex);
    if (answered.state == k_owned && answered.owner == ticket) {
        answered.state = k_answered;
        pthread_cond_broadcast(&s_changed[command]);
    }
    pthread_mutex_unlock(&s_mutex);
}

void ipc_gate_leave(uint16_t command) {
    gate &left = s_gates[command];
    pthread_mutex_lock(&s_mutex);
    while (left.state != k_answered) {
        pthread_cond_wait(&s_changed[command], &s_mutex);
    }
    left = {k_free, 0};
    pthread_cond_broadcast(&s_changed[command]);
    pthread_mutex_unlock(&s_mutex);
}
