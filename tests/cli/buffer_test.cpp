// The output buffer over pipes.

#include "lib/cli/buffer.h"

#include "lib/base/unique_fd.h"
#include "tests/support/syslog_capture.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <memory>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

int s_interruptions = 0; // writev calls that fail with EINTR

} // namespace

extern "C" {
ssize_t real_writev(int fd, const iovec *vector, int count) __asm__("__real_writev");
ssize_t wrap_writev(int fd, const iovec *vector, int count) __asm__("__wrap_writev");
ssize_t wrap_writev(int fd, const iovec *vector, int count) {
    if (s_interruptions > 0) {
        --s_interruptions;
        errno = EINTR;
        return -1;
    }
    return real_writev(fd, vector, count);
}
}

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using buffer_ptr = std::unique_ptr<buffer, decltype(&buffer_free)>;

const std::string k_prompt = " --More-- \0"s;
const std::string k_wipe = "\b\b\b\b\b\b\b\b\b\b          \b\b\b\b\b\b\b\b\b\b";

buffer_ptr make_buffer(size_t chunk_size, const std::string &text = "") {
    buffer_ptr b(buffer_new(chunk_size), buffer_free);
    EXPECT_EQ(0, buffer_put(b.get(), text.data(), text.size()));
    return b;
}

std::string queued(const buffer_ptr &b) {
    const std::unique_ptr<char, decltype(&std::free)> text(buffer_get_string(b.get()), std::free);
    return text.get();
}

// Where output goes, and where it can be read; nothing waits for it.
struct channel {
    unique_fd in;
    unique_fd out;
};

channel make_channel() {
    int fds[2] = {-1, -1};
    EXPECT_EQ(0, pipe2(fds, O_CLOEXEC | O_NONBLOCK));
    return {unique_fd(fds[0]), unique_fd(fds[1])};
}

// What was written to the channel since the last call, at most `most` bytes of it.
std::string received(const channel &from, size_t most = 100000) {
    std::string text(most, '\0');
    size_t size = 0;
    for (ssize_t got = 0; (got = read(from.in.get(), text.data() + size, most - size)) > 0;) {
        size += static_cast<size_t>(got);
    }
    return text.substr(0, size);
}

std::string pattern(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i * 31 + i / 251);
    }
    return text;
}

} // namespace

TEST(BufferWindow, ScreensByteForByte) {
    struct {
        std::string text;
        int32_t width;
        int32_t height;
        bool erase;
        bool no_more;
        std::string screen;
        std::string left;
    } const rows[] = {
        {"a\nb\nc\n", 80, 1, false, false, "a\n" + k_prompt, "b\nc\n"},
        {"a\nb\nc\n", 80, 2, false, false, "a\n" + k_prompt, "b\nc\n"},
        {"a\nb\nc\n", 80, 3, false, false, "a\nb\n" + k_prompt, "c\n"},
        {"a\nb\nc\n", INT32_MAX, INT32_MAX, false, false, "a\nb\nc\n", ""},
        {"a\nb\nc\n", 80, 2, true, false, k_wipe + "a\n" + k_prompt, "b\nc\n"},
        {"a\nb\nc\n", 80, 2, true, true, k_wipe + "a\n", "b\nc\n"},
        {"last", 80, 2, true, false, k_wipe + "last", ""},
        {"abcdef", 3, 2, false, false, "abc" + k_prompt, "def"},         // longer than the screen is wide
        {"abc\ndef\n", 3, 3, false, false, "abc\n" + k_prompt, "def\n"}, // as long: its line feed is a line
        {"ab\ncd\n", 3, 2, false, false, "ab\n" + k_prompt, "cd\n"},
        {"abc\rdef\nx", 4, 2, false, false, "abc\rdef\n" + k_prompt, "x"}, // starts its line again
        {"ab", 1, 2, false, false, "a" + k_prompt, "b"},
        {"", 80, 2, true, false, "", ""},
        {"ab", 0, -3, false, false, "a" + k_prompt, "b"}, // counts as 1 and 1, and is logged
    };
    const channel to = make_channel();
    for (const auto &row : rows) {
        for (const size_t chunk_size : {1U, 2U, 5U, 4096U}) {
            SCOPED_TRACE(row.screen + " in chunks of " + std::to_string(chunk_size));
            const buffer_ptr b = make_buffer(chunk_size, row.text);
            EXPECT_EQ(
                row.left.empty() ? k_buffer_empty : k_buffer_pending,
                buffer_flush_window(b.get(), to.out.get(), row.width, row.height, row.erase, row.no_more));
            EXPECT_EQ(row.screen, received(to));
            EXPECT_EQ(row.left, queued(b));
            EXPECT_EQ(row.left.size(), buffer_queued(b.get()));
            EXPECT_EQ(row.left.empty(), b->tail == nullptr);
        }
    }
    const std::vector<std::string> logged = syslog_take_texts();
    ASSERT_EQ(2 * 4U, logged.size());
    EXPECT_EQ("4 buffer_flush_window called with non-positive window height -3, forcing to 1", logged[0]);
    EXPECT_EQ("4 buffer_flush_window called with non-positive window width 0, forcing to 1", logged[1]);
}

TEST(BufferWindow, VectorGrowsWithLinesThatReturn) {
    const channel to = make_channel();
    for (const size_t returns : {90U, 91U, 3000U}) { // the last are more than the system takes in one call
        const std::string line = std::string(returns, '\r') + "\n";
        const buffer_ptr b = make_buffer(1, line + "x");
        EXPECT_EQ(k_buffer_pending, buffer_flush_window(b.get(), to.out.get(), 80, 2, false, false));
        EXPECT_EQ(line + k_prompt, received(to));
        // 1 line of 80 columns in chunks of one byte: 82 + 10 entries at first, and twice as many each time.
        const std::vector<std::string> logged = syslog_take_texts();
        ASSERT_EQ(returns == 90 ? 0U : returns == 91 ? 1U : 6U, logged.size());
        EXPECT_TRUE(logged.empty() || logged[0] ==
                                          "4 buffer_flush_window: growing iov array to 184; width 80, "
                                          "height 1, size 1");
    }
}

TEST(BufferWindow, FailedOrShortWriteLosesTheScreen) {
    const buffer_ptr b = make_buffer(2, "a\nb\nc\n");
    EXPECT_EQ(k_buffer_error, buffer_flush_window(b.get(), -1, 80, 2, false, false));
    EXPECT_THAT(syslog_take_texts(),
                ElementsAre("4 buffer_flush_window: writev to fd -1 failed: Bad file descriptor"));
    EXPECT_EQ("b\nc\n", queued(b));

    const channel to = make_channel();
    const auto room = static_cast<size_t>(fcntl(to.out.get(), F_SETPIPE_SZ, 4096));
    const buffer_ptr large = make_buffer(100, pattern(10000));
    EXPECT_EQ(k_buffer_empty, buffer_flush_window(large.get(), to.out.get(), 1000, 100, false, false));
    EXPECT_EQ(pattern(room), received(to));
}

TEST(Buffer, FlushIsBoundedByChunksAndBytes) {
    const size_t rows[][3] = {{10, 16, 16},  {10, 17, 16},   {65536, 4, 2},
                              {65535, 4, 3}, {131071, 3, 2}, {131072, 3, 1}};
    for (const auto &[chunk_size, chunks, first_flush] : rows) {
        const buffer_ptr b = make_buffer(chunk_size, pattern(chunk_size * chunks));
        const unique_fd file(memfd_create("flushed", MFD_CLOEXEC));
        EXPECT_EQ(chunks > first_flush ? k_buffer_pending : k_buffer_empty,
                  buffer_flush_available(b.get(), file.get()));
        EXPECT_EQ(static_cast<off_t>(chunk_size * first_flush), lseek(file.get(), 0, SEEK_CUR));
        s_interruptions = 2;
        EXPECT_EQ(k_buffer_empty, buffer_flush_all(b.get(), file.get())) << "an interrupted call is repeated";
        s_interruptions = 0;
        EXPECT_EQ(static_cast<off_t>(chunk_size * chunks), lseek(file.get(), 0, SEEK_CUR));
        EXPECT_EQ(k_buffer_empty, buffer_flush_available(b.get(), -1));
    }
}

TEST(Buffer, FullDescriptorKeepsTheRestInOrder) {
    const channel to = make_channel();
    const std::string text = pattern(300000);
    const buffer_ptr b = make_buffer(1000);
    EXPECT_EQ(k_buffer_pending, buffer_write(b.get(), to.out.get(), text.data(), 100000));
    EXPECT_EQ(k_buffer_pending, buffer_write(b.get(), to.out.get(), text.data() + 100000, 200000));
    std::string output;
    for (size_t size = 1; output.size() < text.size(); size = size * 5 % 70000 + 1) {
        buffer_flush_all(b.get(), to.out.get()); // ends with the full descriptor each time
        const std::string piece = received(to, size);
        ASSERT_FALSE(piece.empty());
        output += piece;
    }
    EXPECT_TRUE(text == output);
    EXPECT_EQ(nullptr, b->tail);
}

TEST(Buffer, FailuresAndWhatStaysQueued) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    EXPECT_EQ(page < 2048 ? 2048 : page, make_buffer(0)->chunk_size);
    const buffer_ptr b = make_buffer(4);
    EXPECT_EQ(k_buffer_error, buffer_write(b.get(), -1, "abc", 3));
    EXPECT_EQ("", queued(b));
    EXPECT_EQ(0, buffer_put_string(b.get(), "abcdef") + buffer_put_char(b.get(), 'g'));
    EXPECT_EQ(k_buffer_pending, buffer_write(b.get(), -1, "hi", 2))
        << "behind what waits, nothing is written";
    EXPECT_EQ(k_buffer_error, buffer_flush_all(b.get(), -1));
    EXPECT_EQ("abcdefghi", queued(b));
    EXPECT_THAT(syslog_take_texts(),
                ElementsAre("4 buffer_flush_available: writev to fd -1 failed: Bad file descriptor"));
    const size_t largest = SIZE_MAX - sizeof(buffer_chunk);
    EXPECT_EQ(-1, buffer_put_string(buffer_ptr(buffer_new(largest), buffer_free).get(), "x"));
    EXPECT_EQ(nullptr, buffer_new(largest + 1)) << "its chunks would be smaller than their heads say";
}
