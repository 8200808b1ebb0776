#include "lib/services/report.h"

#include "lib/base/invariant.h"
#include "lib/base/take_piece.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using json = nlohmann::ordered_json;

constexpr size_t k_name_width = 20;

bool is_number(const report_cell &cell) { return std::holds_alternative<int64_t>(cell); }

std::string text_of(const report_cell &cell) {
    if (is_number(cell)) {
        return std::to_string(std::get<int64_t>(cell));
    }
    const std::string &text = std::get<std::string>(cell);
    return text.empty() ? "-" : text;
}

/// Characters as a terminal counts them: UTF-8, without its continuation bytes.
size_t width_of(std::string_view text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

void put_padded(std::string &to, const std::string &text, size_t width, bool right) {
    const std::string blanks(width - std::min(width, width_of(text)), ' ');
    to += right ? blanks + text : text + blanks;
}

/// How a column is written. One that holds a number anywhere is one of numbers.
struct layout {
    size_t width;
    bool right;
};

layout layout_of(const report_table &table, size_t column) {
    layout made = {width_of(table.columns[column].heading), false};
    for (const auto &row : table.rows) {
        made.width = std::max(made.width, width_of(text_of(row[column])));
        made.right = made.right || is_number(row[column]);
    }
    return made;
}

void end_line(std::string &to) {
    to.erase(to.find_last_not_of(' ') + 1);
    to += '\n';
}

void put_table(std::string &to, const report_table &table) {
    if (table.title[0] != '\0') {
        to.append(table.title).append(table.rows.empty() ? ": none\n" : "\n");
    } else if (table.rows.empty()) {
        to += "none\n";
    }
    if (table.rows.empty()) {
        return;
    }
    std::vector<layout> layouts;
    for (size_t i = 0; i < table.columns.size(); i++) {
        layouts.push_back(layout_of(table, i));
    }
    const auto put_line = [&](auto text_at) {
        for (size_t i = 0; i < layouts.size(); i++) {
            to += i > 0 ? "  " : "";
            put_padded(to, text_at(i), layouts[i].width, layouts[i].right);
        }
        end_line(to);
    };
    put_line([&](size_t i) { return std::string(table.columns[i].heading); });
    for (const auto &row : table.rows) {
        put_line([&](size_t i) { return text_of(row[i]); });
    }
}

std::string text_of(const json &object) {
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

json json_of(const report_cell &cell) {
    if (is_number(cell)) {
        return std::get<int64_t>(cell);
    }
    const std::string &text = std::get<std::string>(cell);
    return text.empty() ? json(nullptr) : json(text);
}

json json_of(const report_table &table) {
    json rows = json::array();
    for (const auto &row : table.rows) {
        json object = json::object();
        for (size_t i = 0; i < table.columns.size(); i++) {
            object[table.columns[i].key] = json_of(row[i]);
        }
        rows.push_back(std::move(object));
    }
    return rows;
}

} // namespace

void report_add(report &to, report_column name, report_cell value, const char *unit) {
    to.values.push_back({name, std::move(value), unit});
}

report_table &report_add_table(report &to, const char *key, const char *title,
                               std::vector<report_column> columns) {
    to.tables.push_back({key, title, std::move(columns), {}});
    return to.tables.back();
}

std::string report_text(const report &from) {
    std::string text;
    for (const report_value &value : from.values) {
        put_padded(text, value.name.heading, k_name_width, false);
        text.append(": ")
            .append(text_of(value.value))
            .append(value.unit[0] != '\0' ? " " : "")
            .append(value.unit);
        text += '\n';
    }
    for (const report_table &table : from.tables) {
        INVARIANT(std::all_of(table.rows.begin(), table.rows.end(),
                              [&](const auto &row) { return row.size() == table.columns.size(); }));
        text += text.empty() ? "" : "\n";
        put_table(text, table);
    }
    return text;
}

std::string report_json(const report &from) {
    json object = json::object();
    for (const report_value &value : from.values) {
        object[value.name.key] = json_of(value.value);
    }
    for (const report_table &table : from.tables) {
        object[table.key] = json_of(table);
    }
    return text_of(object);
}

std::string report_json_lines(const char *key, std::string_view text, int32_t failed) {
    json lines = json::array();
    while (!text.empty()) {
        lines.push_back(take_piece(text, '\n'));
    }
    json object = json::object();
    object[key] = std::move(lines);
    object["failed"] = failed;
    return text_of(object);
}
