#include "lib/cli/buffer.h"

#include "lib/base/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/uio.h>
#include <unistd.h>

namespace {

// What one flush hands to the system at most: so many chunks, and no further one once it is more than this.
constexpr int k_flush_chunks = 16;
constexpr size_t k_flush_bytes = 131071;

size_t default_chunk_size() {
    static const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    static const size_t size = page * (2047 / page + 1);
    return size;
}

buffer_chunk *add_chunk(buffer *b) {
    auto *chunk = static_cast<buffer_chunk *>(std::malloc(sizeof(buffer_chunk) + b->chunk_size));
    if (chunk == nullptr) {
        return nullptr;
    }
    *chunk = {nullptr, 0, 0};
    (b->tail != nullptr ? b->tail->next : b->head) = chunk;
    b->tail = chunk;
    b->chunks++;
    return chunk;
}

void drop_head(buffer *b) {
    buffer_chunk *chunk = b->head;
    b->head = chunk->next;
    if (b->head == nullptr) {
        b->tail = nullptr;
    }
    b->chunks--;
    std::free(chunk);
}

// Takes `written` bytes off the head of the chain.
void consume(buffer *b, size_t written) {
    while (written > 0) {
        if (b->head == nullptr) {
            ipc_log_err("%s: corruption detected: buffer queue empty, but written is %zu",
                        "buffer_flush_available", written);
            return;
        }
        const size_t taken = std::min(written, b->head->end - b->head->start);
        b->head->start += taken;
        written -= taken;
        if (b->head->start == b->head->end) {
            drop_head(b);
        }
    }
}

} // namespace

buffer *buffer_new(size_t chunk_size) {
    if (chunk_size > SIZE_MAX - sizeof(buffer_chunk)) {
        return nullptr;
    }
    auto *b = static_cast<buffer *>(std::malloc(sizeof(buffer)));
    if (b != nullptr) {
        *b = {nullptr, nullptr, chunk_size != 0 ? chunk_size : default_chunk_size(), 0};
    }
    return b;
}

void buffer_free(buffer *b) {
    if (b != nullptr) {
        buffer_reset(b);
        std::free(b);
    }
}

void buffer_reset(buffer *b) {
    while (b->head != nullptr) {
        drop_head(b);
    }
}

int32_t buffer_put(buffer *b, const void *bytes, size_t length) {
    const auto *from = static_cast<const uint8_t *>(bytes);
    while (length > 0) {
        buffer_chunk *chunk = b->tail;
        if (chunk == nullptr || chunk->end == b->chunk_size) {
            chunk = add_chunk(b);
            if (chunk == nullptr) {
                return -1;
            }
        }
        const size_t fitting = std::min(length, b->chunk_size - chunk->end);
        std::memcpy(buffer_chunk_data(chunk) + chunk->end, from, fitting);
        chunk->end += fitting;
        from += fitting;
        length -= fitting;
    }
    return 0;
}

int32_t buffer_put_char(buffer *b, uint8_t byte) { return buffer_put(b, &byte, 1); }

int32_t buffer_put_string(buffer *b, const char *text) { return buffer_put(b, text, std::strlen(text)); }

size_t buffer_queued(const buffer *b) {
    // Only the first chunk is partly written, and only the last one partly filled.
    return b->head == nullptr ? 0
                              : b->chunks * b->chunk_size - b->head->start - (b->chunk_size - b->tail->end);
}

char *buffer_get_string(const buffer *b) {
    auto *text = static_cast<char *>(std::malloc(buffer_queued(b) + 1));
    if (text == nullptr) {
        return nullptr;
    }
    char *to = text;
    for (buffer_chunk *chunk = b->head; chunk != nullptr; chunk = chunk->next) {
        to = std::copy(buffer_chunk_data(chunk) + chunk->start, buffer_chunk_data(chunk) + chunk->end, to);
    }
    *to = '\0';
    return text;
}

int32_t buffer_write(buffer *b, int fd, const void *bytes, size_t length) {
    size_t written = 0;
    // After queued bytes these have to wait their turn.
    if (b->head == nullptr) {
        const ssize_t result = write(fd, bytes, length);
        if (result < 0 && errno != EAGAIN && errno != EINTR) {
            return k_buffer_error;
        }
        written = result > 0 ? static_cast<size_t>(result) : 0;
    }
    if (buffer_put(b, static_cast<const uint8_t *>(bytes) + written, length - written) != 0) {
        return k_buffer_error;
    }
    return b->head != nullptr ? k_buffer_pending : k_buffer_empty;
}

int32_t buffer_flush_available(buffer *b, int fd) {
    iovec vector[k_flush_chunks];
    int count = 0;
    size_t gathered = 0;
    for (buffer_chunk *chunk = b->head;
         chunk != nullptr && count < k_flush_chunks && gathered <= k_flush_bytes; chunk = chunk->next) {
        vector[count] = {buffer_chunk_data(chunk) + chunk->start, chunk->end - chunk->start};
        gathered += vector[count].iov_len;
        ++count;
    }
    if (count == 0) {
        return k_buffer_empty;
    }
    const ssize_t written = writev(fd, vector, count);
    if (written < 0) {
        if (errno == EAGAIN || errno == EINTR) {
            return k_buffer_pending;
        }
        ipc_log_warn("%s: writev to fd %d failed: %s", "buffer_flush_available", fd, safe_strerror(errno));
        return k_buffer_error;
    }
    consume(b, static_cast<size_t>(written));
    return b->head != nullptr ? k_buffer_pending : k_buffer_empty;
}

int32_t buffer_flush_all(buffer *b, int fd) {
    int32_t result = k_buffer_empty;
    while (b->head != nullptr) {
        const buffer_chunk *head_before = b->head;
        const size_t start_before = b->head->start;
        errno = 0; // a stale EINTR would have a full descriptor tried for ever
        result = buffer_flush_available(b, fd);
        if (result != k_buffer_pending) {
            break;
        }
        // The chunk from before may be freed: it is compared, and looked into only when it is still the head.
        if (b->head == head_before && b->head->start == start_before && errno != EINTR) {
            break;
        }
    }
    return result;
}

void buffer_drop_written(buffer *b) {
    while (b->head != nullptr && b->head->start == b->head->end) {
        drop_head(b);
    }
}
