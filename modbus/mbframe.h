#pragma once

#include "modbus/mbtypes.h"

// Frames: what the core sees of a transport, and the one there is.

/// The operations the core reaches a transport by.
struct mb_frame_layer {
    void (*start)();
    void (*stop)();
    mb_error (*receive)(uint8_t *address, uint8_t **pdu, uint16_t *length);
    mb_error (*send)(uint8_t address, uint8_t *pdu, uint16_t length);
    void (*close)();
};

/// The TCP frame layer.
const mb_frame_layer &mb_tcp_frame_layer();

/// Takes the ADU held: address 255, since a TCP slave takes every unit identifier as its own. k_mb_io_error
/// when the protocol identifier is not 0.
mb_error mb_tcp_receive(uint8_t *address, uint8_t **pdu, uint16_t *length);

/// Completes the MBAP header in front of the reply PDU, which lies at byte 7 of the buffer, and sends both.
/// k_mb_io_error when not all could be sent.
mb_error mb_tcp_send(uint8_t address, uint8_t *pdu, uint16_t length);
