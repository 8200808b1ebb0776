#pragma once

#include "lib/services/service.h"

#include <array>

// What the parts of the time service have in common.

/// What a result of lib/time comes to: done, with a text where the setting stands though nothing can be
/// reached at present, or refused.
service_answer time_answer(int32_t result);

/// The three numbers of "23:59:58" or "2031/12/07"; -1 for each that is none.
std::array<int32_t, 3> time_numbers(std::string_view text, char separator);
