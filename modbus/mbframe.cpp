#include "modbus/mbframe.h"

#include "lib/base/bytes.h"
#include "modbus/porttcp.h"

namespace {

void start() {}

constexpr mb_frame_layer k_tcp_frame_layer = {start, tcp_port_disable, mb_tcp_receive, mb_tcp_send,
                                              tcp_port_close};

} // namespace

const mb_frame_layer &mb_tcp_frame_layer() { return k_tcp_frame_layer; }

mb_error mb_tcp_receive(uint8_t *address, uint8_t **pdu, uint16_t *length) {
    uint8_t *adu = nullptr;
    uint16_t adu_length = 0;
    tcp_port_get_request(&adu, &adu_length);
    if (get_be16(adu + k_mbap_at_protocol) != 0) {
        return k_mb_io_error;
    }
    *address = k_mbap_own_unit;
    *pdu = adu + k_mbap_size;
    *length = static_cast<uint16_t>(adu_length - k_mbap_size);
    return k_mb_ok;
}

mb_error mb_tcp_send(uint8_t /*address*/, uint8_t *pdu, uint16_t length) {
    // The reply was built where the request lay, so the identifiers in front of it are the request's own.
    uint8_t *adu = pdu - k_mbap_size;
    put_be16(adu + k_mbap_at_length, static_cast<uint16_t>(length + 1));
    const bool sent = tcp_port_send_response(adu, static_cast<uint16_t>(length + k_mbap_size));
    return sent ? k_mb_ok : k_mb_io_error;
}
