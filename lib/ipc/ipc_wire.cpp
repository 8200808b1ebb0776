#include "lib/ipc/ipc_wire.h"

namespace {
constexpr size_t k_at_length = 0;
} // namespace

ipc_wire_header ipc_wire_parse(stream *s) {
    stream_set_getp(s, 0);
    ipc_wire_header wire = {};
    wire.length = stream_getw(s);
    wire.marker = stream_getc(s);
    wire.version = stream_getc(s);
    wire.header.route = stream_getc(s);
    wire.header.command = stream_getw(s);
    wire.header.kind = stream_getc(s);
    wire.header.status = stream_getc(s);
    return wire;
}

bool ipc_wire_build(stream *s, const ipc_header &header, std::span<const uint8_t> payload) {
    stream_reset(s);
    if (payload.size() > k_ipc_payload_max || k_ipc_header_size + payload.size() > stream_get_size(s)) {
        return false;
    }
    stream_putw(s, k_ipc_header_size); // until the length is known
    stream_putc(s, k_ipc_marker);
    stream_putc(s, k_ipc_version);
    stream_putc(s, header.route);
    stream_putw(s, header.command);
    stream_putc(s, header.kind);
    stream_putc(s, static_cast<uint8_t>(header.status));
    if (!payload.empty()) {
        stream_put(s, payload.data(), payload.size());
    }
    stream_putw_at(s, k_at_length, static_cast<uint16_t>(stream_get_endp(s)));
    return true;
}
