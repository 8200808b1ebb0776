#include "sim/show.h"

#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

struct show_request {
    const sim_state &state;
    std::string_view prefix;
    bool all;
    bool values_only;
};

/// Indices with so many elements that those without content are not worth a line.
bool is_sparse(sim_index index) { return index == sim_index::ring_id || index == sim_index::instance; }

/// Whether `name` is `prefix` or goes on after it with another part: port.1 is not the beginning of port.10.
bool begins_with(std::string_view name, std::string_view prefix) {
    constexpr std::string_view k_ends = "./";
    if (!name.starts_with(prefix)) {
        return false;
    }
    return prefix.empty() || name.size() == prefix.size() || prefix.ends_with('.') ||
           k_ends.find(name[prefix.size()]) != std::string_view::npos;
}

/// As a scenario reads it back: in quotes where blanks or a comment sign would be taken for others.
std::string as_in_scenario(const std::string &value) {
    const bool empty_text = value == "\"\"";
    const bool plain =
        value.empty() || (value.front() != ' ' && value.front() != '#' && value.front() != '"' &&
                          value.back() != ' ' && value.find(" #") == std::string::npos);
    return plain || empty_text ? value : '"' + value + '"';
}

/// Why the registers show something else than the setting's value, as a comment; empty where they do not.
std::string remark(const sim_state &state, const sim_target &target) {
    const sim_setting &setting = *target.setting;
    if (setting.index[1] == sim_index::state_word && target.place[1] + 1 == std::size(k_at_port_words)) {
        const sim_port &port = state.ports[target.place[0]];
        const uint32_t word = sim_load(port.words[target.place[1]]);
        if (sim_load(port.link) == 0) {
            return word == 0 ? "" : " # 0 in the registers: the link is down";
        }
        return word <= 0xFF ? "" : " # " + std::to_string(word & 0xFF) + " in the registers: the low byte";
    }
    if (setting.offset != offsetof(sim_state, alarm_word)) {
        return "";
    }
    const uint32_t links = sim_alarm_word(state) & ~sim_load(state.alarm_word);
    if (setting.kind == sim_kind::number) {
        return links == 0 ? ""
                          : " # " + std::to_string(sim_alarm_word(state)) + " with the links that are down";
    }
    const bool raised = (links & (setting.limit << target.place[0])) != 0;
    return raised ? " # on all the same: the link is down" : "";
}

std::string line_of(const show_request &request, const sim_target &target, const std::string &name) {
    const std::string value = sim_target_value(request.state, target);
    return request.values_only ? value + "\n"
                               : (target.setting->read_only ? "# " : "") + name + " " +
                                     as_in_scenario(value) + remark(request.state, target) + "\n";
}

/// Prints one element of the settings in `rows`, which share their first index.
size_t show_element(const show_request &request, std::span<const sim_setting> rows, uint32_t place) {
    size_t fitting = 0;
    bool is_zero = true;
    std::string lines;
    for (const sim_setting &setting : rows) {
        for (uint32_t second = 0; second < sim_index_count(setting.index[1]); second++) {
            const sim_target target{&setting, {place, second}};
            const std::string name = sim_target_name(target);
            if (begins_with(name, request.prefix)) {
                fitting++;
                is_zero = is_zero && sim_target_is_zero(request.state, target);
                lines += line_of(request, target, name);
            }
        }
    }
    const bool names_element = request.prefix.find('.') != std::string_view::npos;
    if (request.all || names_element || !is_zero || !is_sparse(rows.front().index[0])) {
        std::fputs(lines.c_str(), stdout);
    }
    return fitting;
}

std::string with_spaces(std::string text, size_t width) {
    if (text.size() < width) {
        text.append(width - text.size(), ' ');
    }
    return text;
}

} // namespace

size_t sim_show(const sim_state &state, std::string_view prefix, bool all, bool values_only) {
    const show_request request{state, prefix, all, values_only};
    std::span<const sim_setting> rest = sim_settings();
    size_t fitting = 0;
    while (!rest.empty()) {
        const sim_index index = rest.front().index[0];
        size_t rows = 1;
        while (index != sim_index::none && rows < rest.size() && rest[rows].index[0] == index) {
            rows++;
        }
        for (uint32_t place = 0; place < sim_index_count(index); place++) {
            fitting += show_element(request, rest.first(rows), place);
        }
        rest = rest.subspan(rows);
    }
    return fitting;
}

void sim_show_settings(std::string_view prefix) {
    constexpr size_t k_column = 22;
    for (const sim_setting &setting : sim_settings()) {
        const std::string_view name = setting.name;
        if (!name.starts_with(prefix) || setting.read_only) {
            continue;
        }
        std::printf("  %s%s: %s\n", with_spaces(std::string(name.substr(prefix.size())), k_column).c_str(),
                    setting.meaning, sim_setting_values(setting).c_str());
    }
}
