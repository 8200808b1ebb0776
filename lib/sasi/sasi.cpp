#include "lib/sasi/sasi.h"

#include "lib/base/bytes.h"

#include <algorithm>
#include <fcntl.h>
#include <iterator>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr uint16_t k_device_type_code = 0xD8ED;

int32_t s_handle = -1; // -1: the device is not open
bool s_answered = false;
sasi_tally s_nobodys_tally = {};
sasi_tally *s_tally = &s_nobodys_tally;

uint8_t *at(sasi_block &block, size_t place) {
    return block.payload + (place - offsetof(sasi_block, payload));
}

int32_t make_request(sasi_block &block, uint32_t request, uint32_t sub_code) {
    block.request = request;
    block.sub_code = sub_code;
    return sasiRequest(request, &block);
}

void copy_record(sasi_block &block, size_t place, std::span<uint8_t> record) {
    std::copy_n(at(block, place), record.size(), record.begin());
}

int32_t get_ip_word(sasi_block &block, uint32_t sub_code, uint32_t *value) {
    make_request(block, k_sasi_ip, sub_code);
    *value = load_native<uint32_t>(at(block, k_at_ip_word));
    return block.return_code;
}

} // namespace

int32_t sasiOpen() {
    s_handle = ::open("/dev/sasi-dev", O_RDWR | O_CLOEXEC);
    return s_handle;
}

int32_t sasiClose() {
    if (s_handle < 1) {
        return 0;
    }
    ::close(s_handle);
    s_handle = -1;
    return 0;
}

bool sasi_is_open() { return s_handle >= 0; }

int32_t sasiRequest(uint32_t request, sasi_block *block) {
    const bool can_ask = s_handle >= 0 && block != nullptr;
    shared_count_add(s_tally->requests);
    const int32_t result = can_ask ? ::ioctl(s_handle, request, block) : -1;
    s_answered = result >= 0;
    if (!s_answered || block->return_code != 0) {
        shared_count_add(s_tally->failures);
    }
    return result;
}

void sasi_count_in(sasi_tally *tally) { s_tally = tally != nullptr ? tally : &s_nobodys_tally; }

bool sasi_answered() { return s_answered; }

int32_t sasi_get_counter(uint32_t sub_code, int32_t port, uint32_t *value) {
    // One block a counter, so that a failed request serves that counter's last value and no other's; the one
    // more is for sub-codes that the device does not know.
    static sasi_block blocks[std::size(k_counter_subs) + 1];
    const auto *known = std::find(std::begin(k_counter_subs), std::end(k_counter_subs), sub_code);
    sasi_block &block = blocks[known - std::begin(k_counter_subs)];
    block.index = port;
    make_request(block, k_sasi_counter, sub_code);
    *value = load_native<uint32_t>(at(block, k_at_counter_value));
    return block.return_code;
}

int32_t sasi_get_ring(int32_t ring_id, sasi_ring_record *record) {
    static sasi_block block;
    store_native(at(block, k_at_ring_id), ring_id);
    make_request(block, k_sasi_ring_redundancy, k_sub_ring_record);
    *record = sasi_ring_record(at(block, k_at_ring_record), ring_at::k_used_size);
    return block.return_code;
}

int32_t sasi_get_ip_address(uint32_t *address) {
    static sasi_block block;
    return get_ip_word(block, k_sub_ip_address, address);
}

int32_t sasi_get_ip_netmask(uint32_t *netmask) {
    static sasi_block block;
    return get_ip_word(block, k_sub_ip_netmask, netmask);
}

int32_t sasi_get_ip_route(uint32_t *route) {
    static sasi_block block;
    return get_ip_word(block, k_sub_ip_route, route);
}

int32_t sasi_get_alarm(uint32_t *first, uint32_t *alarm) {
    static sasi_block block;
    const int32_t result = make_request(block, k_sasi_alarm, k_sub_alarm_status);
    *first = load_native<uint32_t>(at(block, k_at_alarm_first));
    if (result >= 0 && block.return_code == 0) {
        *alarm = load_native<uint32_t>(at(block, k_at_alarm_word));
    }
    return block.return_code;
}

int32_t sasi_get_port_state(int32_t port, std::span<uint32_t, 5> words) {
    static sasi_block block;
    block.index = port;
    make_request(block, k_sasi_port, k_sub_port_state);
    for (size_t i = 0; i < words.size(); i++) {
        words[i] = load_native<uint32_t>(at(block, k_at_port_words[i]));
    }
    return block.return_code;
}

int32_t sasi_get_port_media(int32_t port, uint32_t *media) {
    static sasi_block block;
    block.index = port;
    make_request(block, k_sasi_port, k_sub_port_media);
    *media = load_native<uint32_t>(at(block, k_at_port_media));
    return block.return_code;
}

int32_t sasi_get_bridge(std::span<uint8_t, k_bridge_record_size> record) {
    static sasi_block block;
    make_request(block, k_sasi_spanning_tree, k_sub_bridge_record);
    copy_record(block, k_at_bridge_record, record);
    return block.return_code;
}

int32_t sasi_get_mst_instance(int32_t instance, std::span<uint8_t, k_mst_record_size> record) {
    static sasi_block block;
    store_native(at(block, k_at_mst_index), instance);
    make_request(block, k_sasi_spanning_tree, k_sub_mst_instance);
    copy_record(block, k_at_mst_record, record);
    return block.return_code;
}

int32_t sasi_get_mst_ports(int32_t instance, std::span<uint8_t, k_mst_ports_size> table) {
    static sasi_block block;
    store_native(at(block, k_at_mst_index), instance);
    std::fill_n(at(block, k_at_mst_record) + 1, k_mst_ports_preset, uint8_t{1});
    make_request(block, k_sasi_spanning_tree, k_sub_mst_ports);
    copy_record(block, k_at_mst_record, table);
    return block.return_code;
}

int32_t sasi_get_redundant_ring(int32_t ring, std::span<uint8_t, k_redundant_record_size> record) {
    static sasi_block block;
    store_native(at(block, k_at_redundant_ring), ring);
    store_native<uint16_t>(at(block, k_at_redundant_one), 1);
    *at(block, k_at_redundant_zero1) = 0;
    *at(block, k_at_redundant_zero2) = 0;
    make_request(block, k_sasi_redundant_ring, k_sub_redundant_record);
    copy_record(block, k_at_redundant_record, record);
    return block.return_code;
}

int32_t sasi_get_device_type(uint16_t *code) {
    *code = k_device_type_code;
    return 0;
}
