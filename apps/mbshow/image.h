#pragma once

#include "apps/mbshow/client.h"
#include "modbus/mbmap.h"

#include <cstdint>
#include <ctime>
#include <span>
#include <vector>

// What was read of a switch, item by item.

/// What one reading of the whole map gave.
struct mb_image {
    std::vector<uint16_t> registers; // by register number; those that no item holds are 0
    time_t time = 0;                 // when the reading began
    int64_t counters_at_ns = 0;      // monotonic time at which the port counters came in
};

/// Reads the whole map. False, with the client's `error` set, when a request failed.
[[nodiscard]] bool mb_image_read(mb_client &client, mb_image &image);

/// The registers of an item in one element of its group.
std::span<const uint16_t> mb_image_words(const mb_image &image, const mb_group &group, const mb_item &item,
                                         uint32_t element);

/// The same for whoever knows the item by its id.
std::span<const uint16_t> mb_image_words(const mb_image &image, mb_item_id id, uint32_t element = 0);

/// How far a 32-bit counter of an element went in a second between two images; it may have wrapped once.
double mb_image_rate(const mb_image &now, const mb_image &before, mb_item_id id, uint32_t element);

/// The row of an item.
const mb_item &mb_item_of(mb_item_id id);

/// How many elements the group of an item has.
uint32_t mb_image_elements(mb_item_id id);

/// Whether a ring group shows a ring. The flag alone does not tell: it reads 0 while the ring with ID 1 is
/// off.
bool mb_image_has_ring(const mb_image &image, uint32_t group);

/// Whether an MST instance is in use, which its bridge address tells.
bool mb_image_has_instance(const mb_image &image, uint32_t instance);
