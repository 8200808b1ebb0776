#pragma once

#include "modbus/mbmap.h"

#include <cstdint>
#include <span>
#include <string>

// What registers mean, by the type of their item.

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
