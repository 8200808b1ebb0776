#pragma once

#include <cstdint>
#include <cstring>

// Loads and stores at any address: the 32-bit board traps or slows on unaligned access through a cast
// pointer.

/// Reads 16 bits, high byte first, from two bytes.
constexpr uint16_t get_be16(const uint8_t *bytes) {
    return static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
}

/// Writes 16 bits, high byte first, to two bytes.
constexpr void put_be16(uint8_t *bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value);
}

/// Reads 32 bits, high byte first, from four bytes.
constexpr uint32_t get_be32(const uint8_t *bytes) {
    return (static_cast<uint32_t>(get_be16(bytes)) << 16) | get_be16(bytes + 2);
}

/// Writes 32 bits, high byte first, to four bytes.
constexpr void put_be32(uint8_t *bytes, uint32_t value) {
    put_be16(bytes, static_cast<uint16_t>(value >> 16));
    put_be16(bytes + 2, static_cast<uint16_t>(value));
}

/// Reads 64 bits, high byte first, from eight bytes.
constexpr uint64_t get_be64(const uint8_t *bytes) {
    return (static_cast<uint64_t>(get_be32(bytes)) << 32) | get_be32(bytes + 4);
}

/// Writes 64 bits, high byte first, to eight bytes.
constexpr void put_be64(uint8_t *bytes, uint64_t value) {
    put_be32(bytes, static_cast<uint32_t>(value >> 32));
    put_be32(bytes + 4, static_cast<uint32_t>(value));
}

/// Reads a value of the machine's own byte order from bytes at any address.
template<typename T> T load_native(const uint8_t *bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// Writes a value in the machine's own byte order to bytes at any address.
template<typename T> void store_native(uint8_t *bytes, T value) { std::memcpy(bytes, &value, sizeof value); }
