// Registers of the ports block. A request that fails serves what the request before it left, so no return
// code is looked at.

#include "lib/base/bytes.h"
#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "modbus/mbregs_fill.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr uint16_t k_no_such_port = 0xFFFF;

std::string_view media_text(uint32_t media) {
    switch (media) {
    case k_media_fibre:
        return "1000TX,SFP.";
    case k_media_copper:
        return "1000TX,RJ45.";
    default:
        return "100TX,RJ45.";
    }
}

uint16_t port_state(int32_t port) {
    std::array<uint32_t, 5> words;
    ignore_result(sasi_get_port_state(port, words));
    return words[4] & 0xFF;
}

void put_media(int32_t port, uint16_t index, std::span<uint8_t> out) {
    uint32_t media = 0;
    ignore_result(sasi_get_port_media(port, &media));
    const std::string_view text = media_text(media);
    mb_put_text(out, index, {reinterpret_cast<const uint8_t *>(text.data()), text.size()});
}

uint32_t counter(uint32_t sub_code, int32_t port) {
    uint32_t value = 0;
    ignore_result(sasi_get_counter(sub_code, port, &value));
    return value;
}

} // namespace

void mb_put_text(std::span<uint8_t> out, uint16_t index, std::span<const uint8_t> characters) {
    const std::span<const uint8_t> rest = characters.subspan(std::min(size_t{index} * 2, characters.size()));
    const size_t count = std::min(rest.size(), out.size());
    std::copy_n(rest.begin(), count, out.begin());
    std::fill(out.begin() + static_cast<ptrdiff_t>(count), out.end(), uint8_t{0});
}

void mb_fill_ports(mb_walk & /*walk*/, const mb_place &place, std::span<uint8_t> out) {
    const int32_t port = place.element + 1;
    switch (place.item->id) {
    case mb_item_id::port_state:
        return put_be16(out.data(), port_state(port));
    case mb_item_id::port_absent:
        return put_be16(out.data(), k_no_such_port);
    case mb_item_id::port_media:
        return put_media(port, place.index, out);
    case mb_item_id::counter_9_10:
        return put_be32(out.data(), counter(9, port) + counter(10, port));
    case mb_item_id::counter_3_4:
        return put_be32(out.data(), counter(3, port) + counter(4, port));
    case mb_item_id::counter_12:
        return put_be32(out.data(), counter(12, port));
    case mb_item_id::counter_6:
        return put_be32(out.data(), counter(6, port));
    default:
        return; // an item of another block
    }
}
