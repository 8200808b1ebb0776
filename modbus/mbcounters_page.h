#pragma once

#include "lib/base/shared_count.h"
#include "lib/sasi/sasi.h"
#include "modbus/client_table.h"

#include <array>
#include <cstddef>
#include <cstdint>

// What the daemon counts, as it lies in the memory that its processes share and mbstat maps. A change of any
// field is a new version.

/// The name that the memory goes by: it is an unnamed file, which the kernel lists as "/memfd:NAME (deleted)"
/// among the descriptors of the processes that have it.
inline constexpr const char *k_mb_counters_name = "modbusd-counters";

inline constexpr uint32_t k_mb_counters_magic = 0x544E434D;
inline constexpr uint32_t k_mb_counters_version = 1;

/// How a connection has ended.
enum class mb_end : uint32_t {
    peer,       // the client closed it, or broke it off
    silence,    // nothing came, or no reply was taken, for as long as is waited
    bad_frame,  // the header announced less than itself, or more than the buffer holds
    crash,      // its process was ended by a signal, or ended otherwise than it should
    no_process, // it was accepted, but no process could be made for it
    count,
};
inline constexpr uint32_t k_mb_end_not_said = 0xFFFFFFFF;

/// The function codes that are counted, each by itself; all others are counted together, behind them.
inline constexpr std::array<uint8_t, 10> k_mb_counted_functions = {0x01, 0x02, 0x03, 0x04, 0x05,
                                                                   0x06, 0x0F, 0x10, 0x11, 0x17};

/// The exception codes that are sent.
inline constexpr std::array<uint8_t, 5> k_mb_counted_exceptions = {1, 2, 3, 4, 6};

/// What a connection's child counts. One place serves one connection after another, and goes on counting.
struct alignas(64) mb_child_counters {
    shared_count requests[k_mb_counted_functions.size() + 1];
    shared_count exceptions[k_mb_counted_exceptions.size()];
    shared_count foreign; // ADUs of another protocol, which get no reply
    sasi_tally device;
    shared_count reads;             // of input registers, which ask the switch
    shared_count read_us;           // what all of them have taken
    shared_count slowest_read_us;   // what the slowest one took
    std::atomic<uint32_t> said_end; // how its connection ends, an mb_end, or k_mb_end_not_said
    uint32_t unused;
};

/// All of it. The listening process makes it and writes the first part.
struct mb_counters_page {
    uint32_t magic;
    uint32_t version;
    uint32_t size; // of this struct
    int32_t process_id;
    int64_t started_us;    // of the monotonic clock
    shared_count accepted; // connections, but for those refused
    shared_count refused;  // as one more than are served at a time
    shared_count open;     // connections that have a process now
    shared_count ended[static_cast<size_t>(mb_end::count)];
    mb_child_counters children[k_tcp_clients_max];
};

static_assert(offsetof(mb_counters_page, started_us) == 16);
static_assert(offsetof(mb_counters_page, accepted) == 24);
static_assert(offsetof(mb_counters_page, ended) == 48);
static_assert(offsetof(mb_counters_page, children) == 128);
static_assert(offsetof(mb_child_counters, exceptions) == 88);
static_assert(offsetof(mb_child_counters, foreign) == 128);
static_assert(offsetof(mb_child_counters, reads) == 152);
static_assert(offsetof(mb_child_counters, said_end) == 176);
static_assert(sizeof(mb_child_counters) == 192 && sizeof(mb_counters_page) == 2048);
