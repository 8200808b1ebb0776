#pragma once

#include "lib/base/bytes.h"
#include "lib/sasi/sasi_source.h"

#include <algorithm>

// The switch-access device's side of the request block: checks its arguments, asks a source, lays the results
// out. A template, so that the preloaded library's answers cost no call more: a search for a ring makes 255.

namespace sasi_engine {

inline uint8_t *at(sasi_block &block, size_t place) {
    return block.payload + (place - offsetof(sasi_block, payload));
}

/// A record in the block, all zero.
inline uint8_t *clear_record(sasi_block &block, size_t place, size_t size) {
    return std::fill_n(at(block, place), size, uint8_t{0}) - size;
}

inline void put_address(uint8_t *bytes, uint64_t address) {
    put_be16(bytes, static_cast<uint16_t>(address >> 32));
    put_be32(bytes + 2, static_cast<uint32_t>(address));
}

constexpr bool is_port(int32_t number) { return number >= 1 && number <= k_switch_ports; }

template<sasi_source Source> int32_t answer_counter(const Source &source, size_t which, sasi_block &block) {
    if (!is_port(block.index)) {
        return k_sasi_bad_argument;
    }
    uint32_t value = 0;
    const int32_t code = source.counter(block.index, which, value);
    if (code == 0) {
        store_native(at(block, k_at_counter_value), value);
    }
    return code;
}

template<sasi_source Source> int32_t answer_ring(const Source &source, sasi_block &block) {
    const auto id = load_native<int32_t>(at(block, k_at_ring_id));
    if (id < 1 || id > k_ring_ids) {
        return k_sasi_bad_argument;
    }
    sasi_ring ring{};
    if (const int32_t code = source.ring(id, ring); code != 0) {
        return code;
    }
    // Around the name, which is written whole; the record's other 4 KiB mean nothing to anybody.
    uint8_t *record = clear_record(block, k_at_ring_record, ring_at::k_name);
    std::fill_n(record + ring_at::k_configured, ring_at::k_used_size - ring_at::k_configured, uint8_t{0});
    static_assert(ring_at::k_name + ring_at::k_name_size == ring_at::k_configured);
    store_native(record + ring_at::k_state, ring.state);
    store_native(record + ring_at::k_word24, ring.word24);
    store_native(record + ring_at::k_value28, ring.value28);
    record[ring_at::k_port1] = ring.port1;
    store_native(record + ring_at::k_port1_state, ring.port1_state);
    store_native(record + ring_at::k_word60, ring.word60);
    record[ring_at::k_port2] = ring.port2;
    store_native(record + ring_at::k_port2_state, ring.port2_state);
    store_native(record + ring_at::k_word72, ring.word72);
    store_native(record + ring_at::k_configured, ring.configured);
    store_native(record + ring_at::k_word133, ring.word133);
    record[ring_at::k_byte137] = ring.byte137;
    store_native(record + ring_at::k_word141, ring.word141);
    source.ring_name(
        id, std::span<uint8_t, ring_at::k_name_size>(record + ring_at::k_name, ring_at::k_name_size));
    return 0;
}

template<sasi_source Source> int32_t answer_alarms(const Source &source, sasi_block &block) {
    sasi_alarms alarms{};
    const int32_t code = source.alarms(alarms);
    if (code == 0) {
        store_native(at(block, k_at_alarm_first), alarms.first);
        store_native(at(block, k_at_alarm_word), alarms.alarm);
    }
    return code;
}

template<sasi_source Source> int32_t answer_port_state(const Source &source, sasi_block &block) {
    if (!is_port(block.index)) {
        return k_sasi_bad_argument;
    }
    sasi_port_words words{};
    const int32_t code = source.port_state(block.index, words);
    if (code == 0) {
        for (size_t i = 0; i < words.size(); i++) {
            store_native(at(block, k_at_port_words[i]), words[i]);
        }
    }
    return code;
}

template<sasi_source Source> int32_t answer_port_media(const Source &source, sasi_block &block) {
    if (!is_port(block.index)) {
        return k_sasi_bad_argument;
    }
    uint32_t media = 0;
    const int32_t code = source.port_media(block.index, media);
    if (code == 0) {
        store_native(at(block, k_at_port_media), media);
    }
    return code;
}

template<sasi_source Source> int32_t answer_bridge(const Source &source, sasi_block &block) {
    sasi_bridge bridge{};
    const int32_t code = source.bridge(bridge);
    if (code == 0) {
        uint8_t *record = clear_record(block, k_at_bridge_record, k_bridge_record_size);
        record[bridge_at::k_enabled] = bridge.enabled;
        record[bridge_at::k_mode] = bridge.mode;
    }
    return code;
}

/// The instance that a block asks for, or -1.
inline int32_t mst_of(sasi_block &block) {
    const auto instance = load_native<int32_t>(at(block, k_at_mst_index));
    return instance >= 0 && instance < k_mst_instances ? instance : -1;
}

template<sasi_source Source> int32_t answer_mst_instance(const Source &source, sasi_block &block) {
    const int32_t instance = mst_of(block);
    if (instance < 0) {
        return k_sasi_bad_argument;
    }
    sasi_mst mst{};
    const int32_t code = source.mst_instance(instance, mst);
    if (code == 0) {
        uint8_t *record = clear_record(block, k_at_mst_record, k_mst_record_size);
        record[mst_at::k_byte1] = mst.byte1;
        put_address(record + mst_at::k_bridge_address, mst.address);
    }
    return code;
}

inline void put_mst_port(uint8_t *entry, const sasi_mst_port &port) {
    entry[mst_at::k_entry_state] = port.state;
    entry[mst_at::k_entry_byte1] = port.byte1;
    entry[mst_at::k_entry_byte4] = port.byte4;
    entry[mst_at::k_entry_byte5] = port.byte5;
    entry[mst_at::k_entry_byte8] = port.byte8;
    entry[mst_at::k_entry_byte9] = port.byte9;
}

template<sasi_source Source> int32_t answer_mst_ports(const Source &source, sasi_block &block) {
    const int32_t instance = mst_of(block);
    const uint8_t *preset = at(block, k_at_mst_record) + 1;
    if (instance < 0 || std::count(preset, preset + k_mst_ports_preset, 1) != k_mst_ports_preset) {
        return k_sasi_bad_argument;
    }
    std::array<sasi_mst_port, k_switch_ports> ports{};
    const int32_t code = source.mst_ports(instance, ports);
    if (code == 0) {
        uint8_t *table = clear_record(block, k_at_mst_record, k_mst_ports_size);
        for (size_t i = 0; i < ports.size(); i++) {
            put_mst_port(table + mst_at::k_port_entry + mst_at::k_port_entry_size * (i + 1), ports[i]);
        }
    }
    return code;
}

template<sasi_source Source> int32_t answer_redundant(const Source &source, sasi_block &block) {
    const auto number = load_native<int32_t>(at(block, k_at_redundant_ring));
    if (number < 0 || number >= k_redundant_rings ||
        load_native<uint16_t>(at(block, k_at_redundant_one)) != 1 || *at(block, k_at_redundant_zero1) != 0 ||
        *at(block, k_at_redundant_zero2) != 0) {
        return k_sasi_bad_argument;
    }
    sasi_redundant_ring ring{};
    const int32_t code = source.redundant_ring(number, ring);
    if (code == 0) {
        uint8_t *record = clear_record(block, k_at_redundant_record, k_redundant_record_size);
        store_native(record + redundant_at::k_state, ring.state);
        put_address(record + redundant_at::k_address, ring.address);
        store_native(record + redundant_at::k_word14, ring.word14);
        store_native(record + redundant_at::k_word18, ring.word18);
        record[redundant_at::k_byte22] = ring.byte22;
        store_native(record + redundant_at::k_word26, ring.word26);
        record[redundant_at::k_byte30] = ring.byte30;
        store_native(record + redundant_at::k_word34, ring.word34);
    }
    return code;
}

template<sasi_source Source> int32_t answer_ip(const Source &source, sasi_ip_word which, sasi_block &block) {
    uint32_t word = 0;
    const int32_t code = source.ip_word(which, word);
    if (code == 0) {
        store_native(at(block, k_at_ip_word), word);
    }
    return code;
}

/// Answers what a row asks. Returns the block's return code.
template<sasi_source Source>
int32_t answer_row(const Source &source, const sasi_request_row &row, sasi_block &block) {
    using enum sasi_question;
    switch (row.question) {
    case counter:
        return answer_counter(source, row.which, block);
    case ring:
        return answer_ring(source, block);
    case alarms:
        return answer_alarms(source, block);
    case port_state:
        return answer_port_state(source, block);
    case port_media:
        return answer_port_media(source, block);
    case bridge:
        return answer_bridge(source, block);
    case mst_instance:
        return answer_mst_instance(source, block);
    case mst_ports:
        return answer_mst_ports(source, block);
    case redundant_ring:
        return answer_redundant(source, block);
    case ip_word:
        return answer_ip(source, static_cast<sasi_ip_word>(row.which), block);
    }
    return k_sasi_unknown_request;
}

} // namespace sasi_engine

/// The kind of the request that a block makes by the control call `number`: k_sasi_request_kinds when there
/// is no such request, or the block names another.
inline size_t sasi_kind_of(uint32_t number, const sasi_block &block) {
    return block.request == number ? sasi_request_kind(number, block.sub_code) : k_sasi_request_kinds;
}

/// Answers a block whose request is of `kind`. Writes the return code and, when that is 0, exactly the
/// request's results, which lie within the bytes that its row tells; all else in the block stays as it was.
/// Makes no call but the source's.
template<sasi_source Source> void sasi_answer(const Source &source, size_t kind, sasi_block &block) {
    block.return_code = kind < k_sasi_request_kinds
                            ? sasi_engine::answer_row(source, k_sasi_requests[kind], block)
                            : k_sasi_unknown_request;
}
