#include "lib/ipc/ipc_stream.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "tests/support/syslog_capture.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <sys/time.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using stream_ptr = std::unique_ptr<stream, decltype(&stream_free)>;

stream_ptr make_stream(size_t getp = 4, size_t endp = 10, size_t size = 16) {
    stream_ptr s(stream_new(size), stream_free);
    std::fill_n(s->data, size, 0xEE);
    s->getp = getp;
    s->endp = endp;
    return s;
}

std::string dump_regex(const std::string &cursors) {
    return "&\\(struct stream\\): 0x[0-9a-f]+, " + cursors + "\n";
}

std::string text_of(const stream *s) { return {s->data, s->data + s->endp}; }

// One operation with its bound on the stream of make_stream. The argument is a count, an offset or, for the
// operations that have none, the cursor they start from.
struct bound_row {
    const char *name;
    const char *verb;
    size_t last_good;
    size_t first_bad;
    bool takes_argument; // so it may be any number
    std::function<void(stream *, size_t)> call;
};

uint8_t s_block[32];

stream *with_getp(stream *s, size_t getp) { return s->getp = getp, s; }
stream *with_endp(stream *s, size_t endp) { return s->endp = endp, s; }

const auto k_take = [](auto op) { return [op](stream *s, size_t getp) { op(with_getp(s, getp)); }; };
const auto k_append = [](auto op) { return [op](stream *s, size_t endp) { op(with_endp(s, endp), 1U); }; };
const auto k_put_at = [](auto op) { return [op](stream *s, size_t offset) { op(s, offset, 1U); }; };
const auto k_read = [](auto op) { return [op](stream *s, size_t n) { op(s, -1, n); }; };

ssize_t receive_message(stream *s, int fd, size_t n) {
    iovec vector{};
    msghdr header{};
    header.msg_iov = &vector;
    header.msg_iovlen = 1;
    return stream_recvmsg(s, fd, &header, 0, n);
}
ssize_t receive(stream *s, int fd, size_t n) {
    return stream_recvfrom(s, fd, n, MSG_DONTWAIT, nullptr, nullptr);
}

const bound_row k_bounds[] = {
    {"stream_set_getp", "set getp", 10, 11, true, stream_set_getp},
    {"stream_set_endp", "set endp", 16, 17, true, stream_set_endp},
    {"stream_set_endp", "set endp", 4, 3, false, stream_set_endp},
    {"stream_forward_getp", "seek getp", 6, 7, true, stream_forward_getp},
    {"stream_forward_endp", "seek endp", 6, 7, true, stream_forward_endp},
    {"stream_get", "get", 6, 7, true, [](stream *s, size_t n) { stream_get(s, s_block, n); }},
    {"stream_getc", "get char", 9, 10, false, k_take(stream_getc)},
    {"stream_getw", "get ", 8, 9, false, k_take(stream_getw)},
    {"stream_getl", "get long", 6, 7, false, k_take(stream_getl)},
    {"stream_getq", "get quad", 2, 3, false, k_take(stream_getq)},
    {"stream_getc_from", "get char", 9, 10, true, stream_getc_from},
    {"stream_getw_from", "get ", 8, 9, true, stream_getw_from},
    {"stream_getl_from", "get long", 6, 7, true, stream_getl_from},
    {"stream_getq_from", "get quad", 2, 3, true, stream_getq_from},
    {"stream_putc", "put", 15, 16, false, k_append(stream_putc)},
    {"stream_putw", "put", 14, 15, false, k_append(stream_putw)},
    {"stream_putl", "put", 12, 13, false, k_append(stream_putl)},
    {"stream_putq", "put quad", 8, 9, false, k_append(stream_putq)},
    {"stream_putc_at", "put", 9, 10, true, k_put_at(stream_putc_at)},
    {"stream_putw_at", "put", 8, 9, true, k_put_at(stream_putw_at)},
    {"stream_putl_at", "put", 6, 7, true, k_put_at(stream_putl_at)},
    {"stream_putq_at", "put", 2, 3, true, k_put_at(stream_putq_at)},
    {"stream_read", "put", 6, 7, true, k_read(stream_read)},
    {"stream_read_unblock", "put", 6, 7, true, k_read(stream_read_unblock)},
    {"stream_read_try", "put", 6, 7, true, k_read(stream_read_try)},
    {"stream_recvfrom", "put", 6, 7, true, k_read(receive)},
    {"stream_recvmsg", "put", 6, 7, true, k_read(receive_message)},
    {"stream_read_bytes", "put", 6, 7, true, stream_read_bytes},
};

std::string warning_of(const bound_row &row, const std::string &failure) {
    return std::string("^syslog 4: ") + row.name + ": Attempt to " + row.verb +
           " out of bounds\nsyslog 4: " + dump_regex("size: 16, getp: [0-9]+, endp: [0-9]+") + "\n" +
           failure + "syslog 26: " + failure;
}

} // namespace

TEST(StreamDeathTest, EachBoundAtItsLastGoodAndFirstBadValue) {
    syslog_echo(true);
    for (const bound_row &row : k_bounds) {
        SCOPED_TRACE(row.name);
        row.call(make_stream().get(), row.last_good);
        EXPECT_TRUE(syslog_take().empty());
        const std::string failed = std::string("ipc_stream(_inline)?:[0-9]+: ") + row.name + ": Assertion `";
        const std::string warned = warning_of(row, failed + "0' failed\\.\n");
        EXPECT_DEATH(row.call(make_stream().get(), row.first_bad), warned);
        if (row.takes_argument) { // added to a cursor or a width, this wraps back below the bound
            EXPECT_DEATH(row.call(make_stream().get(), SIZE_MAX), warned);
        }
        const stream_ptr beyond = make_stream();
        beyond->size = 0;
        EXPECT_DEATH(row.call(beyond.get(), row.last_good), "^" + failed + "s->endp <= s->size' failed\\.\n");
    }
    syslog_echo(false);
}

TEST(StreamDeathTest, OtherAssertions) {
    syslog_echo(true);
    const std::string order = "ipc_stream:[0-9]+: stream_reset: Assertion `s->getp <= s->endp' failed\\.\n";
    const std::string dump = "syslog 4: " + dump_regex("size: 16, getp: 11, endp: 10") + "\n";
    EXPECT_DEATH(stream_reset(make_stream(11, 10).get()), "^" + dump + order);
    EXPECT_DEATH(stream_reset(make_stream(18, 17).get()), "^" + order) << "no dump beyond the size";
    syslog_echo(false);
    const stream_ptr full = make_stream();
    msghdr header{};
    EXPECT_DEATH(ignore_result(stream_dup(make_stream(0, 0).get())), "stream_new: .*`size > 0' failed");
    EXPECT_DEATH(stream_copy(nullptr, full.get()), "stream_copy: .*`new != \\(\\(void \\*\\)0\\)' failed");
    EXPECT_DEATH(stream_copy(make_stream(0, 0, 9).get(), full.get()),
                 "stream_copy: .*`\\(\\(new\\)->size\\) >= src->endp' failed");
    EXPECT_DEATH(stream_recvmsg(full.get(), -1, &header, 0, 1), "Assertion `msgh->msg_iovlen > 0' failed");
}

TEST(Stream, IntegersHighByteFirst) {
    const stream_ptr s = make_stream(0, 0);
    EXPECT_EQ(1, stream_empty(s.get()));
    EXPECT_EQ(15, stream_putc(s.get(), 0x01) + stream_putw(s.get(), 0x0203) +
                      stream_putl(s.get(), 0x04050607) + stream_putq(s.get(), 0x08090A0B0C0D0E0F));
    EXPECT_EQ("\1\2\3\4\5\6\7\x8\x9\xA\xB\xC\xD\xE\xF", text_of(s.get()));
    EXPECT_EQ(0x0203, stream_getw_from(s.get(), 1));
    EXPECT_EQ(0x04050607U, stream_getl_from(s.get(), 3));
    EXPECT_EQ(0x08090A0B0C0D0E0FU, stream_getq_from(s.get(), 7));
    EXPECT_EQ(0x01, stream_getc(s.get()));
    EXPECT_EQ(0x0203, stream_getw(s.get()));
    EXPECT_EQ(0x04050607U, stream_getl(s.get()));
    EXPECT_EQ(0x08090A0B0C0D0E0FU, stream_getq(s.get()));
    EXPECT_EQ(0, stream_empty(s.get())) << "what was read still counts";
    EXPECT_EQ(15, stream_putq_at(s.get(), 1, 0xF0E0D0C0B0A09080) + stream_putl_at(s.get(), 9, 0x11223344) +
                      stream_putw_at(s.get(), 13, 0x5566) + stream_putc_at(s.get(), 0, 0x1FF));
    EXPECT_EQ("\xFF\xF0\xE0\xD0\xC0\xB0\xA0\x90\x80\x11\x22\x33\x44\x55\x66", text_of(s.get()));
}

TEST(Stream, PutAndWriteCutWhatDoesNotFit) {
    for (const size_t wanted : {size_t{10}, SIZE_MAX}) {
        const stream_ptr s = make_stream(0, 12);
        stream_put(s.get(), nullptr, wanted);
        EXPECT_EQ(0U, stream_getl_from(s.get(), 12));
        stream_set_endp(s.get(), 12);
        EXPECT_EQ(4U, stream_write(s.get(), "abcdefghij", wanted));
        EXPECT_EQ(0x61626364U, stream_getl_from(s.get(), 12));
        const std::string cut = "4 CHECK_SIZE: truncating requested size " + std::to_string(wanted) + "\n";
        const auto dump = MatchesRegex("4 " + dump_regex("size: 16, getp: 0, endp: 12"));
        EXPECT_THAT(syslog_take_texts(), ElementsAre(cut, dump, cut, dump));
    }
    EXPECT_EQ(4U, stream_write(make_stream(0, 12).get(), "abcd", 4));
    EXPECT_TRUE(syslog_take().empty());
}

TEST(Stream, CopiesAndResizes) {
    const stream_ptr s = make_stream();
    const stream_ptr copy(stream_dup(s.get()), stream_free);
    EXPECT_EQ(10U, stream_get_size(copy.get()));
    EXPECT_EQ(4U, stream_get_getp(copy.get()));
    EXPECT_EQ(text_of(s.get()), text_of(copy.get()));
    EXPECT_EQ(nullptr, stream_new(SIZE_MAX - 64));
    const size_t rows[][4] = {
        {SIZE_MAX - 64, 16, 4, 10}, {7, 7, 4, 7}, {3, 3, 3, 3}, {0, 0, 0, 0}, {64, 64, 0, 0}};
    for (const auto &[size, result, getp, endp] : rows) {
        EXPECT_EQ(result, stream_resize(s.get(), size));
        EXPECT_EQ(getp, stream_get_getp(s.get()));
        EXPECT_EQ(endp, stream_get_endp(s.get()));
        EXPECT_NE(nullptr, s->data);
    }
}

TEST(Stream, ReadsTellAgainFromFailureAndEnd) {
    int fds[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds));
    const unique_fd in(fds[0]);
    unique_fd out(fds[1]);
    const stream_ptr s = make_stream(0, 0);
    EXPECT_EQ(-1, stream_read_unblock(s.get(), in.get(), 4));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(0, fcntl(in.get(), F_GETFL) & O_NONBLOCK) << "the descriptor's flags are restored";
    EXPECT_EQ(-2, receive(s.get(), in.get(), 4));
    EXPECT_EQ(-1, stream_read_try(s.get(), -1, 4));
    // A blocking read that a signal interrupts; the timer repeats in case it fires before the read waits.
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval every_millisecond{{0, 1000}, {0, 1000}};
    const itimerval off{};
    setitimer(ITIMER_REAL, &every_millisecond, nullptr);
    EXPECT_EQ(-2, stream_read_try(s.get(), in.get(), 4));
    setitimer(ITIMER_REAL, &off, nullptr);
    signal(SIGALRM, SIG_DFL);

    for (const char *piece : {"ab", "cd", "ef", "gh", "i", "j", "k"}) {
        ASSERT_GT(send(out.get(), piece, strlen(piece), 0), 0);
    }
    EXPECT_EQ(2, stream_read_unblock(s.get(), in.get(), 2));
    EXPECT_EQ(2, stream_read_try(s.get(), in.get(), 2));
    EXPECT_EQ(2, receive(s.get(), in.get(), 2));
    EXPECT_EQ(2, receive_message(s.get(), in.get(), 2));
    EXPECT_EQ(2, stream_read(s.get(), in.get(), 2)) << "collects pieces";
    stream_set_getp(s.get(), 7);
    EXPECT_EQ(3, stream_flush(s.get(), in.get()));
    EXPECT_EQ(7U, stream_get_getp(s.get()));
    EXPECT_EQ(3, read(out.get(), s_block, sizeof s_block));
    EXPECT_EQ('h', s_block[0]);
    out.reset();
    EXPECT_EQ(1, stream_read(s.get(), in.get(), 6)) << "the end of file cuts it short";
    EXPECT_EQ(0, stream_read_try(s.get(), in.get(), 4));
    EXPECT_EQ("abcdefghijk", text_of(s.get()));
}

TEST(StreamQueue, FirstInFirstOut) {
    stream_queue *queue = stream_queue_new();
    stream *streams[] = {stream_new(1), stream_new(1), stream_new(1)};
    for (stream *s : streams) {
        stream_queue_push(queue, s);
    }
    EXPECT_EQ(3U, queue->count);
    EXPECT_THAT(streams, ElementsAre(queue->head, queue->head->next, queue->tail));
    stream_queue_clean(queue); // the address sanitizer sees whether each was freed once
    stream_queue_push(queue, stream_new(1));
    EXPECT_EQ(std::pair(size_t{1}, queue->tail), std::pair(queue->count, queue->head));
    stream_queue_free(queue);
}
