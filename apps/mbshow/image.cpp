#include "apps/mbshow/image.h"

#include "apps/mbshow/decode.h"
#include "apps/mbshow/plan.h"
#include "lib/base/invariant.h"

#include <algorithm>

namespace {

struct item_place {
    const mb_group *group;
    const mb_item *item;
};

item_place place_of(mb_item_id id) {
    item_place place = {nullptr, nullptr};
    for (const mb_block &block : mb_map_blocks()) {
        for (const mb_group &group : block.groups) {
            for (const mb_item &item : group.items) {
                if (item.id == id) {
                    place = {&group, &item};
                }
            }
        }
    }
    INVARIANT(place.item != nullptr); // every id has a row
    return place;
}

int64_t monotonic_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

bool all_zero(std::span<const uint16_t> words) {
    return std::all_of(words.begin(), words.end(), [](uint16_t word) { return word == 0; });
}

} // namespace

bool mb_image_read(mb_client &client, mb_image &image) {
    image.registers.assign(mb_map_blocks().back().last + size_t{1}, 0);
    image.time = std::time(nullptr);
    const uint16_t first_counter = place_of(mb_item_id::counter_9_10).group->first;
    for (const mb_plan_read &read : mb_plan_reads()) {
        if (!mb_client_read_input(client, read.number,
                                  std::span(image.registers).subspan(read.number, read.count))) {
            return false;
        }
        if (first_counter >= read.number && first_counter < read.number + read.count) {
            image.counters_at_ns = monotonic_ns();
        }
    }
    return true;
}

std::span<const uint16_t> mb_image_words(const mb_image &image, const mb_group &group, const mb_item &item,
                                         uint32_t element) {
    return std::span(image.registers).subspan(group.first + element * group.stride + item.offset, item.count);
}

std::span<const uint16_t> mb_image_words(const mb_image &image, mb_item_id id, uint32_t element) {
    const item_place place = place_of(id);
    return mb_image_words(image, *place.group, *place.item, element);
}

double mb_image_rate(const mb_image &now, const mb_image &before, mb_item_id id, uint32_t element) {
    const uint32_t steps = mb_decode_number(mb_image_words(now, id, element)) -
                           mb_decode_number(mb_image_words(before, id, element));
    return steps * 1e9 / static_cast<double>(now.counters_at_ns - before.counters_at_ns);
}

const mb_item &mb_item_of(mb_item_id id) { return *place_of(id).item; }

uint32_t mb_image_elements(mb_item_id id) { return place_of(id).group->elements; }

bool mb_image_has_ring(const mb_image &image, uint32_t group) {
    const auto port_number = [&](mb_item_id id) { return mb_image_words(image, id, group)[0] >> 8; };
    return mb_image_words(image, mb_item_id::ring_configured, group)[0] != 0 ||
           !all_zero(mb_image_words(image, mb_item_id::ring_name, group)) ||
           port_number(mb_item_id::ring_port1) != 0 || port_number(mb_item_id::ring_port2) != 0;
}

bool mb_image_has_instance(const mb_image &image, uint32_t instance) {
    return !all_zero(mb_image_words(image, mb_item_id::mst_bridge_address, instance));
}
