#pragma once

#include "sim/settings.h"

/// Prints the settings whose names begin with `prefix`, one "NAME VALUE" a line, or values only. What can
/// only be read comes after "# ", so that the lines can be taken back; so does, after the value, why the
/// registers show another one (a link that is down). Rings and MST instances that are all zero are left out
/// unless `all` is given or the prefix names one of them. Returns how many settings the prefix fits.
size_t sim_show(const sim_state &state, std::string_view prefix, bool all, bool values_only);

/// Prints the names of all settings that begin with `prefix` (left out of the names), what they mean and what
/// values they take.
void sim_show_settings(std::string_view prefix);
