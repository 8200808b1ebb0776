#pragma once

#include "modbus/mbtypes.h"

// The protocol core: the life cycle of the slave stack and the dispatch of a received PDU to its function
// handler. One thread polls; a second one may call mb_enable and mb_disable beside it.

/// Answers one request in place. `pdu` has room for k_mb_pdu_size bytes, byte 0 is the function code;
/// `*length` is the request's length with the function code, and the reply's on return. On an exception the
/// caller builds the reply.
using mb_function_handler = mb_exception (*)(uint8_t *pdu, uint16_t *length);

/// Brings up the transport on a TCP port (0 is 502) and leaves the stack disabled. Returns k_mb_ok, or
/// k_mb_port_error when the socket, bind or listen failed; a stack that was never brought up cannot be
/// enabled then. Ends the process with status 1 when SO_REUSEADDR cannot be set.
[[nodiscard]] mb_error mb_tcp_init(uint16_t port);

/// Disabled to enabled. k_mb_illegal_state in any other state and when mb_tcp_init has not succeeded.
[[nodiscard]] mb_error mb_enable();

/// Enabled to disabled; k_mb_ok when already disabled, k_mb_illegal_state when never initialised.
mb_error mb_disable();

/// Closes the transport of a disabled stack; k_mb_illegal_state in any other state.
mb_error mb_close();

/// Takes one event, or blocks in the transport until there is one, and acts on it. k_mb_illegal_state unless
/// enabled, else k_mb_ok whatever became of the request.
[[nodiscard]] mb_error mb_poll();

/// Sets the handler of a function code 1..127, in the first slot that is empty or holds this handler. A null
/// handler clears the first slot of that code; slots behind a cleared one are no longer found.
/// k_mb_invalid_argument for another code, k_mb_no_resources when no slot is free.
mb_error mb_register_handler(uint8_t function_code, mb_function_handler handler);

/// Sets what Report Slave ID answers: the id, 0xFF or 0x00 for running, then `additional`. k_mb_no_resources,
/// and no change, when that is more than 31 bytes.
mb_error mb_set_slave_id(uint8_t slave_id, bool running, const uint8_t *additional,
                         uint16_t additional_length);

enum mb_serial_mode : int32_t { k_mb_rtu = 0, k_mb_ascii = 1 };
enum mb_parity : int32_t { k_mb_parity_none = 0, k_mb_parity_odd = 1, k_mb_parity_even = 2 };

/// No serial mode is built: always k_mb_invalid_argument. An address of 1..247 is kept as the own address.
mb_error mb_init_serial(mb_serial_mode mode, uint8_t address, uint8_t port, uint32_t baud_rate,
                        mb_parity parity);
