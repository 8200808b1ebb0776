#pragma once

#include "modbus/mbtypes.h"

#include <span>

// The register callbacks: the core passes the PDU's address plus 1 as the register number, and as the buffer
// all the room there is from the values' place to the end of the ADU buffer. Values are 16 bits, high byte
// first. Each returns k_mb_ok or k_mb_no_register.

/// Reads input registers. The first register chooses the block (see mbmap.h); a count of 0 or a first
/// register in no block is k_mb_no_register, and nothing is written. A reply may end early, with what lies
/// behind left as it was, where the map says so. A count of registers beyond the room ends at the last item
/// that fits.
mb_error mb_reg_input(std::span<uint8_t> buffer, uint16_t number, uint16_t count);

/// Reads or writes holding registers 2000..2129, which live in this process only; `buffer` holds two bytes
/// for each. Any other mode does nothing and is k_mb_ok.
mb_error mb_reg_holding(std::span<uint8_t> buffer, uint16_t number, uint16_t count, mb_register_mode mode);

/// This device has no coils and no discrete inputs: always k_mb_no_register.
mb_error mb_reg_coils(std::span<uint8_t> buffer, uint16_t number, uint16_t count, mb_register_mode mode);
mb_error mb_reg_discrete(std::span<uint8_t> buffer, uint16_t number, uint16_t count);
