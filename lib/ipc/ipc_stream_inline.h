#pragma once

#include "lib/base/bytes.h"
#include "lib/ipc/ipc_stream.h"

// The short road of the stream's integers, part of ipc_stream.h: a message is some hundred of these calls,
// and inline each costs a few comparisons. What a failed check does stands in ipc_stream.cpp.

namespace stream_detail {

/// The operation that calls a check, for the log. As a default argument, here() is the place of the call.
struct call_site {
    const char *function;
    const char *source;
    int32_t line;

    static constexpr call_site here(const char *function = __builtin_FUNCTION(),
                                    const char *source = __builtin_FILE(), int32_t line = __builtin_LINE()) {
        return {function, source, line};
    }
};

/// Logs and aborts for cursors that break getp <= endp <= size, in the name of the operation that found it.
[[noreturn, gnu::cold]] void broken_invariant(const stream *s, call_site at);

/// Logs and aborts for an access out of bounds.
[[noreturn, gnu::cold]] void out_of_bounds(const stream *s, const char *verb, call_site at);

inline void check(const stream *s, call_site at = call_site::here()) {
    if (s->getp > s->endp || s->endp > s->size) [[unlikely]] {
        broken_invariant(s, at);
    }
}

inline void check_bound(const stream *s, bool holds, const char *verb, call_site at = call_site::here()) {
    if (!holds) [[unlikely]] {
        out_of_bounds(s, verb, at);
    }
}

inline size_t room(const stream *s) { return s->size - s->endp; }

inline size_t unread(const stream *s) { return s->endp - s->getp; }

// The next `n` unread bytes; the read cursor moves past them.
inline const uint8_t *take(stream *s, size_t n, const char *verb, call_site at = call_site::here()) {
    check(s, at);
    check_bound(s, n <= unread(s), verb, at);
    const uint8_t *bytes = s->data + s->getp;
    s->getp += n;
    return bytes;
}

// `n` bytes at an offset, all of them written before.
inline uint8_t *written(const stream *s, size_t offset, size_t n, const char *verb,
                        call_site at = call_site::here()) {
    check(s, at);
    check_bound(s, offset <= s->endp && n <= s->endp - offset, verb, at);
    return s->data + offset;
}

// The free space at the write end, at least `n` bytes; the write end stays.
inline uint8_t *space(const stream *s, size_t n, const char *verb, call_site at = call_site::here()) {
    check(s, at);
    check_bound(s, n <= room(s), verb, at);
    return s->data + s->endp;
}

// The same with the write end moved past the `n` bytes.
inline uint8_t *append(stream *s, size_t n, const char *verb, call_site at = call_site::here()) {
    uint8_t *bytes = space(s, n, verb, at);
    s->endp += n;
    return bytes;
}

} // namespace stream_detail

inline uint8_t stream_getc(stream *s) { return *stream_detail::take(s, 1, "get char"); }

inline uint8_t stream_getc_from(const stream *s, size_t from) {
    return *stream_detail::written(s, from, 1, "get char");
}

inline uint16_t stream_getw(stream *s) {
    return get_be16(
        stream_detail::take(s, 2, "get ")); // this verb ends in a blank; the log is searched for it
}

inline uint16_t stream_getw_from(const stream *s, size_t from) {
    return get_be16(stream_detail::written(s, from, 2, "get "));
}

inline uint32_t stream_getl(stream *s) { return get_be32(stream_detail::take(s, 4, "get long")); }

inline uint32_t stream_getl_from(const stream *s, size_t from) {
    return get_be32(stream_detail::written(s, from, 4, "get long"));
}

inline uint64_t stream_getq(stream *s) { return get_be64(stream_detail::take(s, 8, "get quad")); }

inline uint64_t stream_getq_from(const stream *s, size_t from) {
    return get_be64(stream_detail::written(s, from, 8, "get quad"));
}

inline int32_t stream_putc(stream *s, uint8_t c) {
    *stream_detail::append(s, 1, "put") = c;
    return 1;
}

inline int32_t stream_putw(stream *s, uint16_t w) {
    put_be16(stream_detail::append(s, 2, "put"), w);
    return 2;
}

inline int32_t stream_putl(stream *s, uint32_t l) {
    put_be32(stream_detail::append(s, 4, "put"), l);
    return 4;
}

inline int32_t stream_putq(stream *s, uint64_t q) {
    put_be64(stream_detail::append(s, 8, "put quad"), q);
    return 8;
}

inline int32_t stream_putc_at(stream *s, size_t offset, uint32_t c) {
    *stream_detail::written(s, offset, 1, "put") = static_cast<uint8_t>(c);
    return 1;
}

inline int32_t stream_putw_at(stream *s, size_t offset, uint16_t w) {
    put_be16(stream_detail::written(s, offset, 2, "put"), w);
    return 2;
}

inline int32_t stream_putl_at(stream *s, size_t offset, uint32_t l) {
    put_be32(stream_detail::written(s, offset, 4, "put"), l);
    return 4;
}

inline int32_t stream_putq_at(stream *s, size_t offset, uint64_t q) {
    put_be64(stream_detail::written(s, offset, 8, "put"), q);
    return 8;
}
