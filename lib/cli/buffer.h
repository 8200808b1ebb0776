#pragma once

#include <cstddef>
#include <cstdint>

// Output queued in a chain of chunks of one size and written to a descriptor: as much as it takes, or one
// screen at a time after a " --More-- " prompt. Nothing waits for a descriptor that does not block. One user
// at a time; failures of the descriptor go to the system log.

/// Head of one allocation; the chunk size of its buffer in data bytes follows it.
struct buffer_chunk {
    buffer_chunk *next;
    size_t end;   // offset past the last byte stored
    size_t start; // offset of the first byte not yet written; start < end while in the chain
};
static_assert(sizeof(buffer_chunk) == 3 * sizeof(void *));

/// The bytes that follow the head of a chunk.
inline uint8_t *buffer_chunk_data(buffer_chunk *chunk) { return reinterpret_cast<uint8_t *>(chunk + 1); }

struct buffer {
    buffer_chunk *head; // both null when empty
    buffer_chunk *tail;
    size_t chunk_size;
    size_t chunks; // in the chain
};

// Results of writing and flushing.
constexpr int32_t k_buffer_empty = 0;   // all is written
constexpr int32_t k_buffer_pending = 1; // bytes remain for the next flush
constexpr int32_t k_buffer_error = -1;

/// Allocates an empty buffer whose chunks hold `chunk_size` bytes each; 0 is 2048 rounded up to whole pages.
/// Null when memory is out, or when a chunk of that size and its head are more than a size_t counts. Freed by
/// buffer_free.
[[nodiscard]] buffer *buffer_new(size_t chunk_size);

/// Frees the buffer with all that is queued; null is ignored.
void buffer_free(buffer *b);

/// Frees all that is queued.
void buffer_reset(buffer *b);

/// Appends `length` bytes. Returns 0, or -1 when memory is out; what fitted until then stays queued.
int32_t buffer_put(buffer *b, const void *bytes, size_t length);

/// Appends one byte; results of buffer_put.
int32_t buffer_put_char(buffer *b, uint8_t byte);

/// Appends a text without its NUL; results of buffer_put.
int32_t buffer_put_string(buffer *b, const char *text);

/// How many bytes are not yet written.
[[nodiscard]] size_t buffer_queued(const buffer *b);

/// All bytes not yet written, with a NUL after them, in a new allocation that the caller frees with free().
/// Null when memory is out.
[[nodiscard]] char *buffer_get_string(const buffer *b);

/// Writes to `fd` what it takes of `length` bytes, unless earlier ones are still queued, and queues the rest.
/// Returns k_buffer_empty, k_buffer_pending, or k_buffer_error when the write failed (but for EAGAIN and
/// EINTR) or memory is out.
int32_t buffer_write(buffer *b, int fd, const void *bytes, size_t length);

/// Writes to `fd`, in one call, what it takes of at most 16 chunks; no chunk is added to more than 128 KiB
/// - 1. EAGAIN and EINTR are k_buffer_pending.
int32_t buffer_flush_available(buffer *b, int fd);

/// Repeats buffer_flush_available until nothing remains, the descriptor takes no more, or it fails; an
/// interrupted call does not end it. Returns the last result.
int32_t buffer_flush_all(buffer *b, int fd);

/// Writes one screen of `width` columns and `height` lines, one of which is kept for the prompt when there
/// are two or more: a line ends after a line feed or when it is as long as the screen is wide. Before it
/// goes, with `erase`, what wipes out the last prompt; after it, if more is queued and `no_more` is not set,
/// the prompt. Less than 1 for width or height is logged and counts as 1. What a short write leaves of the
/// screen is lost. An empty buffer writes nothing at all. Any failing write, an interrupted one included, is
/// k_buffer_error, and so is a lack of memory.
int32_t buffer_flush_window(buffer *b, int fd, int32_t width, int32_t height, bool erase, bool no_more);

/// Frees the chunks at the head that are wholly written; for the flush routines.
void buffer_drop_written(buffer *b);
