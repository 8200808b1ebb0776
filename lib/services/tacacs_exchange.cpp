#include "lib/services/tacacs_exchange.h"

#include "lib/base/invariant.h"
#include "lib/base/monotonic.h"
#include "lib/base/mutex_guard.h"
#include "lib/ipc/ipc_api.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <pthread.h>

namespace {

constexpr int64_t k_patience_us = 2000000;
constexpr int64_t k_calm_us = 30000000;

enum class phase : uint8_t {
    idle,
    asking,   // a thread has the job, and the shell waits for it
    answered, // the shell is about to take the answer
    given_up, // the thread has the job, and nobody waits
};

/// One request on its way. Belongs to the thread that carries it while that lives, but for the phase.
struct job {
    tacacs_request request;
    tacacs_request undo;
    std::array<uint8_t, sizeof(tacacs_state)> reply;
    size_t room; // in the shell's reply
    int32_t status;
};

pthread_mutex_t s_mutex = PTHREAD_MUTEX_INITIALIZER; // guards what follows
pthread_cond_t s_changed;                            // the phase; made ready before the first thread
pthread_once_t s_once = PTHREAD_ONCE_INIT;
phase s_phase = phase::idle;
job s_job = {};
bool s_late = false;     // an answer came late since the last call to send all again
int64_t s_called_us = 0; // when that was; 0: never
uint32_t s_calls = 0;    // how many there were

void make_ready() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&s_changed, &attributes);
    pthread_condattr_destroy(&attributes);
}

int32_t send(const tacacs_request &request, std::span<uint8_t> reply) {
    ipc_header header = {k_tacacs_route, static_cast<uint16_t>(request.command), k_ipc_kind_request,
                         k_ipc_status_unanswered};
    protoipc_send_request(&header, request.payload.data(), static_cast<int32_t>(request.size), reply.data(),
                          static_cast<int32_t>(reply.size()));
    return header.status;
}

/// Ends the job; the keys in it are nobody's any more.
void finish_locked() {
    ::explicit_bzero(&s_job, sizeof s_job);
    s_phase = phase::idle;
}

/// Tells the shell that the job is done. Returns false when the shell waits no longer.
bool hand_back() {
    const mutex_guard guard(s_mutex);
    if (s_phase != phase::asking) {
        return false;
    }
    s_phase = phase::answered;
    pthread_cond_signal(&s_changed);
    return true;
}

void *carry(void * /*argument*/) {
    s_job.status = send(s_job.request, std::span(s_job.reply).first(s_job.room));
    if (hand_back()) {
        return nullptr;
    }
    const bool answered = s_job.status != k_ipc_status_unanswered;
    if (s_job.status == 0 && s_job.undo.command != tacacs_command::none) {
        send(s_job.undo, {});
    }
    const mutex_guard guard(s_mutex);
    finish_locked();
    s_late = s_late || answered; // one that has gone is seen to come
    return nullptr;
}

/// A thread that no signal comes to.
bool start_carrying() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread = 0;
    const bool started = pthread_create(&thread, nullptr, carry, nullptr) == 0;
    if (started) {
        pthread_detach(thread);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

void await_locked() {
    const int64_t until_us = monotonic_us() + k_patience_us;
    timespec until = {};
    until.tv_sec = static_cast<time_t>(until_us / 1000000);
    until.tv_nsec = static_cast<decltype(until.tv_nsec)>(until_us % 1000000 * 1000);
    while (s_phase == phase::asking && pthread_cond_timedwait(&s_changed, &s_mutex, &until) == 0) {
    }
}

} // namespace

bool tacacs_exchange(const tacacs_request &request, const tacacs_request &undo, std::span<uint8_t> reply,
                     int32_t *status) {
    INVARIANT(reply.size() <= sizeof(tacacs_state));
    pthread_once(&s_once, make_ready);
    const mutex_guard guard(s_mutex);
    if (s_phase != phase::idle) {
        return false;
    }
    s_job = {request, undo, {}, reply.size(), k_ipc_status_unanswered};
    s_phase = phase::asking;
    if (!start_carrying()) {
        finish_locked();
        return false;
    }
    await_locked();
    if (s_phase == phase::asking) {
        s_phase = phase::given_up;
        return false;
    }
    *status = s_job.status;
    std::copy_n(s_job.reply.begin(), reply.size(), reply.begin());
    finish_locked();
    return *status != k_ipc_status_unanswered;
}

uint32_t tacacs_comings() {
    const mutex_guard guard(s_mutex);
    if (s_late && (s_called_us == 0 || monotonic_us() - s_called_us >= k_calm_us)) {
        s_late = false;
        s_called_us = monotonic_us();
        s_calls++;
    }
    return ipc_route_changes(k_tacacs_route) + s_calls;
}
