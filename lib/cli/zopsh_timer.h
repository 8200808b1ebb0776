#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// The periodic work of the shell server: a few timers of whole seconds, called by a thread of their own.

constexpr size_t k_zopsh_timers = 5;
constexpr size_t k_zopsh_timer_name_max = 20;
constexpr int32_t k_zopsh_timer_argument = 40; // what every callback gets as its second argument

struct zopsh_timer_table;

/// Called on the timer thread.
using zopsh_timer_fn = void (*)(zopsh_timer_table *table, int32_t argument, int32_t index);

struct zopsh_timer {
    std::atomic<bool> active; // set last, when the rest is there for the timer thread
    int32_t period;           // seconds
    int32_t remaining;        // seconds; the timer thread's once the timer is active
    char name[k_zopsh_timer_name_max + 1];
    zopsh_timer_fn callback;
};

struct zopsh_timer_table {
    zopsh_timer timers[k_zopsh_timers];
    std::atomic<int32_t> count;
    std::atomic<int32_t> highest; // the highest index in use
};

/// Empties the table, starts the timer thread, and adds "CPU_LOADING", which samples the processor load every
/// 5 seconds. Once, at start-up. Failures are printed.
void zopsh_timer_init();

/// Adds a timer, which can never be removed. Returns 0, or -1 after printing why: a name longer than 20
/// characters, one that a timer has already (an empty one is what the free timers have), all 5 in use. From
/// one thread.
[[nodiscard]] int32_t zopsh_timer_add_event(const char *name, int32_t period, zopsh_timer_fn callback);

/// What the timer thread does once a second.
void zopsh_timer_tick();
