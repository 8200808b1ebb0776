#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/socket.h>
#include <sys/types.h>

// The byte buffer that IPC messages are built and parsed in: a fixed capacity, a read cursor and a write end,
// integers high byte first at any alignment.
//
// Every operation but stream_new, stream_free and those of the queue first checks getp <= endp <= size. An
// access out of bounds is a fault of the program, not of the data: the operation's name and what it tried go
// to the system log with a line that dumps the stream, and the process aborts. There is no error result for
// it, and a count or offset so large that it would wrap is out of bounds like any other. Not locked: a stream
// has one user at a time.

struct stream {
    stream *next;  // the next one in a stream_queue
    size_t getp;   // offset of the next byte to read
    size_t endp;   // offset after the last byte written
    size_t size;   // capacity of `data` in bytes
    uint8_t *data; // its own allocation, not zero-filled
};

/// A first-in first-out chain of streams.
struct stream_queue {
    size_t count;
    stream *head;
    stream *tail;
};

// ---- life cycle

/// Allocates an empty stream of `size` bytes, or returns null when memory is out. A size of 0 aborts. Freed
/// by stream_free.
[[nodiscard]] stream *stream_new(size_t size);

/// Frees the stream and its data; null is ignored.
void stream_free(stream *s);

/// Copies cursors and written bytes of `src` into `dst` and returns `dst`, which must not be null and must
/// hold at least the written bytes of `src`.
stream *stream_copy(stream *dst, const stream *src);

/// A new stream just large enough for the written bytes of `s`, with its cursors. Null when memory is out; a
/// stream with nothing written aborts, because there is no stream of size 0 to hold it.
[[nodiscard]] stream *stream_dup(const stream *s);

/// Changes the capacity, cuts the write end to it and the read cursor to the write end. Returns the new size,
/// or the old one with nothing changed when memory is out. A size of 0 keeps a data pointer that can be
/// freed.
size_t stream_resize(stream *s, size_t newsize);

// ---- cursors

/// Offset of the next byte to read, offset after the last one written, and capacity.
size_t stream_get_getp(const stream *s);
size_t stream_get_endp(const stream *s);
size_t stream_get_size(const stream *s);

/// Sets the read cursor, at most to the write end.
void stream_set_getp(stream *s, size_t pos);

/// Sets the write end, at least to the read cursor and at most to the size.
void stream_set_endp(stream *s, size_t pos);

/// Moves the read cursor over `n` bytes that were written.
void stream_forward_getp(stream *s, size_t n);

/// Moves the write end over `n` bytes that somebody else put into `data`.
void stream_forward_endp(stream *s, size_t n);

/// The next byte to read; as many may be read there as lie before the write end.
uint8_t *stream_pnt(stream *s);

/// 1 when nothing was written since the last reset, else 0. Whether it has been read does not count.
int32_t stream_empty(const stream *s);

/// Sets both cursors to 0 and leaves the data in place.
void stream_reset(stream *s);

// ---- reading: at the read cursor, which moves on, or at an offset among the written bytes

/// Copies `n` bytes to `dst`.
void stream_get(stream *s, void *dst, size_t n);

uint8_t stream_getc(stream *s);
uint8_t stream_getc_from(const stream *s, size_t from);
uint16_t stream_getw(stream *s);
uint16_t stream_getw_from(const stream *s, size_t from);
uint32_t stream_getl(stream *s);
uint32_t stream_getl_from(const stream *s, size_t from);
uint64_t stream_getq(stream *s);
uint64_t stream_getq_from(const stream *s, size_t from);

// ---- writing: at the write end, which moves on, or over bytes written before (no cursor moves). The integer
// operations return the bytes written.

/// Appends `n` bytes from `src`, or zeros when it is null. What does not fit is left out, with the wanted
/// size and a dump of the stream in the system log.
void stream_put(stream *s, const void *src, size_t n);

/// The same from a source that is not null. Returns the bytes appended.
size_t stream_write(stream *s, const void *src, size_t n);

int32_t stream_putc(stream *s, uint8_t c);
int32_t stream_putw(stream *s, uint16_t w);
int32_t stream_putl(stream *s, uint32_t l);
int32_t stream_putq(stream *s, uint64_t q);

/// Only the low 8 bits of `c` are stored.
int32_t stream_putc_at(stream *s, size_t offset, uint32_t c);
int32_t stream_putw_at(stream *s, size_t offset, uint16_t w);
int32_t stream_putl_at(stream *s, size_t offset, uint32_t l);
int32_t stream_putq_at(stream *s, size_t offset, uint64_t q);

// ---- descriptors: bytes that arrive are appended. Room for all `n` is checked before anything is read.

/// Reads until `n` bytes have arrived or the input ends, by read_full (lib/base/io.h), and returns its
/// result; only a positive one moves the write end.
ssize_t stream_read(stream *s, int fd, size_t n);

/// One read of up to `n` bytes with the descriptor made non-blocking for the call. Returns read's result.
ssize_t stream_read_unblock(stream *s, int fd, size_t n);

/// One read of up to `n` bytes. Returns the count, 0 at end of file, -2 when it is to be tried again (EAGAIN,
/// EINTR), -1 on any other error.
ssize_t stream_read_try(stream *s, int fd, size_t n);

/// One recvfrom of up to `n` bytes; flags and address as there. Results as of stream_read_try.
ssize_t stream_recvfrom(stream *s, int fd, size_t n, int flags, sockaddr *from, socklen_t *fromlen);

/// One recvmsg whose first I/O vector, which must be there, is pointed at the free space with length `n`.
/// Returns recvmsg's result; bytes in further vectors are counted in it, but not in the stream.
ssize_t stream_recvmsg(stream *s, int fd, msghdr *msgh, int flags, size_t n);

/// Checks only that there is room for `n` bytes and returns `n`; reads nothing.
size_t stream_read_bytes(const stream *s, size_t n);

/// One write of the unread bytes; returns its result. No cursor moves: the caller resets the stream.
ssize_t stream_flush(const stream *s, int fd);

// ---- queue: owns the streams in it

/// Allocates an empty queue, or returns null when memory is out. Freed by stream_queue_free.
[[nodiscard]] stream_queue *stream_queue_new();

/// Appends `s`, whose `next` is null, at the tail.
void stream_queue_push(stream_queue *queue, stream *s);

/// Frees every stream in the queue, which is then empty.
void stream_queue_clean(stream_queue *queue);

/// Cleans the queue and frees it.
void stream_queue_free(stream_queue *queue);

#include "lib/ipc/ipc_stream_inline.h" // IWYU pragma: export
