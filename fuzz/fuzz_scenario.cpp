// Scenario files, damaged: a refusal names a line of the file, and what is accepted can be carried out at its
// times and is taken back as it is printed.

#include "sim/scenario.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view k_file = "file:";
constexpr std::array<uint64_t, 6> k_times_ns = {
    0, 1, 10'000'000, 999'999'999, 60'000'000'000, 2'000'000'000'000'000};

// Setting and printing counters asks the clock, so that they go on meanwhile.
constexpr std::array<sim_kind, 3> k_running = {sim_kind::counter, sim_kind::rate, sim_kind::link};

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void check_refusal(std::string_view text, std::string_view error) {
    require(error.starts_with(k_file));
    error.remove_prefix(k_file.size());
    int64_t number = 0;
    const auto [end, failure] = std::from_chars(error.data(), error.data() + error.size(), number);
    require(failure == std::errc{} && number >= 1 &&
            number <= std::count(text.begin(), text.end(), '\n') + 1);
    require(std::string_view(end).starts_with(": "));
}

/// A setting that was just changed is printed in a form that gives the same again, in another switch.
void check_printed(const sim_state &state, const sim_change &change) {
    static sim_state s_other;
    const std::string name = sim_target_name(change.target);
    const std::string value = sim_target_value(state, change.target);
    std::vector<sim_change> read;
    std::string error;
    require(sim_change_parse(name, value, read, error) && read.size() == 1);
    sim_change_apply(s_other, read[0]);
    if (std::find(k_running.begin(), k_running.end(), change.target.setting->kind) == k_running.end()) {
        require(sim_target_value(s_other, change.target) == value);
    }
}

void check_due(const std::vector<sim_step> &steps, uint64_t elapsed_ns, uint64_t next_ns) {
    require(next_ns > elapsed_ns);
    require(std::all_of(steps.begin(), steps.end(),
                        [&](const sim_step &step) { return step.due_ns >= next_ns; }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static sim_state s_state;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    std::vector<sim_step> steps;
    std::string error;
    if (!sim_scenario_parse(text, "file", steps, error)) {
        check_refusal(text, error);
        return 0;
    }
    require(error.empty() && !steps.empty() && steps[0].due_ns == 0 && steps[0].period_ns == 0);
    sim_state_reset(s_state);
    for (const sim_step &step : steps) {
        for (const sim_change &change : step.changes) {
            sim_change_apply(s_state, change);
            check_printed(s_state, change);
        }
    }
    for (const uint64_t elapsed_ns : k_times_ns) {
        check_due(steps, elapsed_ns, sim_scenario_apply(s_state, steps, elapsed_ns));
    }
    return 0;
}
