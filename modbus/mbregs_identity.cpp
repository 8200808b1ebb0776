// Registers of the identity block: who the switch is, its power inputs, whether there is an alarm.

#include "lib/base/bytes.h"
#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbident.h"
#include "modbus/mbregs_fill.h"

#include <algorithm>

namespace {

/// Bits of the alarm word that tell of one power input.
struct power_bits {
    uint32_t no_input;
    uint32_t under_voltage;
    uint32_t over_voltage;
};
constexpr power_bits k_main_power = {alarm_bit::k_main_no_input, alarm_bit::k_main_under_voltage,
                                     alarm_bit::k_main_over_voltage};
constexpr power_bits k_redundant_power = {alarm_bit::k_redundant_no_input,
                                          alarm_bit::k_redundant_under_voltage,
                                          alarm_bit::k_redundant_over_voltage};

bool has_bit(uint32_t word, uint32_t bit) { return ((word >> bit) & 1U) != 0; }

uint16_t power_status(uint32_t alarm, const power_bits &bits) {
    if (has_bit(alarm, bits.no_input)) {
        return 3;
    }
    if (has_bit(alarm, bits.under_voltage)) {
        return 1;
    }
    return has_bit(alarm, bits.over_voltage) ? 2 : 0;
}

void put_words(std::span<uint8_t> out, std::span<const uint16_t> words) {
    for (size_t i = 0; i < out.size() / 2; i++) {
        put_be16(&out[2 * i], words[i]);
    }
}

void put_serial_number(std::span<uint8_t> out) {
    if (mb_get_identity().serial_number[0] == 0) {
        mb_fetch_serial_number();
    }
    mb_put_text(out, 0, mb_get_identity().serial_number);
}

void put_mac(std::span<uint8_t> out) {
    std::array<uint8_t, 6> mac;
    mb_framer_get_eth0_mac(mac);
    std::copy_n(mac.begin(), out.size(), out.begin());
}

} // namespace

void mb_identity_refresh(mb_walk &walk) {
    uint32_t first = 0;
    // The alarm word says by itself whether it was got: it is written on success only.
    ignore_result(sasi_get_alarm(&first, &walk.alarm));
    ignore_result(sasi_get_device_type(&walk.device_type));
}

void mb_fill_identity(mb_walk &walk, const mb_place &place, std::span<uint8_t> out) {
    const mb_identity &identity = mb_get_identity();
    switch (place.item->id) {
    case mb_item_id::device_type:
        return put_be16(out.data(), walk.device_type);
    case mb_item_id::tailer_words_a:
        return put_words(out, identity.tailer_words_a);
    case mb_item_id::tailer_words_b:
        return put_words(out, identity.tailer_words_b);
    case mb_item_id::serial_number:
        return put_serial_number(out);
    case mb_item_id::firmware_words_a:
        return put_words(out, identity.firmware_words_a);
    case mb_item_id::firmware_words_b:
        return put_words(out, identity.firmware_words_b);
    case mb_item_id::mac_address:
        return put_mac(out);
    case mb_item_id::main_power:
        return put_be16(out.data(), power_status(walk.alarm, k_main_power));
    case mb_item_id::redundant_power:
        return put_be16(out.data(), power_status(walk.alarm, k_redundant_power));
    case mb_item_id::alarm_present:
        return put_be16(out.data(), walk.alarm != 0 ? 1 : 0);
    default:
        return; // an item of another block
    }
}
