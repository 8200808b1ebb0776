#pragma once

#include "lib/sasi/sasi_layout.h"

#include <array>
#include <cstdint>
#include <linux/netlink.h>
#include <optional>

// What single netlink messages of the kernel tell. Each function reads one message, of which all nlmsg_len
// bytes can be read at an address that is a multiple of four, and returns false when it is not of the kind
// that is looked for, or lacks what makes it one. A field that it does not have, or has in a wrong size, is
// left at what stands for "not told".

/// A name of an interface, with its NUL.
using linux_name = std::array<char, 16>;

using linux_address = std::array<uint8_t, 6>;

/// Frames and errors since the interface was made.
struct linux_counters {
    uint64_t received;
    uint64_t received_multicast; // among those
    uint64_t receive_errors;
    uint64_t sent;
    uint64_t send_errors;
};

/// A port's spanning-tree state, as the kernel counts them (BR_STATE_...): 0 disabled, 1 listening, 2
/// learning, 3 forwarding, 4 blocking.
inline constexpr uint8_t k_linux_no_state = 0xFF; // not told

/// What an interface is by itself and as a port.
struct linux_link {
    int32_t index;
    int32_t master; // the interface that it is a port of; 0: none
    linux_name name;
    bool enabled; // switched on
    bool carrier; // and has a link
    std::optional<linux_counters> counters;
    uint8_t port_state; // of a bridge's port
};

/// What an interface is as a bridge.
struct linux_bridge {
    int32_t index;
    uint32_t stp; // 0 off, 1 the kernel's protocol, 2 another program's
    bool has_instances;
    linux_address address; // the one in its bridge identifier
};

/// Port states in spanning-tree instances other than the bridge's own.
struct linux_instances {
    int32_t index;
    std::array<uint8_t, k_mst_instances> states; // by instance; that of 0 is never told
};

enum class linux_port_type : uint8_t { unknown, twisted_pair, fibre, other };
enum class linux_duplex : uint8_t { unknown, half, full };

/// How an interface's line runs.
struct linux_line {
    uint32_t speed; // Mbit/s; 0: not known
    linux_duplex duplex;
    bool negotiates;
    std::optional<bool> gigabit; // whether it can do a gigabit or more over twisted pairs
};

struct linux_ip_address {
    int32_t index;
    uint32_t address; // most significant byte first octet, as everywhere here
    uint32_t netmask;
    bool secondary;
};

struct linux_default_route {
    int32_t index;
    uint32_t gateway; // 0: none, what is outside is reached directly
    uint32_t metric;  // the lowest counts
};

/// RTM_NEWLINK: an interface.
[[nodiscard]] bool linux_read_link(const nlmsghdr &message, linux_link *link);

/// RTM_NEWLINK: an interface that is a bridge.
[[nodiscard]] bool linux_read_bridge(const nlmsghdr &message, linux_bridge *bridge);

/// RTM_NEWLINK of the bridges' family: the states of a port in instances.
[[nodiscard]] bool linux_read_instances(const nlmsghdr &message, linux_instances *instances);

/// RTM_NEWADDR: an IPv4 address.
[[nodiscard]] bool linux_read_ip_address(const nlmsghdr &message, linux_ip_address *address);

/// RTM_NEWROUTE: an IPv4 default route of the main table through one interface.
[[nodiscard]] bool linux_read_default_route(const nlmsghdr &message, linux_default_route *route);

/// The number of a family of generic netlink messages.
[[nodiscard]] bool linux_read_family(const nlmsghdr &message, uint16_t *family);

/// ethtool's link information: what kind of port it is.
[[nodiscard]] bool linux_read_port_type(const nlmsghdr &message, linux_port_type *type);

/// ethtool's link modes.
[[nodiscard]] bool linux_read_line(const nlmsghdr &message, linux_line *line);
