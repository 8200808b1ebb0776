#pragma once

#include "lib/base/switch_ports.h"

#include <cstddef>
#include <cstdint>

// The request block as the kernel device and the simulated switch both see it. Every number here is part of
// the device's interface; all block fields are in the machine's own byte order.

inline constexpr size_t k_sasi_payload_size = 4266;

/// The block exchanged with the device by address.
struct sasi_block {
    uint32_t reserved0;
    uint32_t request;  // the same number as the control call's
    uint32_t sub_code; // the operation within the request's family
    uint32_t reserved12[2];
    int32_t index;       // port number, for the families that take it here
    int32_t return_code; // written by the device; 0 is success
    uint32_t reserved28;
    uint8_t payload[k_sasi_payload_size]; // further arguments in, results out
};
static_assert(offsetof(sasi_block, request) == 4);
static_assert(offsetof(sasi_block, sub_code) == 8);
static_assert(offsetof(sasi_block, index) == 20);
static_assert(offsetof(sasi_block, return_code) == 24);
static_assert(offsetof(sasi_block, payload) == 32);
static_assert(sizeof(sasi_block) == 4300);

/// Request numbers: one family of operations each.
enum sasi_request : uint32_t {
    k_sasi_ring_redundancy = 24240,
    k_sasi_ip = 24251, // IPv4 settings of the management interface
    k_sasi_alarm = 24253,
    k_sasi_port = 24257,
    k_sasi_counter = 24269,
    k_sasi_spanning_tree = 24276,
    k_sasi_redundant_ring = 24284,
};

// Sub-codes.
inline constexpr uint32_t k_sub_ring_record = 5;      // of k_sasi_ring_redundancy
inline constexpr uint32_t k_sub_ip_route = 5;         // of k_sasi_ip
inline constexpr uint32_t k_sub_ip_netmask = 27;      // of k_sasi_ip
inline constexpr uint32_t k_sub_ip_address = 40;      // of k_sasi_ip
inline constexpr uint32_t k_sub_alarm_status = 12;    // of k_sasi_alarm
inline constexpr uint32_t k_sub_port_media = 21;      // of k_sasi_port
inline constexpr uint32_t k_sub_port_state = 25;      // of k_sasi_port
inline constexpr uint32_t k_sub_bridge_record = 0;    // of k_sasi_spanning_tree
inline constexpr uint32_t k_sub_mst_instance = 42;    // of k_sasi_spanning_tree
inline constexpr uint32_t k_sub_mst_ports = 43;       // of k_sasi_spanning_tree
inline constexpr uint32_t k_sub_redundant_record = 0; // of k_sasi_redundant_ring

/// Sub-codes of k_sasi_counter that the device knows.
inline constexpr uint32_t k_counter_subs[] = {3, 4, 6, 9, 10, 12, 24, 28};

// Places in the block, counted from its first byte. Several are not multiples of four, and the results of
// some requests lie over their arguments: all are read and written bytewise.
inline constexpr size_t k_at_counter_value = 32;
inline constexpr size_t k_at_ring_id = 36;
inline constexpr size_t k_at_ring_record = 32;
inline constexpr size_t k_at_ip_word = 32; // the result of each k_sasi_ip request
inline constexpr size_t k_at_alarm_first = 36;
inline constexpr size_t k_at_alarm_word = 44;
inline constexpr size_t k_at_port_words[] = {48, 52, 60, 64, 68};
inline constexpr size_t k_at_port_media = 76;
inline constexpr uint32_t k_media_copper = 1; // gigabit; what is neither is copper fast
inline constexpr uint32_t k_media_fibre = 2;  // gigabit
inline constexpr size_t k_at_bridge_record = 40;
inline constexpr size_t k_at_mst_index = 36;
inline constexpr size_t k_at_mst_record = 40;
inline constexpr size_t k_at_redundant_record = 32;
inline constexpr size_t k_at_redundant_ring = 42; // 32-bit: ring 0 or 1
inline constexpr size_t k_at_redundant_one = 70;  // 16-bit: 1
inline constexpr size_t k_at_redundant_zero1 = 72;
inline constexpr size_t k_at_redundant_zero2 = 73;

// Record sizes in bytes.
inline constexpr size_t k_ring_record_size = 4266;
inline constexpr size_t k_redundant_record_size = 42;
inline constexpr size_t k_bridge_record_size = 62;
inline constexpr size_t k_mst_record_size = 62;
inline constexpr size_t k_mst_ports_size = 417;

static_assert(k_at_ring_record + k_ring_record_size <= offsetof(sasi_block, payload) + k_sasi_payload_size);

// The ring-redundancy record (G.8032 rings), by byte offset. Words are 32 bits.
namespace ring_at {
inline constexpr size_t k_state = 0; // 1: enabled
inline constexpr size_t k_word24 = 24;
inline constexpr size_t k_value28 = 28; // 16 bits
inline constexpr size_t k_port1 = 52;   // 8 bits
inline constexpr size_t k_port1_state = 56;
inline constexpr size_t k_word60 = 60;
inline constexpr size_t k_port2 = 64; // 8 bits
inline constexpr size_t k_port2_state = 68;
inline constexpr size_t k_word72 = 72;
inline constexpr size_t k_name = 96; // 33 bytes of text
inline constexpr size_t k_name_size = 33;
inline constexpr size_t k_configured = 129; // 1: this ring is configured
inline constexpr size_t k_word133 = 133;
inline constexpr size_t k_byte137 = 137;
inline constexpr size_t k_word141 = 141;
inline constexpr size_t k_used_size = 145; // the record's bytes from here on are not read
} // namespace ring_at
inline constexpr int32_t k_ring_ids = 255; // ring IDs are 1..255

// The redundant-ring record (the switch's own rings, k_redundant_rings of them), by byte offset.
namespace redundant_at {
inline constexpr size_t k_state = 0;   // 1: enabled
inline constexpr size_t k_address = 4; // 6 bytes
inline constexpr size_t k_word14 = 14;
inline constexpr size_t k_word18 = 18;
inline constexpr size_t k_byte22 = 22;
inline constexpr size_t k_word26 = 26;
inline constexpr size_t k_byte30 = 30;
inline constexpr size_t k_word34 = 34;
} // namespace redundant_at

// The spanning-tree bridge record, the MST instance record and the MST port table, by byte offset.
namespace bridge_at {
inline constexpr size_t k_enabled = 0;
inline constexpr size_t k_mode = 1; // 0, 2 or 3
} // namespace bridge_at
namespace mst_at {
inline constexpr size_t k_byte1 = 1;
inline constexpr size_t k_bridge_address = 2; // 6 bytes
inline constexpr size_t k_port_entry = 16;    // entry of port p: this plus k_port_entry_size * p
inline constexpr size_t k_port_entry_size = 31;
inline constexpr size_t k_entry_state = 0;
inline constexpr size_t k_entry_byte1 = 1;
inline constexpr size_t k_entry_byte4 = 4;
inline constexpr size_t k_entry_byte5 = 5;
inline constexpr size_t k_entry_byte8 = 8;
inline constexpr size_t k_entry_byte9 = 9;
} // namespace mst_at
inline constexpr size_t k_mst_ports_preset = 13; // bytes that must be 1 after the table's first in a request
inline constexpr int32_t k_mst_instances = 64;
inline constexpr int32_t k_redundant_rings = 2;

// The last port's entry runs past the table: only its first bytes exist, and only those are read.
static_assert(mst_at::k_port_entry + k_switch_ports * mst_at::k_port_entry_size + mst_at::k_entry_byte9 <
              k_mst_ports_size);

// Bits of the alarm word.
namespace alarm_bit {
inline constexpr uint32_t k_board_temperature = 0;
inline constexpr uint32_t k_cpu_temperature = 1;
inline constexpr uint32_t k_phy_temperature = 2;
inline constexpr uint32_t k_input_1v0 = 3;
inline constexpr uint32_t k_input_1v8 = 4;
inline constexpr uint32_t k_input_5v0 = 5;
inline constexpr uint32_t k_dc_battery = 6;
inline constexpr uint32_t k_link_down_port1 = 7; // the other ports follow
inline constexpr uint32_t k_main_over_voltage = 19;
inline constexpr uint32_t k_main_under_voltage = 20;
inline constexpr uint32_t k_main_no_input = 21;
inline constexpr uint32_t k_redundant_over_voltage = 22;
inline constexpr uint32_t k_redundant_under_voltage = 23;
inline constexpr uint32_t k_redundant_no_input = 24;
} // namespace alarm_bit

/// What the alarm word tells of a power input; the numbers are those of the register map.
enum class sasi_power : uint8_t { good, under_voltage, over_voltage, no_input };

/// Its bits for one input.
struct sasi_power_bits {
    uint32_t no_input;
    uint32_t under_voltage;
    uint32_t over_voltage;
};
inline constexpr sasi_power_bits k_main_power_bits = {
    alarm_bit::k_main_no_input, alarm_bit::k_main_under_voltage, alarm_bit::k_main_over_voltage};
inline constexpr sasi_power_bits k_redundant_power_bits = {alarm_bit::k_redundant_no_input,
                                                           alarm_bit::k_redundant_under_voltage,
                                                           alarm_bit::k_redundant_over_voltage};

/// Of several bits the one that tells most counts.
constexpr sasi_power sasi_power_of(uint32_t alarm, const sasi_power_bits &bits) {
    const auto has = [=](uint32_t bit) { return (alarm >> bit & 1U) != 0; };
    return has(bits.no_input)        ? sasi_power::no_input
           : has(bits.under_voltage) ? sasi_power::under_voltage
           : has(bits.over_voltage)  ? sasi_power::over_voltage
                                     : sasi_power::good;
}
