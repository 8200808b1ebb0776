// Transfers over a pipe that takes less than it is given.

#include "lib/base/io.h"
#include "lib/base/unique_fd.h"
#include "tests/support/syslog_capture.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

using namespace std::string_literals;

TEST(IpcIo, WritesAllOrReturnsTheFailure) {
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    const unique_fd in(fds[0]);
    const unique_fd out(fds[1]);
    const std::string sent(300000, 'x'); // more than a pipe takes at once
    std::string got(sent.size(), 0);
    std::thread reader([&] { EXPECT_EQ(ssize_t(got.size()), read_full(in.get(), got.data(), got.size())); });
    EXPECT_EQ(ssize_t(sent.size()), write_full(out.get(), sent.data(), sent.size()));
    reader.join();
    EXPECT_EQ(sent, got);

    EXPECT_EQ(0, fd_set_nonblocking(out.get()));
    EXPECT_EQ(O_WRONLY | O_NONBLOCK, fcntl(out.get(), F_GETFL) & (O_ACCMODE | O_NONBLOCK));
    EXPECT_EQ(-1, write_full(out.get(), sent.data(), sent.size())) << "the full pipe's own result";
}

TEST(IpcIo, RefusedFlagsAreLogged) {
    const unique_fd path(open("/", O_PATH | O_CLOEXEC)); // its flags can be read, but not set
    EXPECT_EQ(-1, fd_set_nonblocking(-1));
    EXPECT_EQ(-1, fd_set_nonblocking(path.get()));
    const std::string refused = "4 fcntl failed setting fd " + std::to_string(path.get()) + " non-blocking: ";
    EXPECT_EQ((std::vector{"4 fcntl(F_GETFL) failed for fd -1: Bad file descriptor"s,
                           refused + "Bad file descriptor"}),
              syslog_take_texts());
}
