#pragma once

#include "lib/base/mbap.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// Framing of register reads from the client's side (Modbus Messaging on TCP/IP V1.0b, section 3.1; Modbus
// application protocol V1.1b3, sections 6.3 and 6.4). Nothing that a server sends is trusted.

inline constexpr size_t k_mbap_adu_max = 260;
inline constexpr size_t k_mbap_read_request_size = 12;
inline constexpr uint8_t k_mbap_read_holding = 0x03;
inline constexpr uint8_t k_mbap_read_input = 0x04;

/// A read of `count` registers from register `number` on, which is the PDU address plus 1.
struct mbap_read {
    uint16_t transaction;
    uint8_t function;
    uint16_t number;
    uint16_t count;
};

enum class mbap_verdict : uint8_t {
    good,
    exception, // a well-formed exception reply
    wrong_protocol,
    wrong_length, // the length is none that a reply can have, or not the one that its content asks for
    wrong_transaction,
    wrong_unit,
    wrong_function,
    wrong_byte_count,
    count,
};

/// The request, with unit identifier 255.
std::array<uint8_t, k_mbap_read_request_size> mbap_put_read(const mbap_read &read);

/// The size of the ADU that a header of 7 bytes begins, or 0 when it announces none that a reply can have.
size_t mbap_reply_size(std::span<const uint8_t, k_mbap_size> header);

/// Judges a whole reply, which must be just the announced bytes. When it is good, the registers' values begin
/// at byte 9; when it is an exception, the code is byte 8.
mbap_verdict mbap_check_reply(const mbap_read &read, std::span<const uint8_t> adu);

inline constexpr size_t k_mbap_at_exception = 8;
inline constexpr size_t k_mbap_at_values = 9;

/// The verdict as the end of "the reply ...": "has another transaction identifier".
const char *mbap_verdict_text(mbap_verdict verdict);
