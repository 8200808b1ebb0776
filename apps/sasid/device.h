#pragma once

#include "apps/sasid/source.h"

#include <string>

// The character device, by the kernel's CUSE.

struct sasid_device {
    std::string name; // in /dev
    std::string user; // to become when it stands; empty: none
    const sasid_source *source;
};

/// Makes the device and serves it. Ends the process: with status 0 at SIGTERM, SIGINT or SIGHUP, and the
/// device goes with it; with 1, after a line on standard error, when it cannot be made.
[[noreturn]] void sasid_serve(const sasid_device &device);
