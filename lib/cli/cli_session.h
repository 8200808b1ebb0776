#pragma once

#include <cstdint>

/// What the shell keeps of one client between its lines. It travels in every message, in this layout.
struct cli_session {
    uint32_t mode_mask; // bit set: commands of that mode may be typed
    int32_t mode_id;    // the command mode; 5 is the global configuration
    int32_t node_kind;  // what the next line is; see below
    int32_t values[3];  // the command modules' own, such as the interface or VLAN being configured
    int32_t recording;  // the recording flag
};
static_assert(sizeof(cli_session) == 28);

// The global configuration, which a saved one begins in too: its mode, and what may be typed there and in the
// modes below it, the commands of users (bit 1) and of the configuration (bits 2 and 3).
constexpr int32_t k_cli_mode_config = 5;
constexpr uint32_t k_cli_mask_config = 0xE;

// Kinds of lines. The question that an answer belongs to is the last, unfinished line of what was printed.
constexpr int32_t k_cli_node_command = 0;
constexpr int32_t k_cli_node_answer = 1;
constexpr int32_t k_cli_node_secret =
    2; // an answer that nobody is to see: a client shows and keeps none of it
