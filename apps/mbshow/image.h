#pragma once

#include "apps/mbshow/client.h"
#include "modbus/mbmap.h"

#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <vector>

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

/// Characters up to the first zero. Device text is anything: what is not printable ASCII becomes '?'.
std::string mb_decode_text(mb_type type, std::span<const uint16_t> words);

/// "00:11:22:33:44:55", of three registers.
std::string mb_decode_address(std::span<const uint16_t> words);

/// The number in one register, or in two with the high word first.
uint32_t mb_decode_number(std::span<const uint16_t> words);

/// The fields of one register of an MST instance's ports.
struct mb_mst_port {
    uint32_t port;
    uint32_t bits_7_5;
    uint32_t bits_4_3;
    uint32_t bit_2;
    uint32_t bits_1_0;
};
mb_mst_port mb_decode_mst_port(uint16_t word);

/// Whether a ring group shows a ring. The flag alone does not tell: it reads 0 while the ring with ID 1 is
/// off.
bool mb_image_has_ring(const mb_image &image, uint32_t group);

/// Whether an MST instance is in use, which its bridge address tells.
bool mb_image_has_instance(const mb_image &image, uint32_t instance);
