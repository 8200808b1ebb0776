#include "modbus/mbfunc.h"

#include "lib/base/bytes.h"
#include "modbus/mbmap.h"
#include "modbus/mbregs.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

// Places within a request PDU.
constexpr size_t k_at_address = 1;
constexpr size_t k_at_count = 3;
constexpr size_t k_at_byte_count = 5;
constexpr size_t k_at_write_values = 6;     // of 0x0F and 0x10
constexpr size_t k_at_rw_write_address = 5; // of 0x17
constexpr size_t k_at_rw_write_count = 7;
constexpr size_t k_at_rw_byte_count = 9;
constexpr size_t k_at_rw_values = 10;
// Values in a read reply lie after the function code and the byte count.
constexpr size_t k_at_reply_values = 2;

constexpr uint16_t k_fixed_request_length = 5;
constexpr uint16_t k_write_reply_length = 5;
constexpr uint16_t k_read_bits_max = 1999;
constexpr uint16_t k_write_bits_max = 1968;

int32_t s_debug = 0; // not 0: prveMBError2Exception prints the errors it translates

struct slave_id {
    std::array<uint8_t, 32> bytes;
    uint16_t used;
};
slave_id s_slave_id = {};

const char *error_text(mb_error error) {
    static constexpr const char *k_texts[] = {
        "OK",
        "Illegal register address",
        "Illegal argument",
        "Porting layer error",
        "Insufficient resources",
        "I/O error",
        "Protocol stack in illegal state",
        "Timeout error occurred",
    };
    const auto index = static_cast<size_t>(error);
    return index < std::size(k_texts) ? k_texts[index] : "";
}

/// The register number that callbacks know an address of the PDU by: it wraps from 65535 to 0, which no block
/// has.
uint16_t register_number(const uint8_t *pdu, size_t at) {
    return static_cast<uint16_t>(get_be16(pdu + at) + 1);
}

/// Everything from byte `at` of the PDU to the end of its buffer.
std::span<uint8_t> room_from(uint8_t *pdu, size_t at) { return {pdu + at, k_mb_pdu_size - at}; }

uint8_t bit_bytes(uint16_t count) { return static_cast<uint8_t>(count / 8 + (count % 8 != 0 ? 1 : 0)); }

bool in_range(uint16_t count, uint16_t max) { return count >= 1 && count <= max; }

/// Starts a read reply and returns its length.
uint16_t put_read_header(uint8_t *pdu, uint8_t byte_count) {
    pdu[1] = byte_count;
    return static_cast<uint16_t>(k_at_reply_values + byte_count);
}

/// 0x01 and 0x02 differ in the callback alone.
template<typename F> mb_exception read_bits(uint8_t *pdu, uint16_t *length, F callback) {
    const uint16_t count = get_be16(pdu + k_at_count);
    if (*length != k_fixed_request_length || !in_range(count, k_read_bits_max)) {
        return k_mb_ex_illegal_data_value;
    }
    const uint16_t number = register_number(pdu, k_at_address);
    const uint16_t reply_length = put_read_header(pdu, bit_bytes(count));
    const mb_error error = callback(room_from(pdu, k_at_reply_values), number, count);
    if (error == k_mb_ok) {
        *length = reply_length;
    }
    return prveMBError2Exception(error);
}

/// 0x03 and 0x04 differ in the callback and in where the count is.
template<typename F> mb_exception read_registers(uint8_t *pdu, uint16_t *length, uint16_t count, F callback) {
    const uint16_t number = register_number(pdu, k_at_address);
    const uint16_t reply_length = put_read_header(pdu, static_cast<uint8_t>(2 * count));
    const mb_error error = callback(room_from(pdu, k_at_reply_values), number, count);
    if (error == k_mb_ok) {
        *length = reply_length;
    }
    return prveMBError2Exception(error);
}

} // namespace

mb_exception prveMBError2Exception(mb_error error) {
    if (error != k_mb_ok && s_debug != 0) {
        std::printf("%s(%d): %s!\n", "prveMBError2Exception", 145, error_text(error));
    }
    switch (error) {
    case k_mb_ok:
        return k_mb_ex_none;
    case k_mb_no_register:
        return k_mb_ex_illegal_data_address;
    case k_mb_timed_out:
        return k_mb_ex_slave_busy;
    default:
        return k_mb_ex_slave_device_failure;
    }
}

void mb_func_set_debug(bool on) { s_debug = on ? 1 : 0; }

mb_exception mb_func_read_coils(uint8_t *pdu, uint16_t *length) {
    return read_bits(pdu, length, [](std::span<uint8_t> values, uint16_t number, uint16_t count) {
        return mb_reg_coils(values, number, count, k_mb_read);
    });
}

mb_exception mb_func_read_discrete_inputs(uint8_t *pdu, uint16_t *length) {
    return read_bits(pdu, length, mb_reg_discrete);
}

mb_exception mb_func_read_holding_registers(uint8_t *pdu, uint16_t *length) {
    // Kept: the count is the low byte alone. Masters rely on a request whose high byte is not 0 being served.
    const uint16_t count = pdu[k_at_count + 1];
    if (*length != k_fixed_request_length || !in_range(count, k_mb_holding_read_max)) {
        return k_mb_ex_illegal_data_value;
    }
    return read_registers(pdu, length, count, [](std::span<uint8_t> values, uint16_t number, uint16_t n) {
        return mb_reg_holding(values, number, n, k_mb_read);
    });
}

mb_exception mb_func_read_input_registers(uint8_t *pdu, uint16_t *length) {
    const uint16_t count = get_be16(pdu + k_at_count);
    if (*length != k_fixed_request_length || !in_range(count, k_mb_input_count_max)) {
        return k_mb_ex_illegal_data_value;
    }
    return read_registers(pdu, length, count, mb_reg_input);
}

mb_exception mb_func_write_coil(uint8_t *pdu, uint16_t *length) {
    const uint8_t value = pdu[k_at_count];
    if (*length != k_fixed_request_length || pdu[k_at_count + 1] != 0 || (value != 0x00 && value != 0xFF)) {
        return k_mb_ex_illegal_data_value;
    }
    uint8_t bit = value == 0xFF ? 1 : 0;
    return prveMBError2Exception(mb_reg_coils({&bit, 1}, register_number(pdu, k_at_address), 1, k_mb_write));
}

mb_exception mb_func_write_register(uint8_t *pdu, uint16_t *length) {
    if (*length != k_fixed_request_length) {
        return k_mb_ex_illegal_data_value;
    }
    return prveMBError2Exception(
        mb_reg_holding(room_from(pdu, k_at_count), register_number(pdu, k_at_address), 1, k_mb_write));
}

mb_exception mb_func_write_coils(uint8_t *pdu, uint16_t *length) {
    const uint16_t count = get_be16(pdu + k_at_count);
    if (*length <= k_at_byte_count || !in_range(count, k_write_bits_max) ||
        pdu[k_at_byte_count] != bit_bytes(count)) {
        return k_mb_ex_illegal_data_value;
    }
    const mb_error error = mb_reg_coils(room_from(pdu, k_at_write_values), register_number(pdu, k_at_address),
                                        count, k_mb_write);
    if (error == k_mb_ok) {
        *length = k_write_reply_length;
    }
    return prveMBError2Exception(error);
}

mb_exception mb_func_write_registers(uint8_t *pdu, uint16_t *length) {
    const uint16_t count = get_be16(pdu + k_at_count);
    if (*length <= k_at_byte_count || !in_range(count, k_mb_holding_write_max) ||
        pdu[k_at_byte_count] != static_cast<uint8_t>(2 * count)) {
        return k_mb_ex_illegal_data_value;
    }
    const mb_error error = mb_reg_holding(room_from(pdu, k_at_write_values),
                                          register_number(pdu, k_at_address), count, k_mb_write);
    if (error == k_mb_ok) {
        *length = k_write_reply_length;
    }
    return prveMBError2Exception(error);
}

mb_exception mb_func_report_slave_id(uint8_t *pdu, uint16_t *length) {
    std::copy_n(s_slave_id.bytes.begin(), s_slave_id.used, pdu + 1);
    *length = static_cast<uint16_t>(1 + s_slave_id.used);
    return k_mb_ex_none;
}

mb_exception mb_func_read_write_registers(uint8_t *pdu, uint16_t *length) {
    // Kept: a request too short to hold a value is echoed as its own reply. Masters take the echo as "not
    // supported here".
    if (*length < k_at_rw_values) {
        return k_mb_ex_none;
    }
    const uint16_t read_count = get_be16(pdu + k_at_count);
    const uint16_t write_count = get_be16(pdu + k_at_rw_write_count);
    if (!in_range(read_count, k_mb_holding_read_max) || !in_range(write_count, k_mb_exchange_write_max) ||
        pdu[k_at_rw_byte_count] != 2 * write_count) {
        return k_mb_ex_illegal_data_value;
    }
    const mb_error error = mb_reg_holding(
        room_from(pdu, k_at_rw_values), register_number(pdu, k_at_rw_write_address), write_count, k_mb_write);
    if (error != k_mb_ok) {
        return prveMBError2Exception(error);
    }
    return read_registers(pdu, length, read_count,
                          [](std::span<uint8_t> values, uint16_t number, uint16_t n) {
                              return mb_reg_holding(values, number, n, k_mb_read);
                          });
}

mb_error mb_func_set_slave_id(uint8_t slave_id, bool running, std::span<const uint8_t> additional) {
    constexpr size_t k_fixed = 2;
    if (additional.size() + k_fixed >= s_slave_id.bytes.size()) {
        return k_mb_no_resources;
    }
    s_slave_id.bytes[0] = slave_id;
    s_slave_id.bytes[1] = running ? 0xFF : 0x00;
    std::copy(additional.begin(), additional.end(), s_slave_id.bytes.begin() + k_fixed);
    s_slave_id.used = static_cast<uint16_t>(additional.size() + k_fixed);
    return k_mb_ok;
}
