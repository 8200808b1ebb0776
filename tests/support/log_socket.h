#pragma once

#include "lib/base/unique_fd.h"

#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

/// Listens in the place of the system's log service; in a scenario whose "/dev" is its own.
inline unique_fd listen_as_log(int type) {
    unique_fd fd(socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    EXPECT_EQ(0, bind(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address));
    EXPECT_TRUE((type & SOCK_STREAM) == 0 || listen(fd.get(), 0) == 0);
    return fd;
}
