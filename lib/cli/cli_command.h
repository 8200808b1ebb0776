#pragma once

#include <cstdint>

constexpr int32_t k_cli_help_slots = 15;

/// Handles a command line with the `argc` words after the command words. Returns 0 when done, -1 for a
/// wrong argument (the caller says so to the user), anything else for a failure that it has reported itself.
using cli_handler_fn = int32_t (*)(int32_t argc, const char *const *argv);

/// One command of the shell, declared in a constexpr table of its module and never copied.
struct cli_command {
    const char *words;   // the keywords that select it, separated by blanks
    uint32_t mode_mask;  // bit set: valid in that mode
    int32_t kind;        // 0: an ordinary command line
    const char *pattern; // the argument words after the keywords; null when it takes none
    cli_handler_fn handler;
    const char *help[k_cli_help_slots]; // by word position; the one after the last word begins with "<cr>"
};
