#include "lib/ipc/ipc_stream.h"

#include "lib/base/invariant.h"
#include "lib/base/io.h"
#include "lib/base/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using stream_detail::append;
using stream_detail::check;
using stream_detail::check_bound;
using stream_detail::room;
using stream_detail::space;
using stream_detail::take;
using stream_detail::unread;

namespace {

// Warnings are put together here. One for all streams and threads: two that warn at the same moment may
// garble each other's line, which is accepted because all but a truncation end the process.
char s_message[256];

void log_dump(const stream *s) {
    std::snprintf(s_message, sizeof s_message, "&(struct stream): %p, size: %zu, getp: %zu, endp: %zu\n",
                  static_cast<const void *>(s), s->size, s->getp, s->endp);
    ipc_log_warn("%s", s_message);
}

// As many of `n` bytes as there is room for.
size_t truncated(const stream *s, size_t n) {
    if (n <= room(s)) {
        return n;
    }
    std::snprintf(s_message, sizeof s_message, "CHECK_SIZE: truncating requested size %zu\n", n);
    ipc_log_warn("%s", s_message);
    log_dump(s);
    return room(s);
}

// Counts bytes that arrived as written.
ssize_t arrived(stream *s, ssize_t result) {
    if (result > 0) {
        s->endp += static_cast<size_t>(result);
    }
    return result;
}

// The same with a failure told as one to try again (-2) or any other (-1).
ssize_t arrived_or_retry(stream *s, ssize_t result) {
    if (result < 0) {
        return errno == EAGAIN || errno == EINTR ? -2 : -1;
    }
    return arrived(s, result);
}

} // namespace

void stream_detail::broken_invariant(const stream *s, call_site at) {
    if (s->getp > s->endp && s->endp <= s->size) {
        log_dump(s);
        ipc_log_flush(k_ipc_log_patience_ms);
    }
    INVARIANT_AT(s->getp <= s->endp, "s->getp <= s->endp", at.source, at.line, at.function);
    invariant_failed({"s->endp <= s->size", at.source, at.line, at.function});
}

void stream_detail::out_of_bounds(const stream *s, const char *verb, call_site at) {
    std::snprintf(s_message, sizeof s_message, "%s: Attempt to %s out of bounds", at.function, verb);
    ipc_log_warn("%s", s_message);
    log_dump(s);
    ipc_log_flush(k_ipc_log_patience_ms);
    invariant_failed({"0", at.source, at.line, at.function});
}

stream *stream_new(size_t size) {
    INVARIANT(size > 0);
    auto *s = static_cast<stream *>(std::calloc(1, sizeof(stream)));
    if (s == nullptr) {
        return nullptr;
    }
    s->data = static_cast<uint8_t *>(std::malloc(size));
    if (s->data == nullptr) {
        std::free(s);
        return nullptr;
    }
    s->size = size;
    return s;
}

void stream_free(stream *s) {
    if (s != nullptr) {
        std::free(s->data);
        std::free(s);
    }
}

stream *stream_copy(stream *dst, const stream *src) {
    check(src);
    INVARIANT_TEXT(dst != nullptr, "new != ((void *)0)");
    INVARIANT_TEXT(dst->size >= src->endp, "((new)->size) >= src->endp");
    dst->endp = src->endp;
    dst->getp = src->getp;
    std::memcpy(dst->data, src->data, src->endp);
    return dst;
}

stream *stream_dup(const stream *s) {
    check(s);
    stream *copy = stream_new(s->endp);
    return copy != nullptr ? stream_copy(copy, s) : nullptr;
}

size_t stream_resize(stream *s, size_t newsize) {
    check(s);
    // realloc to 0 may free the data and return null, which would pass for a failure.
    void *data = std::realloc(s->data, std::max<size_t>(newsize, 1));
    if (data == nullptr) {
        return s->size;
    }
    s->data = static_cast<uint8_t *>(data);
    s->size = newsize;
    s->endp = std::min(s->endp, s->size);
    s->getp = std::min(s->getp, s->endp);
    check(s);
    return s->size;
}

size_t stream_get_getp(const stream *s) {
    check(s);
    return s->getp;
}

size_t stream_get_endp(const stream *s) {
    check(s);
    return s->endp;
}

size_t stream_get_size(const stream *s) {
    check(s);
    return s->size;
}

void stream_set_getp(stream *s, size_t pos) {
    check(s);
    check_bound(s, pos <= s->endp, "set getp");
    s->getp = pos;
}

void stream_set_endp(stream *s, size_t pos) {
    check(s);
    check_bound(s, pos <= s->size, "set endp");
    check_bound(s, pos >= s->getp, "set endp");
    s->endp = pos;
    check(s);
}

void stream_forward_getp(stream *s, size_t n) {
    check(s);
    check_bound(s, n <= unread(s), "seek getp");
    s->getp += n;
}

void stream_forward_endp(stream *s, size_t n) {
    check(s);
    check_bound(s, n <= room(s), "seek endp");
    s->endp += n;
}

uint8_t *stream_pnt(stream *s) {
    check(s);
    return s->data + s->getp;
}

int32_t stream_empty(const stream *s) {
    check(s);
    return s->endp == 0 ? 1 : 0;
}

void stream_reset(stream *s) {
    check(s);
    s->getp = 0;
    s->endp = 0;
}

void stream_get(stream *s, void *dst, size_t n) { std::memcpy(dst, take(s, n, "get"), n); }

void stream_put(stream *s, const void *src, size_t n) {
    check(s);
    const size_t fitting = truncated(s, n);
    uint8_t *bytes = append(s, fitting, "put");
    if (src != nullptr) {
        std::memcpy(bytes, src, fitting);
    } else {
        std::memset(bytes, 0, fitting);
    }
}

size_t stream_write(stream *s, const void *src, size_t n) {
    check(s);
    const size_t fitting = truncated(s, n);
    std::memcpy(append(s, fitting, "put"), src, fitting);
    return fitting;
}

ssize_t stream_read(stream *s, int fd, size_t n) { return arrived(s, read_full(fd, space(s, n, "put"), n)); }

ssize_t stream_read_unblock(stream *s, int fd, size_t n) {
    uint8_t *bytes = space(s, n, "put");
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0) {
        return -1;
    }
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    const ssize_t result = read(fd, bytes, n);
    const int read_errno = errno;
    fcntl(fd, F_SETFL, flags);
    errno = read_errno;
    return arrived(s, result);
}

ssize_t stream_read_try(stream *s, int fd, size_t n) {
    return arrived_or_retry(s, read(fd, space(s, n, "put"), n));
}

ssize_t stream_recvfrom(stream *s, int fd, size_t n, int flags, sockaddr *from, socklen_t *fromlen) {
    const ssize_t result = recvfrom(fd, space(s, n, "put"), n, flags, from, fromlen);
    // The flags may ask for the real length of a datagram that was cut.
    return arrived_or_retry(s, std::min(result, static_cast<ssize_t>(n)));
}

ssize_t stream_recvmsg(stream *s, int fd, msghdr *msgh, int flags, size_t n) {
    check(s);
    INVARIANT(msgh->msg_iovlen > 0);
    msgh->msg_iov[0] = {space(s, n, "put"), n};
    const ssize_t result = recvmsg(fd, msgh, flags);
    arrived(s, std::min(result, static_cast<ssize_t>(n)));
    return result;
}

size_t stream_read_bytes(const stream *s, size_t n) {
    space(s, n, "put");
    return n;
}

ssize_t stream_flush(const stream *s, int fd) {
    check(s);
    return write(fd, s->data + s->getp, unread(s));
}

stream_queue *stream_queue_new() { return static_cast<stream_queue *>(std::calloc(1, sizeof(stream_queue))); }

void stream_queue_push(stream_queue *queue, stream *s) {
    (queue->tail != nullptr ? queue->tail->next : queue->head) = s;
    queue->tail = s;
    ++queue->count;
}

void stream_queue_clean(stream_queue *queue) {
    stream *next = nullptr;
    for (stream *s = queue->head; s != nullptr; s = next) {
        next = s->next;
        stream_free(s);
    }
    *queue = {0, nullptr, nullptr};
}

void stream_queue_free(stream_queue *queue) {
    stream_queue_clean(queue);
    std::free(queue);
}
