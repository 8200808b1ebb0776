#pragma once

#include "lib/base/unique_fd.h"

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

// The kernel's routing messages, rtnetlink(7).

/// A socket of them that waits a second at most, and listens to these groups, RTMGRP_... Not valid, with
/// errno set, when there is none.
[[nodiscard]] unique_fd kernel_netlink_open(uint32_t groups);

/// Receives from the kernel, and from nobody else; `flags` as recv() takes them. Returns the length, -1 with
/// errno set when nothing comes.
[[nodiscard]] ssize_t kernel_netlink_receive(int fd, void *buffer, size_t size, int flags = 0);

/// A number that is another one whenever an interface has come or has been switched on or off since the last
/// call: the kernel forgets routes, hosts and IPv6 addresses then. The first call begins to watch.
uint32_t kernel_interface_changes();
