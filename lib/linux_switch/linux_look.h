#pragma once

#include "lib/linux_switch/linux_model.h"
#include "lib/linux_switch/linux_query.h"

#include <string>

// Looking at a bridge: all questions that a model takes.

struct linux_look {
    linux_name bridge;
    linux_numbering numbering;
    int64_t lines_until_us = 0; // when lines are asked about again in any case
    linux_query query;          // open during a look only
};

/// How long a line that has changed without its link going down can stay as it was.
inline constexpr int64_t k_linux_lines_us = 10'000'000;

/// Brings `model` up to date at `now_us`: bridge, ports with counters, addresses; lines where a link has
/// changed, or when they are due. A bridge that is not there is no failure. Returns 0, or an errno, and
/// `model` may be half done then.
[[nodiscard]] int32_t linux_look_again(linux_look &look, int64_t now_us, linux_model &model);
