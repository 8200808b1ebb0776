#include "lib/services/kernel_netlink.h"

#include "lib/base/retry.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace {

constexpr int32_t k_messages_max = 256; // at a look; more are seen at the next one

int s_watch = -1; // listens to changes of interfaces; -1: not yet, or not possible
uint32_t s_changes = 0;

/// Whether a message says that an interface has come, or has been switched on or off.
bool tells_change(const nlmsghdr &message) {
    ifinfomsg about{};
    if (message.nlmsg_type != RTM_NEWLINK || message.nlmsg_len < NLMSG_LENGTH(sizeof about)) {
        return false;
    }
    std::memcpy(&about, reinterpret_cast<const uint8_t *>(&message) + NLMSG_HDRLEN, sizeof about);
    return (about.ifi_change & IFF_UP) != 0;
}

} // namespace

unique_fd kernel_netlink_open(uint32_t groups) {
    unique_fd fd(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    constexpr timeval k_patience = {1, 0};
    sockaddr_nl own{};
    own.nl_family = AF_NETLINK;
    own.nl_groups = groups;
    if (fd.valid() && (::setsockopt(fd.get(), SOL_SOCKET, SO_RCVTIMEO, &k_patience, sizeof k_patience) != 0 ||
                       ::bind(fd.get(), reinterpret_cast<sockaddr *>(&own), sizeof own) != 0)) {
        fd.reset();
    }
    return fd;
}

ssize_t kernel_netlink_receive(int fd, void *buffer, size_t size, int flags) {
    for (;;) {
        sockaddr_nl from{};
        socklen_t length = sizeof from;
        const ssize_t got = retry_interrupted([&] {
            return ::recvfrom(fd, buffer, size, flags, reinterpret_cast<sockaddr *>(&from), &length);
        });
        if (got < 0 || (length == sizeof from && from.nl_pid == 0)) {
            return got;
        }
    }
}

uint32_t kernel_interface_changes() {
    if (s_watch < 0) {
        s_watch = kernel_netlink_open(RTMGRP_LINK).release();
    }
    alignas(nlmsghdr) std::array<uint8_t, 8192> buffer{};
    for (int32_t taken = 0; taken < k_messages_max; taken++) {
        const ssize_t length = kernel_netlink_receive(s_watch, buffer.data(), buffer.size(), MSG_DONTWAIT);
        const auto &message = *reinterpret_cast<const nlmsghdr *>(buffer.data());
        if (length < 0 && errno != ENOBUFS) {
            break;
        }
        // ENOBUFS: some are lost, and there may have been such among them. The kernel sends each by itself.
        const bool whole = length >= static_cast<ssize_t>(sizeof message) &&
                           message.nlmsg_len <= static_cast<size_t>(length);
        s_changes += length < 0 || (whole && tells_change(message)) ? 1 : 0;
    }
    return s_changes;
}
