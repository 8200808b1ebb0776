#pragma once

#include "apps/mbshow/image.h"

#include <string>

/// What a report is of. `before` is the last image of a watch, for rates, or null.
struct mb_report {
    const char *host;
    uint16_t port;
    const mb_image *image;
    const mb_image *before;
};

/// The switch in words, at most 100 columns wide as long as its own texts and numbers fit their columns.
std::string mb_report_text(const mb_report &report);

/// The switch as one JSON object in the order of the map, keyed by the names in the map's rows; `indent`
/// spaces a level, or one line when negative. No newline at the end.
std::string mb_report_json(const mb_report &report, int indent);
