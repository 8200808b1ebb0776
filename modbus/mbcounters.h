#pragma once

#include "modbus/mbcounters_page.h"
#include "modbus/mbtypes.h"

// Counting. Each process counts by itself in memory that all of them share, so that what a child has counted
// is there when it has crashed; a count is an addition, without a lock or a system call. Until the memory is
// shared, and where the kernel cannot make it, each process counts for itself alone.

/// Makes the counters, all of them 0, such that the processes forked from now on share them and mbstat finds
/// them for as long as this process lives. Returns false where the kernel refuses.
bool mb_counters_share();

/// All counters; for the listening process, which counts connections.
mb_counters_page &mb_counters();

/// In a connection's child: counts in place 0..9 from now on, device requests too; in a place of nobody
/// otherwise.
void mb_counters_enter(int32_t place);

// What a child counts, where mb_counters_enter has put it.

void mb_count_request(uint8_t function_code);
void mb_count_exception(mb_exception exception);
void mb_count_foreign();
void mb_count_read(int64_t took_us);

/// Says how the connection ends that this process serves; the last word counts.
void mb_count_end(mb_end how);
