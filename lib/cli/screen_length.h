#pragma once

#include "lib/cli/cli_error.h"

#include <cstdint>

// The lines of a screen of the pager: a setting that outlives the shell, in a file of its own.

constexpr const char *k_screen_length_file = "/var/qel_win_size"; // the number in decimal
constexpr int32_t k_screen_length_default = 24;
constexpr int32_t k_screen_length_min = 2;
constexpr int32_t k_screen_length_max = 29999;

/// A setting that could not be stored; the reason is in the system log.
constexpr int32_t k_screen_length_not_stored = -2;

/// The stored length; the default when the file is absent, or holds anything but a length that can be set.
int32_t screen_length();

/// Reads a length into `length`. Returns 0; or k_cli_invalid_value, after printing the error text, for
/// anything but a decimal number from the smallest to the largest length.
int32_t screen_length_read(const char *argument, cli_print_fn print, int32_t *length);

/// Handles "set length ARGUMENT": replaces the file with the number and returns 0. What screen_length_read
/// refuses leaves the file alone.
int32_t screen_length_set(const char *argument, cli_print_fn print);

/// Prints the line of the running configuration, which there is only when the stored length is not the
/// default.
void screen_length_show_config(cli_print_fn print);
