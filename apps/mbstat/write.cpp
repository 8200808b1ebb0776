// Figures written out: for people, as JSON, as metrics.

#include "apps/mbstat/figures.h"

#include "lib/services/report.h"

#include <cinttypes>
#include <cstdio>
#include <string_view>

namespace {

report report_of(const stat_figures &from) {
    report made;
    for (const stat_figure &figure : from.figures) {
        report_add(made, {figure.key, figure.heading}, static_cast<int64_t>(figure.value), figure.unit);
    }
    for (const stat_group &group : from.groups) {
        report_table &table = report_add_table(made, group.key, group.title,
                                               {{group.label, group.label_heading},
                                                {group.value_key, group.value_heading},
                                                {"meaning", "Meaning"}});
        for (const stat_group::member &member : group.members) {
            table.rows.push_back({member.label, static_cast<int64_t>(member.value), member.meaning});
        }
    }
    return made;
}

std::string head_of(const char *metric, const char *help, bool is_total) {
    return std::string("# HELP ") + metric + " " + help + "\n# TYPE " + metric +
           (is_total ? " counter\n" : " gauge\n");
}

/// Metrics have base units.
std::string metric_value(const stat_figure &figure) {
    if (std::string_view(figure.unit) != "us") {
        return std::to_string(figure.value);
    }
    char text[32];
    std::snprintf(text, sizeof text, "%" PRIu64 ".%06u", figure.value / 1000000,
                  static_cast<unsigned>(figure.value % 1000000));
    return text;
}

} // namespace

std::string stat_text(const stat_figures &figures) { return report_text(report_of(figures)); }

std::string stat_json(const stat_figures &figures) { return report_json(report_of(figures)) + "\n"; }

std::string stat_metrics(const stat_figures &figures) {
    std::string text;
    for (const stat_figure &figure : figures.figures) {
        text += head_of(figure.metric, figure.help, figure.is_total) + figure.metric + " " +
                metric_value(figure) + "\n";
    }
    for (const stat_group &group : figures.groups) {
        text += head_of(group.metric, group.help, true);
        for (const stat_group::member &member : group.members) {
            text += std::string(group.metric) + "{" + group.label + "=\"" + member.label + "\"} " +
                    std::to_string(member.value) + "\n";
        }
    }
    return text;
}
