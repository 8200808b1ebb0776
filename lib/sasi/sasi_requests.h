#pragma once

#include "lib/sasi/sasi_layout.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

// The requests that the switch-access device knows, as one table.

/// What a request asks a source for.
enum class sasi_question : uint8_t {
    counter,
    ring,
    alarms,
    port_state,
    port_media,
    bridge,
    mst_instance,
    mst_ports,
    redundant_ring,
    ip_word,
};

/// One request. Its place in k_sasi_requests is its kind.
struct sasi_request_row {
    uint32_t request;
    uint32_t sub_code;
    sasi_question question;
    uint8_t which;      // counters: the place in k_counter_subs; IP words: a sasi_ip_word
    uint16_t result_at; // the block's bytes that its results lie in
    uint16_t result_size;
    const char *meaning;
};

/// The IPv4 settings of the management interface.
enum class sasi_ip_word : uint8_t { address, netmask, route };

namespace sasi_rows {
constexpr sasi_request_row counter(uint8_t which) {
    return {k_sasi_counter, k_counter_subs[which], sasi_question::counter, which, k_at_counter_value, 4,
            "port counter"};
}
constexpr sasi_request_row ip(uint32_t sub_code, sasi_ip_word which, const char *meaning) {
    return {k_sasi_ip, sub_code, sasi_question::ip_word, static_cast<uint8_t>(which), k_at_ip_word,
            4,         meaning};
}
constexpr uint16_t k_alarms_size = k_at_alarm_word + 4 - k_at_alarm_first;
constexpr uint16_t k_port_words_size = k_at_port_words[4] + 4 - k_at_port_words[0];
} // namespace sasi_rows

inline constexpr sasi_request_row k_sasi_requests[] = {
    sasi_rows::counter(0),
    sasi_rows::counter(1),
    sasi_rows::counter(2),
    sasi_rows::counter(3),
    sasi_rows::counter(4),
    sasi_rows::counter(5),
    sasi_rows::counter(6),
    sasi_rows::counter(7),
    {k_sasi_ring_redundancy, k_sub_ring_record, sasi_question::ring, 0, k_at_ring_record,
     ring_at::k_used_size, "ring-redundancy ring"},
    {k_sasi_alarm, k_sub_alarm_status, sasi_question::alarms, 0, k_at_alarm_first, sasi_rows::k_alarms_size,
     "alarm status"},
    {k_sasi_port, k_sub_port_state, sasi_question::port_state, 0, k_at_port_words[0],
     sasi_rows::k_port_words_size, "port state"},
    {k_sasi_port, k_sub_port_media, sasi_question::port_media, 0, k_at_port_media, 4, "port media"},
    {k_sasi_spanning_tree, k_sub_bridge_record, sasi_question::bridge, 0, k_at_bridge_record,
     k_bridge_record_size, "spanning-tree bridge"},
    {k_sasi_spanning_tree, k_sub_mst_instance, sasi_question::mst_instance, 0, k_at_mst_record,
     k_mst_record_size, "MST instance"},
    {k_sasi_spanning_tree, k_sub_mst_ports, sasi_question::mst_ports, 0, k_at_mst_record, k_mst_ports_size,
     "MST instance ports"},
    {k_sasi_redundant_ring, k_sub_redundant_record, sasi_question::redundant_ring, 0, k_at_redundant_record,
     k_redundant_record_size, "redundant ring"},
    sasi_rows::ip(k_sub_ip_address, sasi_ip_word::address, "management address"),
    sasi_rows::ip(k_sub_ip_netmask, sasi_ip_word::netmask, "management netmask"),
    sasi_rows::ip(k_sub_ip_route, sasi_ip_word::route, "management route"),
};
inline constexpr size_t k_sasi_request_kinds = std::size(k_sasi_requests);

/// Where a request number's rows begin, by its low byte: k_sasi_request_kinds for those the device does not
/// know.
inline constexpr auto k_sasi_request_rows = [] {
    std::array<uint8_t, 256> rows;
    rows.fill(k_sasi_request_kinds);
    for (size_t kind = k_sasi_request_kinds; kind-- > 0;) {
        rows[k_sasi_requests[kind].request & 0xFF] = static_cast<uint8_t>(kind);
    }
    return rows;
}();

/// The kind of a request, or k_sasi_request_kinds when the device does not know it.
constexpr size_t sasi_request_kind(uint32_t number, uint32_t sub_code) {
    size_t kind = k_sasi_request_rows[number & 0xFF];
    while (kind < k_sasi_request_kinds &&
           (k_sasi_requests[kind].request != number || k_sasi_requests[kind].sub_code != sub_code)) {
        kind++;
    }
    return kind;
}

/// Whether a control call's number is one of the device's: like any driver's they share their second byte.
constexpr bool sasi_takes(unsigned long number) { return (number >> 8) == (k_sasi_alarm >> 8); }

// Return codes that a block is answered with, 0 apart. A board's own device may have others.
inline constexpr int32_t k_sasi_unknown_request = -1; // no such request, or not the one the block names
inline constexpr int32_t k_sasi_bad_argument =
    -2; // no such port, ring or instance, or a fixed argument is missing
inline constexpr int32_t k_sasi_not_known = -3; // a request in order, for what the source does not know
