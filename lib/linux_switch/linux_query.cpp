#include "lib/linux_switch/linux_query.h"

#include "lib/base/result.h"
#include "lib/base/retry.h"
#include "lib/linux_switch/netlink_attrs.h"

#include <cerrno>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <span>
#include <sys/time.h>

namespace {

constexpr timeval k_patience = {2, 0};
constexpr uint32_t k_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE;
constexpr uint16_t k_one = NLM_F_REQUEST | NLM_F_ACK;
constexpr uint16_t k_all = NLM_F_REQUEST | NLM_F_DUMP;

/// A message being put together, all of which is zero but for what is put there.
struct question {
    alignas(nlmsghdr) std::array<uint8_t, 256> bytes{};
    nlmsghdr *message = nullptr;
};

template<typename header> header *begin(question &asked, uint16_t type, uint16_t flags) {
    asked.message = mnl_nlmsg_put_header(asked.bytes.data());
    asked.message->nlmsg_type = type;
    asked.message->nlmsg_flags = flags;
    return static_cast<header *>(mnl_nlmsg_put_extra_header(asked.message, sizeof(header)));
}

netlink_socket open_socket(int bus, uint32_t groups, int flags) {
    netlink_socket socket(mnl_socket_open2(bus, SOCK_CLOEXEC | flags));
    if (socket == nullptr || mnl_socket_bind(socket.get(), groups, MNL_SOCKET_AUTOPID) != 0) {
        return nullptr;
    }
    // Neither is needed: the kernel does answer, and one that does not filter is asked for more than is
    // taken.
    int on = 1;
    ignore_result(mnl_socket_setsockopt(socket.get(), NETLINK_GET_STRICT_CHK, &on, sizeof on));
    ignore_result(::setsockopt(mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &k_patience,
                               sizeof k_patience));
    return socket;
}

/// Receives one datagram of the kernel's; others are left out. Returns its length, which may be more than the
/// buffer's, or -1 with errno set.
ssize_t receive(const netlink_socket &socket, std::span<uint8_t> buffer) {
    for (;;) {
        sockaddr_nl from{};
        socklen_t length = sizeof from;
        const ssize_t got = retry_interrupted([&] {
            return ::recvfrom(mnl_socket_get_fd(socket.get()), buffer.data(), buffer.size(), MSG_TRUNC,
                              reinterpret_cast<sockaddr *>(&from), &length);
        });
        if (got < 0 || (length == sizeof from && from.nl_pid == 0)) {
            return got;
        }
    }
}

template<typename takes> int call_taker(const nlmsghdr *message, void *taker) {
    (*static_cast<takes *>(taker))(*message);
    return MNL_CB_OK;
}

/// Asks a question and hands every message of its answer to `take`.
template<typename takes> int32_t ask(linux_query &query, question &asked, takes take) {
    asked.message->nlmsg_seq = ++query.sequence;
    if (mnl_socket_sendto(query.socket.get(), asked.message, asked.message->nlmsg_len) < 0) {
        return errno;
    }
    for (;;) {
        const ssize_t length = receive(query.socket, query.answer);
        if (length < 0) {
            return errno;
        }
        if (length > static_cast<ssize_t>(query.answer.size()) ||
            !netlink_is_whole({query.answer.data(), static_cast<size_t>(length)})) {
            return EBADMSG;
        }
        const int more =
            mnl_cb_run(query.answer.data(), static_cast<size_t>(length), asked.message->nlmsg_seq,
                       mnl_socket_get_portid(query.socket.get()), call_taker<takes>, &take);
        if (more != MNL_CB_OK) {
            return more == MNL_CB_STOP ? 0 : errno;
        }
    }
}

/// Asks ethtool's about an interface. The names of attributes differ, their numbers do not.
template<typename takes> int32_t ask_ethtool(linux_query &query, uint8_t command, int32_t index, takes take) {
    static_assert(int{ETHTOOL_A_LINKINFO_HEADER} == int{ETHTOOL_A_LINKMODES_HEADER});
    question asked;
    *begin<genlmsghdr>(asked, query.ethtool_family, k_one) = {.cmd = command, .version = 1, .reserved = 0};
    nlattr *const header = mnl_attr_nest_start(asked.message, ETHTOOL_A_LINKINFO_HEADER);
    mnl_attr_put_u32(asked.message, ETHTOOL_A_HEADER_DEV_INDEX, static_cast<uint32_t>(index));
    mnl_attr_put_u32(asked.message, ETHTOOL_A_HEADER_FLAGS, ETHTOOL_FLAG_COMPACT_BITSETS);
    mnl_attr_nest_end(asked.message, header);
    return ask(query, asked, take);
}

} // namespace

netlink_socket linux_listen() { return open_socket(NETLINK_ROUTE, k_groups, SOCK_NONBLOCK); }

bool linux_heard(const netlink_socket &listening) {
    constexpr int32_t k_at_once = 4096; // who changes things faster than that is heard again soon
    bool heard = false;
    std::array<uint8_t, 1> start{};
    for (int32_t i = 0; i < k_at_once; i++) {
        if (receive(listening, start) < 0 && errno != ENOBUFS) {
            break;
        }
        heard = true; // also if the queue was full, and something is lost
    }
    return heard;
}

int32_t linux_query_open(linux_query &query) {
    query.socket = open_socket(NETLINK_ROUTE, 0, 0);
    return query.socket == nullptr ? errno : 0;
}

int32_t linux_ask_bridge(linux_query &query, const linux_name &name, linux_bridge *bridge) {
    question asked;
    begin<ifinfomsg>(asked, RTM_GETLINK, k_one);
    mnl_attr_put_strz(asked.message, IFLA_IFNAME, name.data());
    bool is_bridge = false;
    const int32_t error =
        ask(query, asked, [&](const nlmsghdr &message) { is_bridge = linux_read_bridge(message, bridge); });
    return error == 0 && !is_bridge ? ENODEV : error;
}

int32_t linux_ask_ports(linux_query &query, int32_t bridge, std::vector<linux_link> *ports) {
    question asked;
    begin<ifinfomsg>(asked, RTM_GETLINK, k_all);
    mnl_attr_put_u32(asked.message, IFLA_MASTER, static_cast<uint32_t>(bridge));
    ports->clear();
    return ask(query, asked, [&](const nlmsghdr &message) {
        if (linux_link link; linux_read_link(message, &link) && link.master == bridge) {
            ports->push_back(link);
        }
    });
}

int32_t linux_ask_instances(linux_query &query, std::vector<linux_instances> *ports) {
    question asked;
    begin<ifinfomsg>(asked, RTM_GETLINK, k_all)->ifi_family = AF_BRIDGE;
    mnl_attr_put_u32(asked.message, IFLA_EXT_MASK, RTEXT_FILTER_MST);
    ports->clear();
    return ask(query, asked, [&](const nlmsghdr &message) {
        if (linux_instances port; linux_read_instances(message, &port)) {
            ports->push_back(port);
        }
    });
}

int32_t linux_ask_ip_address(linux_query &query, int32_t index, linux_ip_address *address) {
    question asked;
    auto *const head = begin<ifaddrmsg>(asked, RTM_GETADDR, k_all);
    head->ifa_family = AF_INET;
    head->ifa_index = static_cast<uint32_t>(index);
    *address = {};
    return ask(query, asked, [&](const nlmsghdr &message) {
        linux_ip_address one;
        if (address->address == 0 && linux_read_ip_address(message, &one) && one.index == index &&
            !one.secondary) {
            *address = one;
        }
    });
}

int32_t linux_ask_default_route(linux_query &query, int32_t index, linux_default_route *route) {
    question asked;
    begin<rtmsg>(asked, RTM_GETROUTE, k_all)->rtm_family = AF_INET;
    mnl_attr_put_u32(asked.message, RTA_OIF, static_cast<uint32_t>(index));
    *route = {};
    return ask(query, asked, [&](const nlmsghdr &message) {
        linux_default_route one;
        if (linux_read_default_route(message, &one) && one.index == index &&
            (route->index == 0 || one.metric < route->metric)) {
            *route = one;
        }
    });
}

int32_t linux_query_open_ethtool(linux_query &query) {
    query.socket = open_socket(NETLINK_GENERIC, 0, 0);
    if (query.socket == nullptr) {
        return errno;
    }
    question asked;
    *begin<genlmsghdr>(asked, GENL_ID_CTRL, k_one) = {.cmd = CTRL_CMD_GETFAMILY, .version = 1, .reserved = 0};
    mnl_attr_put_strz(asked.message, CTRL_ATTR_FAMILY_NAME, ETHTOOL_GENL_NAME);
    bool known = false;
    const int32_t error = ask(query, asked, [&](const nlmsghdr &message) {
        known = linux_read_family(message, &query.ethtool_family);
    });
    return error == 0 && !known ? ENOENT : error;
}

int32_t linux_ask_line(linux_query &query, int32_t index, linux_line *line) {
    *line = {};
    return ask_ethtool(query, ETHTOOL_MSG_LINKMODES_GET, index,
                       [&](const nlmsghdr &message) { ignore_result(linux_read_line(message, line)); });
}

int32_t linux_ask_port_type(linux_query &query, int32_t index, linux_port_type *type) {
    *type = linux_port_type::unknown;
    return ask_ethtool(query, ETHTOOL_MSG_LINKINFO_GET, index,
                       [&](const nlmsghdr &message) { ignore_result(linux_read_port_type(message, type)); });
}
