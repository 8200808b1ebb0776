#pragma once

#include <cstdint>

// Status codes of a line that a client is to be told in words, and by which a command holds the shell while
// it works: nobody is served until it has ended.

constexpr int32_t k_csh_status_restarts = 0x1012b;
constexpr int32_t k_csh_status_session_ended = 0x1012e;

/// The client is to run the command line that was printed, on its own terminal. It comes with no words.
constexpr int32_t k_csh_status_at_client = 0x10132;

enum class csh_busy_change : uint8_t { none, set, clear };

struct csh_status_row {
    int32_t status;
    csh_busy_change busy;
    const char *text;
};

inline constexpr csh_status_row k_csh_status[] = {
    {0x10000, csh_busy_change::none, "The command has been taken."},
    {0x1006a, csh_busy_change::set, "A transfer has been started. Please wait."},
    {0x1006b, csh_busy_change::set, "A firmware update has been started. Please wait."},
    {0x1006c, csh_busy_change::none, "The transfer has ended."},
    {0x1006d, csh_busy_change::set, "The configuration is being written. Please wait."},
    {k_csh_status_restarts, csh_busy_change::set, "The switch restarts. Please wait."},
    {0x1012c, csh_busy_change::none, "The restart has been called off."},
    {k_csh_status_session_ended, csh_busy_change::none, "The session has ended."},
    {0x1012f, csh_busy_change::none, "The login has failed."},
    {0x10130, csh_busy_change::set, "The shell is in use by another command. Please wait."},
    {0x10131, csh_busy_change::clear, "The shell is free again."},
};
