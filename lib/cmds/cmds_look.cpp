#include "lib/cmds/cmds_look.h"

#include "lib/base/parse_number.h"
#include "lib/cmds/cmds_config.h"

#include <algorithm>

namespace {

/// What follows whole words at the beginning of a line.
std::optional<std::string_view> after(std::string_view line, std::string_view words) {
    if (!line.starts_with(words) || (line.size() > words.size() && line[words.size()] != ' ')) {
        return std::nullopt;
    }
    return line.substr(std::min(words.size() + 1, line.size()));
}

void add_global(const config_line &line, void *section) {
    if (line.context == k_config_global && !line.line.empty()) {
        static_cast<cmds_section *>(section)->lines.emplace_back(line.line);
    }
}

struct search {
    std::string_view words;
    config_context in = k_config_global; // the context whose lines come now
    bool wanted = false;                 // whether its entering line has the words
    std::vector<cmds_section> found = {};
};

void add_to_search(const config_line &line, void *with) {
    search &looking = *static_cast<search *>(with);
    if (line.context == k_config_global) {
        return;
    }
    if (line.context != looking.in) {
        const auto name = after(line.line, looking.words);
        looking.in = line.context;
        looking.wanted = name.has_value();
        if (name) {
            looking.found.push_back({std::string(*name), {}});
        }
    } else if (looking.wanted && line.line != "!") {
        looking.found.back().lines.emplace_back(line.line);
    }
}

} // namespace

cmds_section cmds_global_section() {
    cmds_section section;
    config_walk(cmds_store(), add_global, &section);
    return section;
}

std::vector<cmds_section> cmds_sections(std::string_view words) {
    search looking = {words};
    config_walk(cmds_store(), add_to_search, &looking);
    return looking.found;
}

std::optional<std::string> cmds_look_up(const cmds_section &in, std::string_view words) {
    for (const std::string &line : in.lines) {
        if (const auto value = after(line, words)) {
            return std::string(*value);
        }
    }
    return std::nullopt;
}

std::vector<std::string> cmds_look_up_all(const cmds_section &in, std::string_view words) {
    std::vector<std::string> values;
    for (const std::string &line : in.lines) {
        if (const auto value = after(line, words)) {
            values.emplace_back(*value);
        }
    }
    return values;
}

int64_t cmds_look_up_number(const cmds_section &in, std::string_view words, int64_t otherwise) {
    int64_t number = 0;
    return parse_number(cmds_look_up(in, words).value_or(""), &number) ? number : otherwise;
}
