#include "modbus/poll_thread.h"

#include "lib/base/result.h"
#include "modbus/mb.h"

#include <pthread.h>
#include <unistd.h>

namespace {

constexpr useconds_t k_supervise_interval_us = 1000;

int32_t s_stop_flag = 0; // nothing sets it: the daemon runs until it is ended
pthread_t s_poll_thread; // the newest one; threads are neither joined nor detached

int32_t s_run_state = k_run_idle; // guarded by s_run_state_mutex (main thread, poll thread)
int32_t s_not_begun = 0;          // poll threads that were created and have not run yet; guarded as above
pthread_mutex_t s_run_state_mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t s_run_state_idle = PTHREAD_COND_INITIALIZER; // signalled when the run state becomes idle
pthread_once_t s_fork_handlers_once = PTHREAD_ONCE_INIT;

// The poll thread forks a child per connection: a child that inherited the mutex locked by the main thread,
// which it does not have, or the condition with that thread waiting on it, could wait for ever.
void lock_run_state() { pthread_mutex_lock(&s_run_state_mutex); }
void unlock_run_state() { pthread_mutex_unlock(&s_run_state_mutex); }
void free_run_state_in_child() {
    s_run_state_idle = PTHREAD_COND_INITIALIZER;
    unlock_run_state();
}

void register_fork_handlers() {
    ignore_result(pthread_atfork(lock_run_state, unlock_run_state, free_run_state_in_child));
}

void count_not_begun(int32_t change) {
    lock_run_state();
    s_not_begun += change;
    unlock_run_state();
}

/// A thread that has not run yet leaves the state idle. Where others take the processor that can last, and
/// each thread started meanwhile would end the polling of another, for which one more is started.
void wait_until_idle() {
    lock_run_state();
    while ((s_run_state != k_run_idle || s_not_begun != 0) && s_stop_flag == 0) {
        pthread_cond_wait(&s_run_state_idle, &s_run_state_mutex);
    }
    unlock_run_state();
}

void *poll_thread(void * /*argument*/) {
    lock_run_state();
    s_run_state = k_run_polling;
    s_not_begun--;
    unlock_run_state();
    if (mb_enable() == k_mb_ok) {
        while (mb_poll() == k_mb_ok && get_run_state() != k_run_stop) {
        }
    }
    mb_disable();
    set_run_state(k_run_idle);
    return nullptr;
}

} // namespace

int32_t get_run_state() {
    lock_run_state();
    const int32_t state = s_run_state;
    unlock_run_state();
    return state;
}

void set_run_state(int32_t value) {
    lock_run_state();
    s_run_state = value;
    if (value == k_run_idle) {
        pthread_cond_broadcast(&s_run_state_idle);
    }
    unlock_run_state();
}

bool start_poll_thread() {
    pthread_once(&s_fork_handlers_once, register_fork_handlers);
    if (get_run_state() != k_run_idle) {
        return false;
    }
    count_not_begun(1);
    if (pthread_create(&s_poll_thread, nullptr, poll_thread, nullptr) != 0) {
        count_not_begun(-1);
        return false;
    }
    return true;
}

void supervise_poll_thread() {
    do {
        // A failed creation leaves the state idle and is tried again at the next round.
        ignore_result(start_poll_thread());
        ::usleep(k_supervise_interval_us);
        wait_until_idle();
    } while (s_stop_flag == 0);
}
