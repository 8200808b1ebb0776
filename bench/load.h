#pragma once

#include "bench/latency.h"

#include <string>
#include <sys/types.h>

/// What to ask of which server. Every connection has one request under way at any time.
struct load_options {
    const char *host;
    uint16_t port;
    uint8_t function; // 3 or 4
    uint16_t number;  // first register, the PDU address plus 1
    uint16_t count;
    uint32_t connections;
    double seconds;
    pid_t server; // whose processor time is measured; 0: none
    bool any_value;
};

struct load_result {
    latency_counts latency; // of the good replies
    uint64_t errors;        // replies that were not what was asked for
    double seconds;
    uint64_t server_ns;    // processor time of the server while it answered them
    std::string complaint; // the first error in words
};

/// Loads the server, after a tenth of the time to warm up. False, with `complaint` set, when a connection
/// could not be made or was lost.
[[nodiscard]] bool load_run(const load_options &options, load_result &result);
