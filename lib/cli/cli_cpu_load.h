#pragma once

#include <cstdint>

/// Takes the counters of "/proc/stat"; called every 5 seconds by a timer. When they cannot be read the last
/// ones count twice, and the load is 0 until the next time.
void cli_cpu_sample();

/// The load of the processors between the last two samples in hundredths of a percent: 10000 is all of it.
/// From any thread.
int32_t cli_cpu_load();
