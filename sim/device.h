#pragma once

#include "sim/state.h"

#include <array>
#include <span>

// The kernel's side of the switch-access device, answering from a simulated switch.

/// One request that the device knows. Its place in k_sim_requests is its kind.
struct sim_request {
    uint32_t request;
    uint32_t sub_code;
    const char *meaning;
};

inline constexpr sim_request k_sim_requests[] = {
    {k_sasi_counter, k_counter_subs[0], "port counter"},
    {k_sasi_counter, k_counter_subs[1], "port counter"},
    {k_sasi_counter, k_counter_subs[2], "port counter"},
    {k_sasi_counter, k_counter_subs[3], "port counter"},
    {k_sasi_counter, k_counter_subs[4], "port counter"},
    {k_sasi_counter, k_counter_subs[5], "port counter"},
    {k_sasi_counter, k_counter_subs[6], "port counter"},
    {k_sasi_counter, k_counter_subs[7], "port counter"},
    {k_sasi_ring_redundancy, k_sub_ring_record, "ring-redundancy ring"},
    {k_sasi_alarm, k_sub_alarm_status, "alarm status"},
    {k_sasi_port, k_sub_port_state, "port state"},
    {k_sasi_port, k_sub_port_media, "port media"},
    {k_sasi_spanning_tree, k_sub_bridge_record, "spanning-tree bridge"},
    {k_sasi_spanning_tree, k_sub_mst_instance, "MST instance"},
    {k_sasi_spanning_tree, k_sub_mst_ports, "MST instance ports"},
    {k_sasi_redundant_ring, k_sub_redundant_record, "redundant ring"},
    {k_sasi_ip, k_sub_ip_address, "management address"},
    {k_sasi_ip, k_sub_ip_netmask, "management netmask"},
    {k_sasi_ip, k_sub_ip_route, "management route"},
};
static_assert(std::size(k_sim_requests) == k_sim_request_kinds);

/// Where a request number's rows begin, by its low byte: k_sim_request_kinds for those the device does not
/// know.
inline constexpr auto k_sim_request_rows = [] {
    std::array<uint8_t, 256> rows;
    rows.fill(k_sim_request_kinds);
    for (size_t kind = k_sim_request_kinds; kind-- > 0;) {
        rows[k_sim_requests[kind].request & 0xFF] = static_cast<uint8_t>(kind);
    }
    return rows;
}();

/// The kind of a request, or k_sim_request_kinds when the device does not know it.
constexpr size_t sim_request_kind(uint32_t number, uint32_t sub_code) {
    size_t kind = k_sim_request_rows[number & 0xFF];
    while (kind < k_sim_request_kinds &&
           (k_sim_requests[kind].request != number || k_sim_requests[kind].sub_code != sub_code)) {
        kind++;
    }
    return kind;
}

// Return codes of the device itself.
inline constexpr int32_t k_sim_unknown_request = -1; // no such request, or not the one the block names
inline constexpr int32_t k_sim_bad_argument =
    -2; // no such port, ring or instance, or a fixed argument is missing

/// Whether a control call's number is one of the device's: like any driver's they share their second byte.
constexpr bool sim_device_takes(unsigned long number) { return (number >> 8) == (k_sasi_alarm >> 8); }

/// Answers one block. Writes the return code and, when it is 0, exactly the request's results; all else in
/// the block stays as it was. Makes no system call. Returns the request's kind, or k_sim_request_kinds for
/// none.
size_t sim_device_answer(const sim_state &state, uint32_t number, sasi_block &block);

/// The control call whole: counts the request, does what faults ask for, answers. Returns 0, or an errno
/// number when the call is to fail. Sleeps only when a fault says so.
int32_t sim_device_call(sim_state &state, uint32_t number, sasi_block &block);

inline constexpr size_t k_sim_flash_size = 4096;

/// Writes what "/dev/mtd1" (the tailer at its end) or "/dev/mtd4" (the header at its beginning) holds; bytes
/// outside the identity words are 0xFF, as erased flash is. Returns how many bytes the file has, or -1 when
/// it is missing.
int32_t sim_tailer_flash(const sim_state &state, std::span<uint8_t, k_sim_flash_size> bytes);
int32_t sim_header_flash(const sim_state &state, std::span<uint8_t, k_sim_flash_size> bytes);
