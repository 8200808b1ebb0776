#include "sim/device.h"

#include "lib/base/bytes.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace {

// Places of the identity words: the tailer counted from its own beginning. Apart from the daemon's numbers on
// purpose: one that is changed by mistake on either side shows.
constexpr size_t k_tailer_size = 112;
constexpr size_t k_tailer_words_a = 24;
constexpr size_t k_tailer_words_b = 56;
constexpr size_t k_header_words_a = 84;
constexpr size_t k_header_words_b = 108;

uint8_t *at(sasi_block &block, size_t place) {
    return block.payload + (place - offsetof(sasi_block, payload));
}

/// A record in the block, all zero.
uint8_t *clear_record(sasi_block &block, size_t place, size_t size) {
    return std::fill_n(at(block, place), size, uint8_t{0}) - size;
}

void put_word(uint8_t *record, size_t place, const uint32_t &field) {
    store_native(record + place, sim_load(field));
}

void put_byte(uint8_t *record, size_t place, const uint32_t &field) {
    record[place] = static_cast<uint8_t>(sim_load(field));
}

void put_address(uint8_t *bytes, const uint64_t &field) {
    const uint64_t address = sim_load(field);
    put_be16(bytes, static_cast<uint16_t>(address >> 32));
    put_be32(bytes + 2, static_cast<uint32_t>(address));
}

/// The element that a one-based number asks for, or null.
template<typename T, size_t N> const T *numbered(const T (&elements)[N], int32_t number) {
    return number >= 1 && number <= static_cast<int32_t>(N) ? &elements[number - 1] : nullptr;
}

int32_t answer_counter(const sim_state &state, sasi_block &block, size_t kind) {
    const sim_port *port = numbered(state.ports, block.index);
    if (port == nullptr) {
        return k_sim_bad_argument;
    }
    // The counters come first among the kinds, in the order of the port's.
    store_native(at(block, k_at_counter_value), sim_counter_value(state, port->counters[kind], sim_now_ns()));
    return 0;
}

/// Four bytes of the state at a time: a search for a ring reads 255 names.
void put_text(uint8_t *bytes, const uint8_t *text, size_t size) {
    using four_bytes [[gnu::may_alias]] = uint32_t;
    static_assert(offsetof(sim_ring, name) % alignof(four_bytes) == 0);
    size_t i = 0;
    for (; i + sizeof(four_bytes) <= size; i += sizeof(four_bytes)) {
        store_native(bytes + i, sim_load(*reinterpret_cast<const four_bytes *>(text + i)));
    }
    for (; i < size; i++) {
        bytes[i] = sim_load(text[i]);
    }
}

int32_t answer_ring(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    const sim_ring *ring = numbered(state.rings, load_native<int32_t>(at(block, k_at_ring_id)));
    if (ring == nullptr) {
        return k_sim_bad_argument;
    }
    // The record's other 4 KiB mean nothing to anybody, and clearing them takes longer than all else here.
    uint8_t *record = clear_record(block, k_at_ring_record, ring_at::k_used_size);
    put_word(record, ring_at::k_state, ring->state);
    put_word(record, ring_at::k_word24, ring->word24);
    store_native(record + ring_at::k_value28, static_cast<uint16_t>(sim_load(ring->value28)));
    put_byte(record, ring_at::k_port1, ring->port1);
    put_word(record, ring_at::k_port1_state, ring->port1_state);
    put_word(record, ring_at::k_word60, ring->word60);
    put_byte(record, ring_at::k_port2, ring->port2);
    put_word(record, ring_at::k_port2_state, ring->port2_state);
    put_word(record, ring_at::k_word72, ring->word72);
    put_text(record + ring_at::k_name, ring->name, ring_at::k_name_size);
    put_word(record, ring_at::k_configured, ring->configured);
    put_word(record, ring_at::k_word133, ring->word133);
    put_byte(record, ring_at::k_byte137, ring->byte137);
    put_word(record, ring_at::k_word141, ring->word141);
    return 0;
}

int32_t answer_alarm(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    store_native(at(block, k_at_alarm_first), sim_load(state.alarm_first));
    store_native(at(block, k_at_alarm_word), sim_alarm_word(state));
    return 0;
}

int32_t answer_port_state(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    const sim_port *port = numbered(state.ports, block.index);
    if (port == nullptr) {
        return k_sim_bad_argument;
    }
    const bool up = sim_load(port->link) != 0;
    for (size_t i = 0; i < std::size(k_at_port_words); i++) {
        const bool shows_link = i + 1 == std::size(k_at_port_words);
        store_native(at(block, k_at_port_words[i]), shows_link && !up ? 0 : sim_load(port->words[i]));
    }
    return 0;
}

int32_t answer_port_media(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    const sim_port *port = numbered(state.ports, block.index);
    if (port == nullptr) {
        return k_sim_bad_argument;
    }
    store_native(at(block, k_at_port_media), sim_load(port->media));
    return 0;
}

int32_t answer_bridge(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    uint8_t *record = clear_record(block, k_at_bridge_record, k_bridge_record_size);
    put_byte(record, bridge_at::k_enabled, state.bridge_enabled);
    put_byte(record, bridge_at::k_mode, state.bridge_mode);
    return 0;
}

/// The MST instance that the block asks for, or null.
const sim_mst *mst_of(const sim_state &state, sasi_block &block) {
    const int32_t instance = load_native<int32_t>(at(block, k_at_mst_index));
    return instance >= 0 && instance < k_mst_instances ? &state.mst[instance] : nullptr;
}

int32_t answer_mst_instance(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    const sim_mst *mst = mst_of(state, block);
    if (mst == nullptr) {
        return k_sim_bad_argument;
    }
    uint8_t *record = clear_record(block, k_at_mst_record, k_mst_record_size);
    put_byte(record, mst_at::k_byte1, mst->byte1);
    put_address(record + mst_at::k_bridge_address, mst->address);
    return 0;
}

int32_t answer_mst_ports(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    const sim_mst *mst = mst_of(state, block);
    const uint8_t *preset = at(block, k_at_mst_record) + 1;
    if (mst == nullptr || std::count(preset, preset + k_mst_ports_preset, 1) != k_mst_ports_preset) {
        return k_sim_bad_argument;
    }
    uint8_t *table = clear_record(block, k_at_mst_record, k_mst_ports_size);
    for (size_t port = 1; port <= k_switch_ports; port++) {
        const sim_mst_port &from = mst->ports[port - 1];
        uint8_t *entry = table + mst_at::k_port_entry + mst_at::k_port_entry_size * port;
        entry[mst_at::k_entry_state] = sim_load(from.byte0);
        entry[mst_at::k_entry_byte1] = sim_load(from.byte1);
        entry[mst_at::k_entry_byte4] = sim_load(from.byte4);
        entry[mst_at::k_entry_byte5] = sim_load(from.byte5);
        entry[mst_at::k_entry_byte8] = sim_load(from.byte8);
        entry[mst_at::k_entry_byte9] = sim_load(from.byte9);
    }
    return 0;
}

int32_t answer_redundant(const sim_state &state, sasi_block &block, size_t /*kind*/) {
    const int32_t number = load_native<int32_t>(at(block, k_at_redundant_ring));
    if (number < 0 || number >= k_redundant_rings ||
        load_native<uint16_t>(at(block, k_at_redundant_one)) != 1 || *at(block, k_at_redundant_zero1) != 0 ||
        *at(block, k_at_redundant_zero2) != 0) {
        return k_sim_bad_argument;
    }
    const sim_redundant_ring &ring = state.redundant[number];
    uint8_t *record = clear_record(block, k_at_redundant_record, k_redundant_record_size);
    put_word(record, redundant_at::k_state, ring.state);
    put_address(record + redundant_at::k_address, ring.address);
    put_word(record, redundant_at::k_word14, ring.word14);
    put_word(record, redundant_at::k_word18, ring.word18);
    put_byte(record, redundant_at::k_byte22, ring.byte22);
    put_word(record, redundant_at::k_word26, ring.word26);
    put_byte(record, redundant_at::k_byte30, ring.byte30);
    put_word(record, redundant_at::k_word34, ring.word34);
    return 0;
}

int32_t answer_ip(const sim_state &state, sasi_block &block, size_t kind) {
    const uint32_t sub_code = k_sim_requests[kind].sub_code;
    const uint32_t &word = sub_code == k_sub_ip_address   ? state.ip.address
                           : sub_code == k_sub_ip_netmask ? state.ip.netmask
                                                          : state.ip.route;
    store_native(at(block, k_at_ip_word), sim_load(word));
    return 0;
}

using answer_fn = int32_t (*)(const sim_state &, sasi_block &, size_t);

// By kind, as k_sim_requests.
constexpr answer_fn k_answers[] = {
    answer_counter,    answer_counter,    answer_counter, answer_counter,      answer_counter,
    answer_counter,    answer_counter,    answer_counter, answer_ring,         answer_alarm,
    answer_port_state, answer_port_media, answer_bridge,  answer_mst_instance, answer_mst_ports,
    answer_redundant,  answer_ip,         answer_ip,      answer_ip,
};
static_assert(std::size(k_answers) == k_sim_request_kinds);

constexpr bool counters_come_first() {
    for (size_t i = 0; i < std::size(k_counter_subs); i++) {
        if (k_sim_requests[i].request != k_sasi_counter || k_sim_requests[i].sub_code != k_counter_subs[i]) {
            return false;
        }
    }
    return true;
}
static_assert(counters_come_first());

size_t kind_of(uint32_t number, const sasi_block &block) {
    return block.request == number ? sim_request_kind(number, block.sub_code) : k_sim_request_kinds;
}

void answer(const sim_state &state, size_t kind, sasi_block &block) {
    block.return_code =
        kind < k_sim_request_kinds ? k_answers[kind](state, block, kind) : k_sim_unknown_request;
}

template<size_t N> void put_words(uint8_t *bytes, const uint16_t (&words)[N]) {
    for (size_t i = 0; i < N; i++) {
        put_be16(bytes + 2 * i, sim_load(words[i]));
    }
}

int32_t file_size(uint32_t fault) {
    if (fault == k_sim_flash_missing) {
        return -1;
    }
    return static_cast<int32_t>(std::min<size_t>(fault, k_sim_flash_size));
}

} // namespace

size_t sim_device_answer(const sim_state &state, uint32_t number, sasi_block &block) {
    const size_t kind = kind_of(number, block);
    answer(state, kind, block);
    return kind;
}

int32_t sim_device_call(sim_state &state, uint32_t number, sasi_block &block) {
    const size_t kind = kind_of(number, block);
    __atomic_fetch_add(&state.request_counts[kind], 1, __ATOMIC_RELAXED);
    uint32_t what = 0;
    if (kind < k_sim_request_kinds) {
        const sim_request_fault &fault = state.faults.requests[kind];
        what = sim_load(fault.what);
        if (const uint32_t delay_ms = sim_load(fault.delay_ms); delay_ms != 0) {
            sim_wait_ms(delay_ms);
        }
        if ((what & k_sim_fault_fail) != 0) {
            return EIO;
        }
        if ((what & k_sim_fault_code) != 0) {
            block.return_code = sim_load(fault.return_code);
            return 0;
        }
    }
    answer(state, kind, block);
    return 0;
}

int32_t sim_tailer_flash(const sim_state &state, std::span<uint8_t, k_sim_flash_size> bytes) {
    const int32_t size = file_size(sim_load(state.faults.tailer_size));
    if (size < 0) {
        return size;
    }
    std::fill(bytes.begin(), bytes.end(), uint8_t{0xFF});
    if (static_cast<size_t>(size) >= k_tailer_size) {
        uint8_t *tailer = bytes.data() + size - k_tailer_size;
        put_words(tailer + k_tailer_words_a, state.identity.tailer_a);
        put_words(tailer + k_tailer_words_b, state.identity.tailer_b);
    }
    return size;
}

int32_t sim_header_flash(const sim_state &state, std::span<uint8_t, k_sim_flash_size> bytes) {
    const int32_t size = file_size(sim_load(state.faults.header_size));
    if (size < 0) {
        return size;
    }
    std::fill(bytes.begin(), bytes.end(), uint8_t{0xFF});
    put_words(bytes.data() + k_header_words_a, state.identity.header_a);
    put_words(bytes.data() + k_header_words_b, state.identity.header_b);
    return size;
}
