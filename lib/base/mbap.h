#pragma once

#include <cstddef>
#include <cstdint>

// The frame of Modbus TCP (Modbus Messaging on TCP/IP V1.0b, section 3.1.3): a header of 7 bytes, MBAP, in
// front of the PDU. Its numbers have the high byte first.

inline constexpr uint16_t k_modbus_port = 502;

// Places in an ADU.
inline constexpr size_t k_mbap_at_transaction = 0;
inline constexpr size_t k_mbap_at_protocol = 2; // 0: Modbus
inline constexpr size_t k_mbap_at_length = 4;   // counts the bytes after it
inline constexpr size_t k_mbap_at_unit = 6;
inline constexpr size_t k_mbap_at_pdu = 7; // the function code, and what belongs to it

inline constexpr size_t k_mbap_size = k_mbap_at_pdu;
inline constexpr size_t k_mbap_length_end = k_mbap_at_unit; // first byte that the length counts

/// The unit identifier of the device itself, which no gateway passes on.
inline constexpr uint8_t k_mbap_own_unit = 255;
