#pragma once

#include <cstdint>

// Codes that the shell's services and handlers report, and what a user reads for them.

constexpr int32_t k_cli_invalid_value = -6; // a value outside its range or not of its form

/// The shell's printf-style output to the user of the current line; returns the characters printed.
using cli_print_fn [[gnu::format(printf, 1, 2)]] = int (*)(const char *format, ...);

/// The text of an error code, without a line feed; "% Unknown error" for a code without one. Static.
const char *cli_error_text(int32_t code);
