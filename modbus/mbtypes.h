#pragma once

#include "lib/base/mbap.h"

#include <cstddef>
#include <cstdint>

/// The stack's result code. Register callbacks return it too.
enum mb_error : int32_t {
    k_mb_ok = 0,
    k_mb_no_register = 1,
    k_mb_invalid_argument = 2,
    k_mb_port_error = 3,
    k_mb_no_resources = 4,
    k_mb_io_error = 5,
    k_mb_illegal_state = 6,
    k_mb_timed_out = 7,
};

/// Exception codes of the Modbus application protocol (V1.1b3, section 7) that this slave sends.
enum mb_exception : int32_t {
    k_mb_ex_none = 0,
    k_mb_ex_illegal_function = 1,
    k_mb_ex_illegal_data_address = 2,
    k_mb_ex_illegal_data_value = 3,
    k_mb_ex_slave_device_failure = 4,
    k_mb_ex_slave_busy = 6,
};

/// What a holding-register or coil callback is asked to do.
enum mb_register_mode : int32_t { k_mb_read = 0, k_mb_write = 1 };

/// The longest PDU and ADU that are taken: some more than the 253 and 260 bytes of the standard.
inline constexpr size_t k_mb_pdu_size = 256;
inline constexpr size_t k_mb_adu_size = k_mbap_size + k_mb_pdu_size;
