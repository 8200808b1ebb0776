// Registers of the identity block: who the switch is, its power inputs, whether there is an alarm.

#include "lib/base/bytes.h"
#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbident.h"
#include "modbus/mbregs_fill.h"

#include <algorithm>

namespace {

uint16_t power_status(uint32_t alarm, const sasi_power_bits &bits) {
    return static_cast<uint16_t>(sasi_power_of(alarm, bits));
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
        return put_be16(out.data(), power_status(walk.alarm, k_main_power_bits));
    case mb_item_id::redundant_power:
        return put_be16(out.data(), power_status(walk.alarm, k_redundant_power_bits));
    case mb_item_id::alarm_present:
        return put_be16(out.data(), walk.alarm != 0 ? 1 : 0);
    default:
        return; // an item of another block
    }
}
