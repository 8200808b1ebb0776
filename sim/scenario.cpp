#include "sim/scenario.h"

#include "lib/base/parse_number.h"

namespace {

constexpr uint64_t k_never = UINT64_MAX;
constexpr double k_second_ns = 1e9;
constexpr double k_shortest_period_s = 0.01;
constexpr double k_longest_s = 1e6;
constexpr std::string_view k_blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(k_blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(k_blanks) - first + 1);
}

std::string_view take_word(std::string_view &rest) {
    const size_t end = rest.find_first_of(k_blanks);
    const std::string_view word = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : trimmed(rest.substr(end));
    return word;
}

bool parse_seconds(std::string_view text, double least, uint64_t &nanoseconds) {
    double seconds = 0;
    if (!parse_number(text, least, k_longest_s, &seconds)) {
        return false;
    }
    nanoseconds = static_cast<uint64_t>(seconds * k_second_ns);
    return true;
}

/// A line that begins a step. A step that has only an interval is first made after one.
bool parse_step(std::string_view line, sim_step &step) {
    bool has_after = false;
    while (!line.empty()) {
        const std::string_view word = take_word(line);
        const std::string_view seconds = take_word(line);
        if (word == "after" && !has_after && step.period_ns == 0) {
            has_after = parse_seconds(seconds, 0, step.due_ns);
            if (!has_after) {
                return false;
            }
        } else if (word != "every" || step.period_ns != 0 ||
                   !parse_seconds(seconds, k_shortest_period_s, step.period_ns)) {
            return false;
        }
    }
    step.due_ns = has_after ? step.due_ns : step.period_ns;
    return true;
}

/// A comment begins a line or stands after a blank: "serial#" is none.
std::string_view without_comment(std::string_view line) { return trimmed(line.substr(0, line.find(" #"))); }

/// The last quote that can close a value: nothing follows it, or a comment. 0 when there is none.
size_t closing_quote(std::string_view rest) {
    for (size_t at = rest.size(); at-- > 1;) {
        if (rest[at] == '"' && (at + 1 == rest.size() || rest.substr(at + 1).starts_with(" #"))) {
            return at;
        }
    }
    return 0;
}

/// What stands after a name: a text in quotes, or everything as far as a comment. Two quotes are the empty
/// text, as everywhere.
std::string_view value_of(std::string_view rest) {
    if (const size_t close = closing_quote(rest); rest.starts_with('"') && close > 1) {
        return rest.substr(1, close - 1);
    }
    return rest.starts_with('#') ? std::string_view() : without_comment(rest);
}

bool parse_line(std::string_view line, std::vector<sim_step> &steps, std::string &error) {
    std::string_view rest = line;
    const std::string_view name = take_word(rest);
    if (name == "after" || name == "every") {
        const std::string_view when = without_comment(line);
        sim_step step{};
        if (!parse_step(when, step)) {
            error =
                "'" + std::string(when) +
                "' is not after SECONDS, every SECONDS or after SECONDS every SECONDS (every: at least 0.01)";
            return false;
        }
        steps.push_back(step);
        return true;
    }
    return sim_change_parse(name, value_of(rest), steps.back().changes, error);
}

} // namespace

const std::string_view k_sim_healthy =
#include "healthy.inc"
    ;

bool sim_scenario_parse(std::string_view text, const std::string &file, std::vector<sim_step> &steps,
                        std::string &error) {
    steps.assign(1, sim_step{});
    for (size_t number = 1; !text.empty(); number++) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        line = trimmed(line);
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        if (!parse_line(line, steps, error)) {
            error.insert(0, file + ":" + std::to_string(number) + ": ");
            return false;
        }
    }
    return true;
}

void sim_scenario_begin(sim_state &state, std::vector<sim_step> &steps) {
    std::vector<sim_step> healthy;
    std::string error; // none: the text is this program's own
    if (sim_scenario_parse(k_sim_healthy, "healthy", healthy, error)) {
        sim_scenario_apply(state, healthy, 0);
    }
    sim_scenario_apply(state, steps, 0);
}

uint64_t sim_scenario_apply(sim_state &state, std::vector<sim_step> &steps, uint64_t elapsed_ns) {
    for (;;) {
        sim_step *next = nullptr;
        for (sim_step &step : steps) {
            if (step.due_ns != k_never && (next == nullptr || step.due_ns < next->due_ns)) {
                next = &step;
            }
        }
        if (next == nullptr) {
            return k_never;
        }
        if (next->due_ns > elapsed_ns) {
            return next->due_ns;
        }
        for (const sim_change &change : next->changes) {
            sim_change_apply(state, change);
        }
        if (next->period_ns == 0) {
            next->due_ns = k_never;
        } else {
            next->due_ns += (1 + (elapsed_ns - next->due_ns) / next->period_ns) * next->period_ns;
        }
    }
}
