#pragma once

#include "apps/sasid/source.h"

#include <string>

// The command line of sasid.

enum class sasid_source_kind : uint8_t { none, simulated, linux_bridge };

struct sasid_options {
    sasid_source_kind source = sasid_source_kind::none;
    std::string device = "sasi-dev"; // a name in /dev
    std::string state;               // the simulated switch's file; empty: where switchsim looks
    sasid_bridge bridge;             // of this machine
    std::string user;                // empty: stays the user it is
};

/// Reads the command line. Returns -1 to go on, otherwise the status to leave with: 0 after --help, 2 after a
/// line on standard error that says what is wrong.
[[nodiscard]] int sasid_parse_options(int argc, char **argv, sasid_options &wanted);
