#include "sim/device.h"

#include "lib/base/bytes.h"
#include "lib/sasi/sasi_engine.h"

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

/// The element that a number from 1 on asks for.
template<typename T, size_t N> const T &numbered(const T (&elements)[N], int32_t number) {
    return elements[number - 1];
}

uint8_t load_byte(const uint32_t &field) { return static_cast<uint8_t>(sim_load(field)); }

/// Bytes of the state that change one by one, read several at a time: a search for a ring reads 255 names.
/// `bytes` are aligned for it.
template<typename Word> Word load_together(const uint8_t *bytes) {
    using word [[gnu::may_alias]] = Word;
    return sim_load(*reinterpret_cast<const word *>(bytes));
}

/// The simulated switch as the device's engine asks it.
struct sim_source {
    const sim_state &state;

    int32_t counter(int32_t port, size_t which, uint32_t &value) const {
        value = sim_counter_value(state, numbered(state.ports, port).counters[which], sim_now_ns());
        return 0;
    }

    int32_t ring(int32_t id, sasi_ring &ring) const {
        const sim_ring &from = numbered(state.rings, id);
        ring.state = sim_load(from.state);
        ring.word24 = sim_load(from.word24);
        ring.value28 = static_cast<uint16_t>(sim_load(from.value28));
        ring.port1 = load_byte(from.port1);
        ring.port1_state = sim_load(from.port1_state);
        ring.word60 = sim_load(from.word60);
        ring.port2 = load_byte(from.port2);
        ring.port2_state = sim_load(from.port2_state);
        ring.word72 = sim_load(from.word72);
        ring.configured = sim_load(from.configured);
        ring.word133 = sim_load(from.word133);
        ring.byte137 = load_byte(from.byte137);
        ring.word141 = sim_load(from.word141);
        return 0;
    }

    void ring_name(int32_t id, std::span<uint8_t, ring_at::k_name_size> name) const {
        static_assert(offsetof(sim_ring, name) % sizeof(size_t) == 0);
        const uint8_t *from = numbered(state.rings, id).name;
        size_t i = 0;
        for (; i + sizeof(size_t) <= name.size(); i += sizeof(size_t)) {
            store_native(&name[i], load_together<size_t>(from + i));
        }
        for (; i < name.size(); i++) {
            name[i] = sim_load(from[i]);
        }
    }

    int32_t alarms(sasi_alarms &alarms) const {
        alarms = {sim_load(state.alarm_first), sim_alarm_word(state)};
        return 0;
    }

    int32_t port_state(int32_t port, std::span<uint32_t, std::size(k_at_port_words)> words) const {
        const sim_port &from = numbered(state.ports, port);
        for (size_t i = 0; i < words.size(); i++) {
            words[i] = sim_load(from.words[i]);
        }
        if (sim_load(from.link) == 0) {
            words.back() = 0; // the one that shows the link
        }
        return 0;
    }

    int32_t port_media(int32_t port, uint32_t &media) const {
        media = sim_load(numbered(state.ports, port).media);
        return 0;
    }

    int32_t bridge(sasi_bridge &bridge) const {
        bridge = {load_byte(state.bridge_enabled), load_byte(state.bridge_mode)};
        return 0;
    }

    int32_t mst_instance(int32_t instance, sasi_mst &mst) const {
        mst = {sim_load(state.mst[instance].address), load_byte(state.mst[instance].byte1)};
        return 0;
    }

    int32_t mst_ports(int32_t instance, std::span<sasi_mst_port, k_switch_ports> ports) const {
        for (size_t i = 0; i < ports.size(); i++) {
            const auto *from = reinterpret_cast<const uint8_t *>(&state.mst[instance].ports[i]);
            const auto first = load_together<uint32_t>(from);
            const auto second = load_together<uint32_t>(from + sizeof first);
            static_assert(sizeof ports[i] == sizeof first + 2 && sizeof(sim_mst_port) == 2 * sizeof first);
            std::memcpy(&ports[i], &first, sizeof first);
            std::memcpy(&ports[i].byte8, &second, 2);
        }
        return 0;
    }

    int32_t redundant_ring(int32_t number, sasi_redundant_ring &ring) const {
        const sim_redundant_ring &from = state.redundant[number];
        ring.address = sim_load(from.address);
        ring.state = sim_load(from.state);
        ring.word14 = sim_load(from.word14);
        ring.word18 = sim_load(from.word18);
        ring.byte22 = load_byte(from.byte22);
        ring.word26 = sim_load(from.word26);
        ring.byte30 = load_byte(from.byte30);
        ring.word34 = sim_load(from.word34);
        return 0;
    }

    int32_t ip_word(sasi_ip_word which, uint32_t &word) const {
        using enum sasi_ip_word;
        word = sim_load(which == address   ? state.ip.address
                        : which == netmask ? state.ip.netmask
                                           : state.ip.route);
        return 0;
    }
};
static_assert(sasi_source<sim_source>);

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

uint32_t sim_device_delay(const sim_state &state, uint32_t number, const sasi_block &block) {
    const size_t kind = sasi_kind_of(number, block);
    return kind < k_sasi_request_kinds ? sim_load(state.faults.requests[kind].delay_ms) : 0;
}

int32_t sim_device_call(sim_state &state, uint32_t number, sasi_block &block, bool waits) {
    const size_t kind = sasi_kind_of(number, block);
    __atomic_fetch_add(&state.request_counts[kind], 1, __ATOMIC_RELAXED);
    if (kind < k_sasi_request_kinds) {
        const sim_request_fault &fault = state.faults.requests[kind];
        const uint32_t what = sim_load(fault.what);
        if (const uint32_t delay_ms = sim_load(fault.delay_ms); delay_ms != 0 && waits) {
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
    sasi_answer(sim_source{state}, kind, block);
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
