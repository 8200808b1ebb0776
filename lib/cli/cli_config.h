#pragma once

#include <cstdint>
#include <string>

// The saved configuration, which is commands.

constexpr int32_t k_cli_load_failed_lines = -301;

/// Replays a saved configuration: commands, one a line, in the global configuration mode at first. A line
/// that begins with "!" goes back to it. Returns 0, -1 with errno set when the file cannot be opened or read
/// to its end, k_cli_load_failed_lines when at least one line failed: its number, from 1, goes to `failed`,
/// or to the system log when that is null. The lines after it are run all the same. May be called by a
/// handler.
int32_t cli_load_config(const char *path, void (*failed)(int32_t line) = nullptr);

/// The same with the lines of a text, which a log calls by no name.
int32_t cli_run_config(std::string text, void (*failed)(int32_t line));

/// Whether a saved configuration is being replayed.
bool cli_is_loading();
