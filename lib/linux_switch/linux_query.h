#pragma once

#include "lib/linux_switch/linux_facts.h"

#include <libmnl/libmnl.h>
#include <memory>
#include <vector>

// Questions to the kernel. Each waits for its answer, two seconds at most, and returns 0 or an errno; EINTR
// says that something changed while the kernel was answering. From one thread.

struct netlink_closer {
    void operator()(mnl_socket *socket) const { mnl_socket_close(socket); }
};
using netlink_socket = std::unique_ptr<mnl_socket, netlink_closer>;

/// A socket to ask through. After an error other than ENODEV, ENOENT and EOPNOTSUPP, which are answers, it is
/// to be opened anew: what comes late would be taken for the next answer.
struct linux_query {
    netlink_socket socket;
    uint16_t ethtool_family = 0;
    uint32_t sequence = 0;
    alignas(nlmsghdr) std::array<uint8_t, 32768> answer{}; // the kernel makes no greater datagrams for a dump
};

/// A socket that hears when interfaces, IPv4 addresses and routes change; null with errno set when there is
/// none.
[[nodiscard]] netlink_socket linux_listen();

/// Takes everything that has been heard so far. Returns whether there was anything, or something was lost.
bool linux_heard(const netlink_socket &listening);

/// Opens `query` for what is asked about interfaces and addresses.
[[nodiscard]] int32_t linux_query_open(linux_query &query);

/// The bridge of a name. ENODEV: there is no interface of the name, or it is no bridge.
[[nodiscard]] int32_t linux_ask_bridge(linux_query &query, const linux_name &name, linux_bridge *bridge);

/// The ports of a bridge, with their counters.
[[nodiscard]] int32_t linux_ask_ports(linux_query &query, int32_t bridge, std::vector<linux_link> *ports);

/// The states of all bridges' ports in instances; of those only that are in one.
[[nodiscard]] int32_t linux_ask_instances(linux_query &query, std::vector<linux_instances> *ports);

/// The first IPv4 address of an interface; address 0 when it has none.
[[nodiscard]] int32_t linux_ask_ip_address(linux_query &query, int32_t index, linux_ip_address *address);

/// The default route through an interface that has the lowest metric; index 0 when there is none.
[[nodiscard]] int32_t linux_ask_default_route(linux_query &query, int32_t index, linux_default_route *route);

/// Opens `query` for what is asked about lines. ENOENT: the kernel has no such questions.
[[nodiscard]] int32_t linux_query_open_ethtool(linux_query &query);

/// How an interface's line runs. EOPNOTSUPP: it does not tell.
[[nodiscard]] int32_t linux_ask_line(linux_query &query, int32_t index, linux_line *line);

/// What kind of port an interface has; as above.
[[nodiscard]] int32_t linux_ask_port_type(linux_query &query, int32_t index, linux_port_type *type);
