#pragma once

#include <cstdint>

// The saved configuration, which is commands.

constexpr int32_t k_cli_load_failed_lines = -301;

/// Replays a saved configuration: commands, one a line, in the global configuration mode at first. A line
/// that begins with "!" goes back to it. Returns 0, -1 when the file cannot be opened,
/// k_cli_load_failed_lines when at least one line failed, which goes to the system log by its number; the
/// lines after it are run all the same. May be called by a handler.
int32_t cli_load_config(const char *path);
