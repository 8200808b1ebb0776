#pragma once

#include "modbus/mb.h"

#include <span>

// The function handlers and the callbacks they reach the registers by. Checks and limits are this slave's own
// and differ in places from the Modbus application protocol (V1.1b3); docs/design.md lists where.

/// Translates a callback's error: ok none, no_register 2, timed_out 6, anything else 4. With the debug switch
/// on, an error is printed on standard output too.
mb_exception prveMBError2Exception(mb_error error);

/// The debug switch, off at start. For whoever ports the stack: nothing in the daemon turns it on.
void mb_func_set_debug(bool on);

// Handlers by function code; contract in mb_function_handler. A failed check gives exception 3 with the PDU
// untouched.
mb_exception mb_func_read_coils(uint8_t *pdu, uint16_t *length);             // 0x01
mb_exception mb_func_read_discrete_inputs(uint8_t *pdu, uint16_t *length);   // 0x02
mb_exception mb_func_read_holding_registers(uint8_t *pdu, uint16_t *length); // 0x03
mb_exception mb_func_read_input_registers(uint8_t *pdu, uint16_t *length);   // 0x04
mb_exception mb_func_write_coil(uint8_t *pdu, uint16_t *length);             // 0x05
mb_exception mb_func_write_register(uint8_t *pdu, uint16_t *length);         // 0x06
mb_exception mb_func_write_coils(uint8_t *pdu, uint16_t *length);            // 0x0F
mb_exception mb_func_write_registers(uint8_t *pdu, uint16_t *length);        // 0x10
mb_exception mb_func_report_slave_id(uint8_t *pdu, uint16_t *length);        // 0x11
mb_exception mb_func_read_write_registers(uint8_t *pdu, uint16_t *length);   // 0x17

/// The bytes that Report Slave ID answers with; see mb_set_slave_id. Empty until set.
mb_error mb_func_set_slave_id(uint8_t slave_id, bool running, std::span<const uint8_t> additional);
