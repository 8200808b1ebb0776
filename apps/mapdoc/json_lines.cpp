#include "apps/mapdoc/json_lines.h"

namespace {

void put_lines(std::string &text, const char *key, const std::vector<std::string> &lines, const char *ends) {
    text += json(key).dump() + ": " + ends[0];
    const char *before = "\n    ";
    for (const std::string &line : lines) {
        text += before + line;
        before = ",\n    ";
    }
    text += std::string("\n") + ends[1];
}

} // namespace

void json_field(std::string &text, const char *key, const json &value) {
    text += json(key).dump() + ": " + value.dump() + ",\n";
}

void json_lines(std::string &text, const char *key, const std::vector<json> &values) {
    std::vector<std::string> lines;
    lines.reserve(values.size());
    for (const json &value : values) {
        lines.push_back(value.dump());
    }
    put_lines(text, key, lines, "[]");
}

void json_lines(std::string &text, const char *key,
                const std::vector<std::pair<std::string, json>> &members) {
    std::vector<std::string> lines;
    lines.reserve(members.size());
    for (const auto &[name, value] : members) {
        lines.push_back(json(name).dump() + ": " + value.dump());
    }
    put_lines(text, key, lines, "{}");
}
