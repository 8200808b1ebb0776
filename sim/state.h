#pragma once

#include "lib/sasi/sasi_requests.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

// The simulated switch: one structure in a shared file mapping, the same bytes for a 32-bit program and for a
// 64-bit one. Programs under the preloaded library and any number of writers use it at the same time without
// a lock: every number is read and written whole and by itself, texts and word lists one element after the
// other, so a text read in the moment of its change can be part old and part new.

/// A counter that runs by itself: its value is base + rate x seconds since the switch was made. Base and
/// running rate share one word so that they change together.
struct sim_counter {
    alignas(8) uint64_t line; // base in the low half, running rate in the high half
    uint32_t rate;            // counts a second while the port's link is up
    uint32_t reserved;
};

struct sim_port {
    uint32_t link;     // 1: up. While down, the fifth state word reads 0 and the counters stand
    uint32_t alarmed;  // 1: the link being down raises the port's alarm bit
    uint32_t media;    // 2 fibre gigabit, 1 copper gigabit, other copper fast
    uint32_t words[5]; // setting and state words, in the order of k_at_port_words
    sim_counter counters[sizeof k_counter_subs / sizeof k_counter_subs[0]]; // in the order of k_counter_subs
};

/// A ring-redundancy record, without the bytes that nothing reads; see ring_at.
struct sim_ring {
    alignas(8) uint8_t name[36]; // the first k_name_size bytes count
    uint32_t state;
    uint32_t word24;
    uint32_t value28;
    uint32_t port1;
    uint32_t port1_state;
    uint32_t word60;
    uint32_t port2;
    uint32_t port2_state;
    uint32_t word72;
    uint32_t configured;
    uint32_t word133;
    uint32_t byte137;
    uint32_t word141;
};

/// A redundant-ring record; see redundant_at.
struct sim_redundant_ring {
    alignas(8) uint64_t address; // 6 bytes as one number, first byte highest
    uint32_t state;
    uint32_t word14;
    uint32_t word18;
    uint32_t byte22;
    uint32_t word26;
    uint32_t byte30;
    uint32_t word34;
    uint32_t reserved;
};

/// What an MST instance's port table holds of one port; see mst_at.
struct sim_mst_port {
    uint8_t byte0;
    uint8_t byte1;
    uint8_t byte4;
    uint8_t byte5;
    uint8_t byte8;
    uint8_t byte9;
    uint8_t reserved[2];
};

struct sim_mst {
    alignas(8) uint64_t address; // 6 bytes as one number, first byte highest
    uint32_t byte1;
    uint32_t reserved;
    sim_mst_port ports[k_switch_ports]; // port 1 first
};

inline constexpr size_t k_sim_serial_size = 64;

struct sim_identity {
    uint16_t tailer_a[16];
    uint16_t tailer_b[16];
    uint16_t header_a[12];
    uint16_t header_b[16];
    uint8_t serial[k_sim_serial_size]; // zero-terminated
    alignas(8) uint64_t tap0;          // the address as one number, first byte highest
};

/// The IPv4 settings of the management interface; addresses as numbers, first octet highest.
struct sim_ip {
    uint32_t address;
    uint32_t netmask;
    uint32_t route; // 0: no route beyond the subnet
    uint32_t reserved;
};

/// The system's clock, and what was last written to the hardware clock "/dev/rtc-dev".
struct sim_clocks {
    int32_t ahead; // seconds that the switch's date is ahead of the machine's
    uint32_t writes;
    int32_t second;
    int32_t minute;
    int32_t hour;
    int32_t day;
    int32_t month; // as written, and so is the year
    int32_t year;
};

/// What the local time service has been told, and how it answers; see lib/time/sntp_record.h.
struct sim_time {
    uint32_t port; // UDP port on 127.0.0.1 that it is played on; 0: it is not
    uint32_t requests;
    uint32_t settings[4];
    uint32_t rules[2][4];
    uint32_t address;
    uint32_t server_kind;
    uint32_t server_ipv4;
    uint8_t server_ipv6[16];
    uint8_t server_name[52]; // zero-terminated
    uint8_t text[40];        // the first k_sntp_text_length characters are sent
    uint32_t reply1;
    uint32_t reply2;
    int32_t status;
};

// What a request can be made to do; bits of sim_request_fault::what.
inline constexpr uint32_t k_sim_fault_fail = 1; // the control call gives -1 (EIO)
inline constexpr uint32_t k_sim_fault_code = 2; // the block gets return_code, and no results

struct sim_request_fault {
    uint32_t what;
    int32_t return_code;
    uint32_t delay_ms; // the answer comes that much later
};

inline constexpr uint32_t k_sim_flash_whole = 0xFFFFFFFF;
inline constexpr uint32_t k_sim_flash_missing = 0xFFFFFFFE;
inline constexpr uint32_t k_sim_forks_all = 0xFFFFFFFF;
inline constexpr uint32_t k_sim_time_whole = 0xFFFFFFFF;
inline constexpr uint32_t k_sim_time_silent = 0xFFFFFFFE;

/// All zero is a device without a fault, but for the sizes.
struct sim_faults {
    sim_request_fault requests[k_sasi_request_kinds]; // by kind
    uint32_t tailer_size; // bytes "/dev/mtd1" is cut to, or k_sim_flash_whole or k_sim_flash_missing
    uint32_t header_size; // the same of "/dev/mtd4"
    uint32_t device_missing;
    uint32_t serial_missing;
    uint32_t tap0_absent;
    uint32_t fork_failures; // how many of the next forks fail
    uint32_t rtc_missing;
    uint32_t rtc_failing;  // its control call gives -1 (EIO)
    uint32_t time_size;    // bytes that the time service's answers are cut to, or k_sim_time_...
    uint32_t time_late_ms; // how much later they come
};

struct sim_state {
    uint32_t magic;
    uint32_t version;
    uint32_t size;
    uint32_t port_in_use;        // TCP port that the program listens on instead of 502; 0: not yet
    alignas(8) uint64_t born_ns; // monotonic clock when the switch was made
    uint32_t alarm_first;        // first word of the alarm status
    uint32_t alarm_word;         // alarm bits set by hand; link-down bits come on top
    uint32_t bridge_enabled;     // bytes of the bridge record, see bridge_at
    uint32_t bridge_mode;
    sim_identity identity;
    sim_port ports[k_switch_ports]; // port 1 first
    sim_redundant_ring redundant[k_redundant_rings];
    sim_ring rings[k_ring_ids]; // ring ID 1 first
    sim_mst mst[k_mst_instances];
    sim_ip ip;
    sim_clocks clocks;
    sim_time time;
    sim_faults faults;
    uint32_t reserved[2];
    // By kind, and one place more for what the device does not know. Apart from what is only read, so that
    // counting in one child does not slow the others' reads.
    alignas(64) uint32_t request_counts[k_sasi_request_kinds + 1];
    uint32_t reserved_end[15];
};

inline constexpr uint32_t k_sim_magic = 0x5357534D;
inline constexpr uint32_t k_sim_version = 3;

static_assert(sizeof(sim_counter) == 16 && sizeof(sim_port) == 160 && sizeof(sim_ring) == 88);
static_assert(sizeof(sim_redundant_ring) == 40 && sizeof(sim_mst_port) == 8 && sizeof(sim_mst) == 112);
static_assert(sizeof(sim_identity) == 192 && sizeof(sim_time) == 188 && sizeof(sim_faults) == 268);
static_assert(offsetof(sim_state, identity) == 40 && offsetof(sim_state, ports) == 232);
static_assert(offsetof(sim_state, rings) == 2232 && offsetof(sim_state, mst) == 24672);
static_assert(offsetof(sim_state, ip) == 31840 && offsetof(sim_state, faults) == 32076 &&
              offsetof(sim_state, request_counts) == 32384 && sizeof(sim_state) == 32576);

/// Reads a number of the state, as another process may be writing it.
template<typename T> T sim_load(const T &field) { return __atomic_load_n(&field, __ATOMIC_RELAXED); }

/// Writes a number of the state, as other processes may be reading it.
template<typename T> void sim_store(T &field, T value) { __atomic_store_n(&field, value, __ATOMIC_RELAXED); }

/// The monotonic clock in nanoseconds; the same in every process of the machine.
uint64_t sim_now_ns();

/// Waits that long, signals or not.
void sim_wait_ms(uint32_t milliseconds);

/// Makes `state` a switch without a past: links up and alarmed, no fault, all else zero, counters standing at
/// 0.
void sim_state_reset(sim_state &state);

/// What a running counter has come to at `now_ns`.
uint32_t sim_counter_value(const sim_state &state, const sim_counter &counter, uint64_t now_ns);

/// Lets a counter go on from `value`.
void sim_counter_set(sim_state &state, sim_port &port, sim_counter &counter, uint32_t value);

/// Changes a counter's rate (counts a second); its value goes on from where it is.
void sim_counter_set_rate(sim_state &state, sim_port &port, sim_counter &counter, uint32_t rate);

/// Takes a port's link up or down, and lets its counters run or stand.
void sim_port_set_link(sim_state &state, sim_port &port, bool up);

/// The alarm word that the device reports: the bits set by hand, and the link-down bit of every port whose
/// link is down and that is set to be alarmed.
uint32_t sim_alarm_word(const sim_state &state);
