#pragma once

#include "lib/services/service.h"

// Daylight saving time, as the two rules that the local time service keeps: it cannot be asked for them, and
// not be told that there are none.

/// Sets it by a region or by the words of a beginning and an end of every year. not_supported for what the
/// rules cannot say; when they were set before, done, with a text that they go on.
service_answer summer_time_apply(std::span<const std::string> words);

/// As with what the rules cannot say.
service_answer summer_time_withdraw();
