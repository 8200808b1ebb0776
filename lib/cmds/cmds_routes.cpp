#include "lib/cmds/cmds_routes.h"

#include "lib/base/take_piece.h"
#include "lib/cmds/cmds_family.h"
#include "lib/services/services.h"

#include <algorithm>

namespace {

enum class carried : uint8_t { nowhere, only_kept, out }; // the better, the greater

struct route_line {
    std::string commands;
    const char *by; // "": nothing
    carried state;
};

/// Where a show goes may be said for it alone.
const service_route *route_of(const cmds_row &row) {
    std::string_view words = row.command.words;
    const service_route *const own = services_find_route(words);
    if (own == nullptr && row.form->kind == cmds_kind::show) {
        take_piece(words);
        return services_find_route(words);
    }
    return own;
}

/// Whether a service does such things as the command is one of.
bool does(const service &to, cmds_kind kind) {
    switch (kind) {
    case cmds_kind::setting:
        return to.apply != nullptr;
    case cmds_kind::show:
        return to.show != nullptr;
    default:
        return to.act != nullptr;
    }
}

route_line line_of(const cmds_family &family, const cmds_row &row) {
    const carried otherwise = row.form->kind == cmds_kind::setting ? carried::only_kept : carried::nowhere;
    const service_route *const route = route_of(row);
    if (row.form->kind == cmds_kind::move || (route == nullptr && row.form->run != nullptr)) {
        return {family.name, "the shell", carried::out};
    }
    if (route == nullptr) {
        return {family.name, "", otherwise};
    }
    const bool is_here = route->to->is_here == nullptr || route->to->is_here();
    return {std::string(route->words), route->to->name,
            is_here && does(*route->to, row.form->kind) ? carried::out : otherwise};
}

void add(std::vector<route_line> &lines, const route_line &line) {
    const auto known = std::find_if(lines.begin(), lines.end(), [&](const route_line &one) {
        return one.commands == line.commands && std::string_view(one.by) == line.by;
    });
    if (known == lines.end()) {
        lines.push_back(line);
    } else {
        known->state = std::max(known->state, line.state);
    }
}

/// Of all families of a name. What nothing carries out goes last; where it is not all, that is said.
std::vector<route_line> lines_of(std::string_view name) {
    std::vector<route_line> lines;
    for (const cmds_family *family : cmds_families()) {
        for (const cmds_row &row : std::span(family->rows, name == family->name ? family->count : 0)) {
            if (row.form->kind != cmds_kind::undo) { // goes where its setting does
                add(lines, line_of(*family, row));
            }
        }
    }
    std::stable_partition(lines.begin(), lines.end(),
                          [](const route_line &line) { return line.by[0] != '\0'; });
    if (lines.size() > 1 && lines.back().by[0] == '\0') {
        lines.back().commands += ", others";
    }
    return lines;
}

bool is_first_of_its_name(const cmds_family &family) {
    const auto families = cmds_families();
    return *std::find_if(families.begin(), families.end(), [&](const cmds_family *other) {
        return std::string_view(other->name) == family.name;
    }) == &family;
}

const char *text_of(carried state) {
    return state == carried::out         ? "carried out"
           : state == carried::only_kept ? "only kept"
                                         : "not supported";
}

} // namespace

report cmds_report_routes() {
    std::vector<route_line> all;
    for (const cmds_family *family : cmds_families()) {
        if (is_first_of_its_name(*family)) {
            const std::vector<route_line> lines = lines_of(family->name);
            all.insert(all.end(), lines.begin(), lines.end());
        }
    }
    report told;
    report_table &table = report_add_table(
        told, "commands", "", {{"commands", "Commands"}, {"service", "Carried out by"}, {"state", "Here"}});
    for (const route_line &line : all) {
        table.rows.push_back({line.commands, std::string(line.by), std::string(text_of(line.state))});
    }
    return told;
}
