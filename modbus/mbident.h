#pragma once

#include <array>
#include <cstdint>
#include <span>

// Who this switch is: words from two flash partitions, read once, the serial number, fetched when first
// asked for, and the MAC address, asked for anew each time.

/// The identity words and the serial number. Zero until filled.
struct mb_identity {
    std::array<uint16_t, 16> tailer_words_a;
    std::array<uint16_t, 16> tailer_words_b;
    std::array<uint16_t, 12> firmware_words_a;
    std::array<uint16_t, 16> firmware_words_b;
    std::array<uint8_t, 14> serial_number; // text, not terminated when full
};

/// Fills the identity from flash, clears the serial number and opens the switch-access device. What fails is
/// reported and left zero; start-up goes on. Returns 0.
int32_t mb_init();

/// The identity of this process.
const mb_identity &mb_get_identity();

/// Fetches the serial number from the boot loader's environment; without it the buffer stays as it was.
/// Processes forked after mb_init take turns, since all of them fetch through one file.
void mb_fetch_serial_number();

/// Writes the hardware address of "tap0", zeros when it has none.
void mb_framer_get_eth0_mac(std::span<uint8_t, 6> mac);
