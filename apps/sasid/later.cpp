#include "apps/sasid/later.h"

#include "lib/base/monotonic.h"
#include "lib/base/mutex_guard.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <pthread.h>
#include <vector>

namespace {

struct put_off {
    int64_t due_us;
    void *request;
    uint32_t number;
    sasid_later_fn give;
    sasi_block block;
};
using put_off_ptr = std::unique_ptr<put_off>;

pthread_mutex_t s_mutex = PTHREAD_MUTEX_INITIALIZER; // for all below
pthread_cond_t s_changed;                            // made with the thread, by the monotonic clock
bool s_has_thread = false;
std::vector<put_off_ptr> *s_waiting = nullptr; // made with the thread, never freed; in no order

bool is_sooner(const put_off_ptr &a, const put_off_ptr &b) { return a->due_us < b->due_us; }

/// Waits until an answer is due, and takes it.
put_off_ptr next_due() {
    const mutex_guard guard(s_mutex);
    for (;;) {
        const auto first = std::min_element(s_waiting->begin(), s_waiting->end(), is_sooner);
        if (first == s_waiting->end()) {
            pthread_cond_wait(&s_changed, &s_mutex);
        } else if ((*first)->due_us <= monotonic_us()) {
            put_off_ptr due = std::move(*first);
            s_waiting->erase(first);
            return due;
        } else {
            const int64_t due_us = (*first)->due_us;
            const timespec until = {static_cast<time_t>(due_us / 1'000'000),
                                    static_cast<long>(due_us % 1'000'000) * 1000};
            pthread_cond_timedwait(&s_changed, &s_mutex, &until);
        }
    }
}

void *give_answers(void * /*unused*/) {
    for (;;) {
        const put_off_ptr due = next_due();
        due->give(due->request, due->number, due->block);
    }
}

/// With the mutex held.
bool has_thread() {
    if (s_has_thread) {
        return true;
    }
    if (s_waiting == nullptr) {
        pthread_condattr_t by_clock;
        pthread_condattr_init(&by_clock);
        pthread_condattr_setclock(&by_clock, CLOCK_MONOTONIC);
        pthread_cond_init(&s_changed, &by_clock);
        pthread_condattr_destroy(&by_clock);
        s_waiting = new std::vector<put_off_ptr>;
    }
    pthread_t thread{};
    s_has_thread = pthread_create(&thread, nullptr, give_answers, nullptr) == 0;
    if (s_has_thread) {
        pthread_detach(thread);
    }
    return s_has_thread;
}

} // namespace

bool sasid_later(void *request, uint32_t number, const sasi_block &block, uint32_t delay_ms,
                 sasid_later_fn give) {
    const mutex_guard guard(s_mutex);
    if (!has_thread()) {
        return false;
    }
    const int64_t due_us = monotonic_us() + int64_t{delay_ms} * 1000;
    s_waiting->push_back(std::make_unique<put_off>(put_off{due_us, request, number, give, block}));
    pthread_cond_signal(&s_changed);
    return true;
}

void sasid_later_hurry(const void *request) {
    const mutex_guard guard(s_mutex);
    if (s_waiting == nullptr) {
        return;
    }
    for (const put_off_ptr &one : *s_waiting) {
        if (one->request == request) {
            one->due_us = 0;
            pthread_cond_signal(&s_changed);
        }
    }
}
