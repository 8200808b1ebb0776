#pragma once

#include "lib/base/switch_ports.h"
#include "lib/sasi/sasi_requests.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <span>

// What the engine of the switch-access device asks a source for. A source knows nothing of the block: it is
// asked only with numbers in range and gives plain values.

/// The alarm status; bits of `alarm` in alarm_bit.
struct sasi_alarms {
    uint32_t first;
    uint32_t alarm;
};

/// The setting and state words of a port, in the order of k_at_port_words.
using sasi_port_words = std::array<uint32_t, std::size(k_at_port_words)>;

/// The spanning-tree bridge; see bridge_at.
struct sasi_bridge {
    uint8_t enabled;
    uint8_t mode;
};

/// An MST instance; see mst_at.
struct sasi_mst {
    uint64_t address; // of the bridge, 6 bytes as one number, first byte highest
    uint8_t byte1;
};

/// What an MST instance's port table holds of one port; see mst_at.
struct sasi_mst_port {
    uint8_t state;
    uint8_t byte1;
    uint8_t byte4;
    uint8_t byte5;
    uint8_t byte8;
    uint8_t byte9;
};

/// A ring-redundancy ring without its name; see ring_at.
struct sasi_ring {
    uint32_t state;
    uint32_t word24;
    uint32_t port1_state;
    uint32_t word60;
    uint32_t port2_state;
    uint32_t word72;
    uint32_t configured;
    uint32_t word133;
    uint32_t word141;
    uint16_t value28;
    uint8_t port1;
    uint8_t port2;
    uint8_t byte137;
};

/// A redundant ring; see redundant_at.
struct sasi_redundant_ring {
    uint64_t address; // 6 bytes as one number, first byte highest
    uint32_t state;
    uint32_t word14;
    uint32_t word18;
    uint32_t word26;
    uint32_t word34;
    uint8_t byte22;
    uint8_t byte30;
};

/// A source. Each function fills its last argument, which is all zero before, and returns 0; or it returns
/// k_sasi_not_known or another return code, and what it has filled is not looked at. Numbers are: ports
/// 1..k_switch_ports, ring IDs 1..k_ring_ids, redundant rings 0..k_redundant_rings - 1, instances
/// 0..k_mst_instances - 1; `which` of a counter is its place in k_counter_subs. IP words are addresses as
/// numbers, first octet highest. A ring's name is asked for only when the ring has been given. A function
/// neither waits nor fails in any other way.
template<typename T>
concept sasi_source = requires(const T &source, int32_t number, size_t which, sasi_ip_word ip,
                               uint32_t &value, sasi_alarms &alarms,
                               std::span<uint32_t, std::size(k_at_port_words)> words, sasi_bridge &bridge,
                               sasi_mst &mst, std::span<sasi_mst_port, k_switch_ports> ports, sasi_ring &ring,
                               std::span<uint8_t, ring_at::k_name_size> name,
                               sasi_redundant_ring &redundant) {
    { source.counter(number, which, value) } -> std::same_as<int32_t>;
    { source.ring(number, ring) } -> std::same_as<int32_t>;
    { source.ring_name(number, name) } -> std::same_as<void>; // all of it
    { source.alarms(alarms) } -> std::same_as<int32_t>;
    { source.port_state(number, words) } -> std::same_as<int32_t>;
    { source.port_media(number, value) } -> std::same_as<int32_t>;
    { source.bridge(bridge) } -> std::same_as<int32_t>;
    { source.mst_instance(number, mst) } -> std::same_as<int32_t>;
    { source.mst_ports(number, ports) } -> std::same_as<int32_t>; // port 1 first
    { source.redundant_ring(number, redundant) } -> std::same_as<int32_t>;
    { source.ip_word(ip, value) } -> std::same_as<int32_t>;
};

/// The source that knows nothing.
struct sasi_empty_source {
    static int32_t counter(int32_t /*port*/, size_t /*which*/, uint32_t & /*value*/) {
        return k_sasi_not_known;
    }
    static int32_t ring(int32_t /*id*/, sasi_ring & /*ring*/) { return k_sasi_not_known; }
    static void ring_name(int32_t /*id*/, std::span<uint8_t, ring_at::k_name_size> /*name*/) {}
    static int32_t alarms(sasi_alarms & /*alarms*/) { return k_sasi_not_known; }
    static int32_t port_state(int32_t /*port*/, std::span<uint32_t> /*words*/) { return k_sasi_not_known; }
    static int32_t port_media(int32_t /*port*/, uint32_t & /*media*/) { return k_sasi_not_known; }
    static int32_t bridge(sasi_bridge & /*bridge*/) { return k_sasi_not_known; }
    static int32_t mst_instance(int32_t /*instance*/, sasi_mst & /*mst*/) { return k_sasi_not_known; }
    static int32_t mst_ports(int32_t /*instance*/, std::span<sasi_mst_port> /*ports*/) {
        return k_sasi_not_known;
    }
    static int32_t redundant_ring(int32_t /*number*/, sasi_redundant_ring & /*ring*/) {
        return k_sasi_not_known;
    }
    static int32_t ip_word(sasi_ip_word /*which*/, uint32_t & /*word*/) { return k_sasi_not_known; }
};
