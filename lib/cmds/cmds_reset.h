#pragma once

#include <cstddef>

/// Takes every setting of the running configuration back, the last one first: what carried it out is told,
/// and then it goes. What a service will not take back stays, and the user is told why. Returns how many
/// stay.
[[nodiscard]] size_t cmds_take_all_back();
