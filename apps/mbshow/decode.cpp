#include "apps/mbshow/decode.h"

#include "apps/common/text_append.h"

#include <array>

std::string mb_decode_text(mb_type type, std::span<const uint16_t> words) {
    std::string text;
    const size_t first = type == mb_type::wide_text ? 1 : 0;
    for (const uint16_t word : words) {
        const std::array<int, 2> bytes = {word >> 8, word & 0xFF};
        for (size_t i = first; i < bytes.size(); i++) {
            if (bytes[i] == 0) {
                return text;
            }
            text += bytes[i] >= ' ' && bytes[i] <= '~' ? static_cast<char>(bytes[i]) : '?';
        }
    }
    return text;
}

std::string mb_decode_address(std::span<const uint16_t> words) {
    std::string text;
    for (const uint16_t word : words) {
        text_append(text, "%s%02X:%02X", text.empty() ? "" : ":", word >> 8U, word & 0xFFU);
    }
    return text;
}

uint32_t mb_decode_number(std::span<const uint16_t> words) {
    uint32_t number = 0;
    for (const uint16_t word : words) {
        number = (number << 16) | word;
    }
    return number;
}

mb_mst_port mb_decode_mst_port(uint16_t word) {
    return {uint32_t{word} >> 8U, (word >> 5U) & 7U, (word >> 3U) & 3U, (word >> 2U) & 1U, word & 3U};
}
