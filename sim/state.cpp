#include "sim/state.h"

#include <cerrno>
#include <cstring>
#include <ctime>

namespace {

constexpr uint64_t k_second_ns = 1'000'000'000;

constexpr uint64_t pack_line(uint32_t base, uint32_t rate) { return (uint64_t{rate} << 32) | base; }

/// What `rate` counts a second add up to; wraps as the counter does.
constexpr uint32_t counted(uint32_t rate, uint64_t elapsed_ns) {
    const uint64_t seconds = elapsed_ns / k_second_ns;
    const uint64_t rest = elapsed_ns % k_second_ns;
    return static_cast<uint32_t>(rate * seconds + rate * rest / k_second_ns);
}

/// Gives the counter a line that passes through `value` now.
void start_line(const sim_state &state, sim_counter &counter, uint32_t value, uint32_t rate,
                uint64_t now_ns) {
    const uint32_t base = value - counted(rate, now_ns - state.born_ns);
    sim_store(counter.line, pack_line(base, rate));
}

} // namespace

uint64_t sim_now_ns() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * k_second_ns + static_cast<uint64_t>(now.tv_nsec);
}

void sim_wait_ms(uint32_t milliseconds) {
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

void sim_state_reset(sim_state &state) {
    std::memset(&state, 0, sizeof state);
    state.magic = k_sim_magic;
    state.version = k_sim_version;
    state.size = sizeof state;
    state.born_ns = sim_now_ns();
    for (sim_port &port : state.ports) {
        port.link = 1;
        port.alarmed = 1;
    }
    state.faults.tailer_size = k_sim_flash_whole;
    state.faults.header_size = k_sim_flash_whole;
    state.faults.time_size = k_sim_time_whole;
}

uint32_t sim_counter_value(const sim_state &state, const sim_counter &counter, uint64_t now_ns) {
    const uint64_t line = sim_load(counter.line);
    return static_cast<uint32_t>(line) + counted(static_cast<uint32_t>(line >> 32), now_ns - state.born_ns);
}

void sim_counter_set(sim_state &state, sim_port &port, sim_counter &counter, uint32_t value) {
    const uint32_t running = sim_load(port.link) != 0 ? sim_load(counter.rate) : 0;
    start_line(state, counter, value, running, sim_now_ns());
}

void sim_counter_set_rate(sim_state &state, sim_port &port, sim_counter &counter, uint32_t rate) {
    const uint64_t now_ns = sim_now_ns();
    sim_store(counter.rate, rate);
    const uint32_t running = sim_load(port.link) != 0 ? rate : 0;
    start_line(state, counter, sim_counter_value(state, counter, now_ns), running, now_ns);
}

void sim_port_set_link(sim_state &state, sim_port &port, bool up) {
    sim_store(port.link, uint32_t{up});
    const uint64_t now_ns = sim_now_ns();
    for (sim_counter &counter : port.counters) {
        const uint32_t value = sim_counter_value(state, counter, now_ns);
        start_line(state, counter, value, up ? sim_load(counter.rate) : 0, now_ns);
    }
}

uint32_t sim_alarm_word(const sim_state &state) {
    uint32_t word = sim_load(state.alarm_word);
    for (uint32_t i = 0; i < k_switch_ports; i++) {
        const sim_port &port = state.ports[i];
        if (sim_load(port.link) == 0 && sim_load(port.alarmed) != 0) {
            word |= uint32_t{1} << (alarm_bit::k_link_down_port1 + i);
        }
    }
    return word;
}
