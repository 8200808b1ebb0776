#pragma once

#include "lib/config/config_store.h"

#include <cstddef>

/// Takes every setting of the running configuration back, the last one first: what carried it out is told,
/// and then it goes. What a service will not take back stays, and the user is told why. Returns how many
/// stay.
[[nodiscard]] size_t cmds_take_all_back();

/// Takes a context away with its settings, each taken back as above. Returns whether it went; otherwise it
/// stays with what could not be taken back. Without such a context nothing is done.
[[nodiscard]] bool cmds_take_away(config_context context);
