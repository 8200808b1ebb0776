// One screen of a buffer: where it ends, what goes before and after it, and its way to the descriptor.

#include "lib/base/log.h"
#include "lib/cli/buffer.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <sys/uio.h>

namespace {

constexpr const char *k_name = "buffer_flush_window";

// Kept: whoever reads the output counts 11 bytes, the NUL included; a terminal ignores that.
constexpr char k_more[] = " --More-- ";
static_assert(sizeof k_more == 11);

// Back over the prompt, blanks over it, and back again.
constexpr std::string_view k_erase = "\b\b\b\b\b\b\b\b\b\b          \b\b\b\b\b\b\b\b\b\b";
static_assert(k_erase.size() == 30);

// One chunk needs no more: erasing, a run of bytes and the prompt.
constexpr size_t k_small_vector = 3;

struct window {
    int32_t width;
    int32_t height; // lines of output
    int32_t lines;  // of them still free
    int32_t column; // of the next byte, the first is 1
};

// What is to be written.
struct window_vector {
    iovec small[k_small_vector];
    iovec *entries; // `small` or a heap block
    size_t count;
    size_t capacity;
};

window usable_window(int32_t width, int32_t height) {
    if (height < 1) {
        ipc_log_warn("%s called with non-positive window height %d, forcing to 1", k_name, height);
        height = 1;
    } else if (height > 1) {
        --height; // the prompt's line
    }
    if (width < 1) {
        ipc_log_warn("%s called with non-positive window width %d, forcing to 1", k_name, width);
        width = 1;
    }
    return {width, height, height, 1};
}

// The entries that a screen full of plain text takes, but no more than the chain can fill: the size of a
// window is whatever a terminal claims.
size_t wanted_capacity(const buffer *b, const window &screen) {
    const uint64_t full = static_cast<uint64_t>(screen.height) * (static_cast<uint64_t>(screen.width) + 2);
    const uint64_t wanted = full / b->chunk_size + 10;
    size_t entries = k_small_vector;
    for (const buffer_chunk *chunk = b->head; chunk != nullptr && entries < wanted; chunk = chunk->next) {
        ++entries;
    }
    return entries;
}

bool reserve(window_vector &vector, const buffer *b, const window &screen) {
    vector.count = 0;
    if (b->head == b->tail) {
        vector.entries = vector.small;
        vector.capacity = k_small_vector;
        return true;
    }
    vector.capacity = wanted_capacity(b, screen);
    vector.entries = static_cast<iovec *>(std::malloc(vector.capacity * sizeof(iovec)));
    return vector.entries != nullptr;
}

void release(window_vector &vector) {
    if (vector.entries != vector.small) {
        std::free(vector.entries);
    }
}

// Doubles a full vector, so that there is room for one entry more.
bool ensure_room(window_vector &vector, const buffer *b, const window &screen) {
    if (vector.count < vector.capacity) {
        return true;
    }
    const bool on_stack = vector.entries == vector.small;
    const size_t capacity = vector.capacity * 2;
    if (on_stack) {
        ipc_log_err("%s: corruption detected: iov_small overflowed; head %p, tail %p, head->next %p", k_name,
                    static_cast<void *>(b->head), static_cast<void *>(b->tail),
                    static_cast<void *>(b->head->next));
    } else {
        ipc_log_warn("%s: growing iov array to %zu; width %d, height %d, size %zu", k_name, capacity,
                     screen.width, screen.height, b->chunk_size);
    }
    void *grown = std::realloc(on_stack ? nullptr : vector.entries, capacity * sizeof(iovec));
    if (grown == nullptr) {
        return false;
    }
    vector.entries = static_cast<iovec *>(grown);
    vector.capacity = capacity;
    if (on_stack) {
        std::copy(std::begin(vector.small), std::end(vector.small), vector.entries);
    }
    return true;
}

void add(window_vector &vector, const void *bytes, size_t length) {
    vector.entries[vector.count++] = {const_cast<void *>(bytes), length};
}

// Moves the start of the chunk over the bytes that the window still has room for.
void scan(buffer_chunk *chunk, window &screen) {
    const uint8_t *data = buffer_chunk_data(chunk);
    while (chunk->start < chunk->end && screen.lines > 0) {
        const uint8_t byte = data[chunk->start++];
        if (byte == '\r') {
            screen.column = 1;
        } else if (byte == '\n' || screen.column == screen.width) {
            screen.column = 1;
            --screen.lines;
        } else {
            ++screen.column;
        }
    }
}

// Collects the screen; what the chain holds from then on is what comes after it.
bool gather(window_vector &vector, buffer *b, window &screen, bool erase, bool no_more) {
    if (erase) {
        add(vector, k_erase.data(), k_erase.size());
    }
    for (buffer_chunk *chunk = b->head; chunk != nullptr && screen.lines > 0; chunk = chunk->next) {
        const size_t from = chunk->start;
        scan(chunk, screen);
        add(vector, buffer_chunk_data(chunk) + from, chunk->start - from);
        if (!ensure_room(vector, b, screen)) {
            return false;
        }
    }
    if (b->tail->start < b->tail->end && !no_more) {
        if (!ensure_room(vector, b, screen)) {
            return false;
        }
        add(vector, k_more, sizeof k_more);
    }
    return true;
}

// In as many calls as the system's limit of entries asks for. A short one is the last: what followed it would
// stand behind a gap.
bool write_screen(int fd, const window_vector &vector) {
    for (size_t at = 0; at < vector.count;) {
        const size_t batch = std::min<size_t>(vector.count - at, IOV_MAX);
        size_t length = 0;
        for (size_t i = at; i < at + batch; ++i) {
            length += vector.entries[i].iov_len;
        }
        const ssize_t written = writev(fd, vector.entries + at, static_cast<int>(batch));
        if (written < 0) {
            ipc_log_warn("%s: writev to fd %d failed: %s", k_name, fd, safe_strerror(errno));
            return false;
        }
        if (static_cast<size_t>(written) < length) {
            break;
        }
        at += batch;
    }
    return true;
}

} // namespace

int32_t buffer_flush_window(buffer *b, int fd, int32_t width, int32_t height, bool erase, bool no_more) {
    if (b->head == nullptr) {
        return k_buffer_empty;
    }
    window screen = usable_window(width, height);
    window_vector vector;
    if (!reserve(vector, b, screen)) {
        return k_buffer_error;
    }
    const bool done = gather(vector, b, screen, erase, no_more) && write_screen(fd, vector);
    buffer_drop_written(b);
    release(vector);
    if (!done) {
        return k_buffer_error;
    }
    return b->head != nullptr ? k_buffer_pending : k_buffer_empty;
}
