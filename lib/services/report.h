#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// What a show tells: named values and tables, put together once and written as text for people or as JSON for
// programs.

/// A number is written as it is; a text that is empty stands for what is not known: "-" in text, null in
/// JSON.
using report_cell = std::variant<std::string, int64_t>;

struct report_column {
    const char *key;     // in JSON: small letters, digits, underscores
    const char *heading; // in text, with the unit where there is one: "Speed (Mbit/s)"
};

/// A value that stands for itself.
struct report_value {
    report_column name;
    report_cell value;
    const char *unit; // after the value, in text alone; "" for none
};

struct report_table {
    const char *key;
    const char *title; // a line above it; "" for none
    std::vector<report_column> columns;
    std::vector<std::vector<report_cell>> rows; // each with a cell for every column
};

/// Values go first, then tables, each in the order in which they were added.
struct report {
    std::vector<report_value> values;
    std::vector<report_table> tables;
};

void report_add(report &to, report_column name, report_cell value, const char *unit = "");

/// Adds a table without rows. Good until the next one is added.
report_table &report_add_table(report &to, const char *key, const char *title,
                               std::vector<report_column> columns);

/// As text: "Name                : value unit" a line, tables with headings and columns in line, numbers to
/// the right, an empty line in front of each table but at the beginning. A table without rows says "none".
[[nodiscard]] std::string report_text(const report &from);

/// The lines of a text as JSON: an object on a line with an array of them, and with how many others failed.
[[nodiscard]] std::string report_json_lines(const char *key, std::string_view text, int32_t failed);

/// As one JSON object on a line, a member for each value and an array of objects for each table. Bytes that
/// are no UTF-8 are replaced.
[[nodiscard]] std::string report_json(const report &from);
