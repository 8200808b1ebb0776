#pragma once

#include "modbus/mbcounters_page.h"

#include <string>
#include <sys/types.h>

// Finding the counters of a daemon that runs on this machine, by the descriptors of its processes. Nothing
// that another user has made is believed, and nothing read before it is known to be what it should.

/// A daemon's counters, mapped to be read, or why there are none: `page` is then null.
struct counters_page {
    const mb_counters_page *page = nullptr;
    std::string error;
};

/// Those of the one daemon that runs as root or as `user`: what others have made is not looked at.
counters_page counters_page_find(uid_t user);

/// Those of the daemon whose listening process has this number, whoever's it is.
counters_page counters_page_of(pid_t process_id);
