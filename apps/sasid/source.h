#pragma once

#include "lib/sasi/sasi_layout.h"

#include <cstdint>
#include <string>

// What sasid answers requests from.

struct sasid_source {
    /// Called once, when the privileges have been dropped and before the first request: starts what the
    /// source needs. Returns false and says why in `error`; null: nothing is to be started.
    bool (*start)(std::string &error);
    /// The errno number that an open is refused with, or 0; null: none is refused.
    int32_t (*refusal)();
    /// Answers a block from memory, without waiting; from any thread. Returns 0, or an errno number when the
    /// control call is to fail. With `delay_ms`, an answer that is to come later is not given yet: that is
    /// told there, and the call comes again, without, when the time is over.
    int32_t (*answer)(uint32_t number, sasi_block &block, uint32_t *delay_ms);
};

/// The source that knows nothing.
extern const sasid_source k_sasid_no_source;

/// The simulated switch whose state file is at `path`, or where `switchsim` looks when that is empty. It may
/// come and go: while it is not there, requests fail with EIO. A change is noticed within a quarter second.
const sasid_source &sasid_simulated_source(const std::string &path);

/// What `sasid` is told about a bridge of this machine, as it stands on the command line.
struct sasid_bridge {
    std::string name;
    std::string ports;  // names with commas between them; empty: the bridge's, in their order
    std::string config; // a file; empty: nothing raises an alarm
};

/// A bridge of this machine, which need not be there. Null, after a line on standard error, when a name is
/// none, there are more ports than a switch has, or the file is wrong.
const sasid_source *sasid_linux_source(const sasid_bridge &bridge);
