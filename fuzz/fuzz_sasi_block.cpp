// Control calls of the switch-access device, with any number and any block: an answer stays within the bytes
// that its request has for it, asks its source with numbers in range only, and is the same when just the
// bytes of the exchange come and go.

#include "apps/sasid/exchange.h"
#include "lib/sasi/sasi_engine.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t k_block_size = offsetof(sasi_block, payload) + k_sasi_payload_size;
using block_bytes = std::array<uint8_t, k_block_size>;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// Answers everything, with what tells the question; checks what it is asked.
struct checking_source {
    static int32_t port(int32_t number) {
        require(number >= 1 && number <= k_switch_ports);
        return 0;
    }
    static int32_t instance(int32_t number) {
        require(number >= 0 && number < k_mst_instances);
        return 0;
    }
    static int32_t counter(int32_t number, size_t which, uint32_t &value) {
        require(which < std::size(k_counter_subs));
        value = k_counter_subs[which];
        return port(number);
    }
    static int32_t ring(int32_t id, sasi_ring &ring) {
        require(id >= 1 && id <= k_ring_ids);
        ring.state = static_cast<uint32_t>(id);
        return 0;
    }
    static void ring_name(int32_t id, std::span<uint8_t, ring_at::k_name_size> name) {
        std::fill(name.begin(), name.end(), static_cast<uint8_t>(id));
    }
    static int32_t alarms(sasi_alarms &alarms) {
        alarms = {1, 2};
        return 0;
    }
    static int32_t port_state(int32_t number, std::span<uint32_t, std::size(k_at_port_words)> words) {
        std::fill(words.begin(), words.end(), static_cast<uint32_t>(number));
        return port(number);
    }
    static int32_t port_media(int32_t number, uint32_t &media) {
        media = k_media_fibre;
        return port(number);
    }
    static int32_t bridge(sasi_bridge &bridge) {
        bridge = {1, 2};
        return 0;
    }
    static int32_t mst_instance(int32_t number, sasi_mst &mst) {
        mst.address = static_cast<uint64_t>(number);
        return instance(number);
    }
    static int32_t mst_ports(int32_t number, std::span<sasi_mst_port, k_switch_ports> ports) {
        ports[0].state = static_cast<uint8_t>(number);
        return instance(number);
    }
    static int32_t redundant_ring(int32_t number, sasi_redundant_ring &ring) {
        require(number >= 0 && number < k_redundant_rings);
        ring.state = static_cast<uint32_t>(number);
        return 0;
    }
    static int32_t ip_word(sasi_ip_word which, uint32_t &word) {
        require(which == sasi_ip_word::address || which == sasi_ip_word::netmask ||
                which == sasi_ip_word::route);
        word = 0x7F000001;
        return 0;
    }
};

int32_t answer(uint32_t number, block_bytes &bytes) {
    sasi_block block;
    std::memcpy(&block, bytes.data(), bytes.size());
    sasi_answer(checking_source{}, sasi_kind_of(number, block), block);
    std::memcpy(bytes.data(), &block, bytes.size());
    return block.return_code;
}

/// The bytes before and after differ in the return code and the request's results at most.
void check_places(uint32_t number, const block_bytes &before, const block_bytes &after, int32_t code) {
    const size_t kind =
        sasi_request_kind(number, load_native<uint32_t>(&before[offsetof(sasi_block, sub_code)]));
    const bool known = kind < k_sasi_request_kinds;
    require(code == 0 ? known : code == k_sasi_unknown_request || (known && code == k_sasi_bad_argument));
    for (size_t i = 0; i < before.size(); i++) {
        const bool is_code = i >= k_exchange_written && i < k_exchange_written + sizeof code;
        const bool is_result =
            code == 0 && i >= k_sasi_requests[kind].result_at &&
            i < size_t{k_sasi_requests[kind].result_at} + k_sasi_requests[kind].result_size;
        require(is_code || is_result || before[i] == after[i]);
    }
}

void check_exchange(uint32_t number, const block_bytes &before, const block_bytes &after) {
    block_bytes part = {};
    std::copy_n(before.begin(), sasid_exchange_size(number), part.begin());
    const int32_t code = answer(number, part);
    block_bytes client = before;
    std::copy_n(part.begin() + k_exchange_written, sasid_exchange_written(number, code),
                client.begin() + k_exchange_written);
    require(client == after);
}

} // namespace

/// The control call's number, then the block; what is missing of it is zero.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < sizeof(uint32_t)) {
        return 0;
    }
    const auto number = load_native<uint32_t>(data);
    block_bytes before = {};
    std::copy_n(data + sizeof number, std::min(size - sizeof number, before.size()), before.begin());
    block_bytes after = before;
    const int32_t code = answer(number, after);
    check_places(number, before, after, code);
    check_exchange(number, before, after);
    return 0;
}
