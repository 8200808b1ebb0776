#pragma once

#include "modbus/mbcounters_page.h"

#include <span>
#include <string>
#include <vector>

// The counters as figures: their rows, from which text, JSON and the metrics are written.

/// A figure by itself.
struct stat_figure {
    const char *key;     // in JSON
    const char *heading; // in text
    const char *unit;    // in text; "us" is written as seconds among the metrics
    const char *metric;
    bool is_total; // it only ever grows, as long as the daemon runs
    const char *help;
    uint64_t value;
};

/// Figures of a kind, told apart by a label.
struct stat_group {
    const char *key;
    const char *title;
    const char *label;         // in JSON, and among the metrics
    const char *label_heading; // in text
    const char *value_key;
    const char *value_heading;
    const char *metric;
    const char *help;
    struct member {
        std::string label;
        std::string meaning; // in text and JSON
        uint64_t value;
    };
    std::vector<member> members;
};

struct stat_figures {
    std::vector<stat_figure> figures;
    std::vector<stat_group> groups;
};

/// The figures of a page, summed up over all places, at the time `now_us` of the monotonic clock. Each is
/// exact by itself; requests that come meanwhile are in some and not yet in others.
stat_figures stat_figures_of(const mb_counters_page &page, int64_t now_us);

/// For people, with units; one JSON object on a line; metrics in the text exposition format 0.0.4.
std::string stat_text(const stat_figures &figures);
std::string stat_json(const stat_figures &figures);
std::string stat_metrics(const stat_figures &figures);
