#include "lib/linux_switch/linux_facts.h"

#include "lib/base/bytes.h"
#include "lib/linux_switch/netlink_attrs.h"

#include <algorithm>
#include <arpa/inet.h>
#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <string_view>

namespace {

static_assert(std::tuple_size_v<linux_name> == IFNAMSIZ);
static_assert(BR_STATE_BLOCKING == 4 && BR_STATE_FORWARDING == 3);

constexpr uint32_t k_instances_bit = uint32_t{1} << BR_BOOLOPT_MST_ENABLE;

using link_attrs = netlink_attrs<IFLA_CARRIER + 1>;
using info_attrs = netlink_attrs<IFLA_INFO_SLAVE_DATA + 1>;

bool is_text(const nlattr *attr, std::string_view text) {
    linux_name got{};
    return netlink_text(attr, &got) && text == got.data();
}

bool read_head(const nlmsghdr &message, ifinfomsg *head, link_attrs *attrs) {
    return message.nlmsg_type == RTM_NEWLINK && netlink_read(message, head, attrs) && head->ifi_index > 0;
}

std::optional<linux_counters> counters_of(const nlattr *attr) {
    constexpr size_t k_needed = offsetof(rtnl_link_stats64, multicast) + sizeof(uint64_t);
    rtnl_link_stats64 stats{};
    if (!netlink_copy(attr, {reinterpret_cast<uint8_t *>(&stats), k_needed})) {
        return std::nullopt;
    }
    return linux_counters{.received = stats.rx_packets,
                          .received_multicast = stats.multicast,
                          .receive_errors = stats.rx_errors,
                          .sent = stats.tx_packets,
                          .send_errors = stats.tx_errors};
}

uint8_t port_state_of(const nlattr *info) {
    const info_attrs of_link = netlink_nested<IFLA_INFO_SLAVE_DATA + 1>(info);
    if (!is_text(of_link[IFLA_INFO_SLAVE_KIND], "bridge")) {
        return k_linux_no_state;
    }
    const auto of_port = netlink_nested<IFLA_BRPORT_STATE + 1>(of_link[IFLA_INFO_SLAVE_DATA]);
    return netlink_number<uint8_t>(of_port[IFLA_BRPORT_STATE]).value_or(k_linux_no_state);
}

bool is_instances_on(const nlattr *options) {
    br_boolopt_multi value{};
    return netlink_copy(options, {reinterpret_cast<uint8_t *>(&value), sizeof value}) &&
           (value.optval & value.optmask & k_instances_bit) != 0;
}

/// An entry of the list of instances.
int note_instance(const nlattr *attr, void *to) {
    const auto entry = netlink_nested<IFLA_BRIDGE_MST_ENTRY_STATE + 1>(attr);
    const auto number = netlink_number<uint16_t>(entry[IFLA_BRIDGE_MST_ENTRY_MSTI]);
    const auto state = netlink_number<uint8_t>(entry[IFLA_BRIDGE_MST_ENTRY_STATE]);
    if (number && state && *number > 0 && *number < k_mst_instances) {
        static_cast<linux_instances *>(to)->states[*number] = *state;
    }
    return MNL_CB_OK;
}

uint32_t ip_number(const nlattr *attr) { return ntohl(netlink_number<uint32_t>(attr).value_or(0)); }

} // namespace

bool linux_read_link(const nlmsghdr &message, linux_link *link) {
    ifinfomsg head{};
    link_attrs attrs;
    *link = {};
    if (!read_head(message, &head, &attrs) || head.ifi_family != AF_UNSPEC ||
        !netlink_text(attrs[IFLA_IFNAME], &link->name)) {
        return false;
    }
    link->index = head.ifi_index;
    link->master = static_cast<int32_t>(netlink_number<uint32_t>(attrs[IFLA_MASTER]).value_or(0));
    link->enabled = (head.ifi_flags & IFF_UP) != 0;
    link->carrier = link->enabled && netlink_number<uint8_t>(attrs[IFLA_CARRIER]).value_or(0) != 0;
    link->counters = counters_of(attrs[IFLA_STATS64]);
    link->port_state = port_state_of(attrs[IFLA_LINKINFO]);
    return true;
}

bool linux_read_bridge(const nlmsghdr &message, linux_bridge *bridge) {
    ifinfomsg head{};
    link_attrs attrs;
    *bridge = {};
    if (!read_head(message, &head, &attrs) || head.ifi_family != AF_UNSPEC) {
        return false;
    }
    const auto info = netlink_nested<IFLA_INFO_SLAVE_DATA + 1>(attrs[IFLA_LINKINFO]);
    const auto data = netlink_nested<IFLA_BR_MULTI_BOOLOPT + 1>(info[IFLA_INFO_DATA]);
    const auto stp = netlink_number<uint32_t>(data[IFLA_BR_STP_STATE]);
    ifla_bridge_id identifier{};
    if (!is_text(info[IFLA_INFO_KIND], "bridge") || !stp ||
        !netlink_copy(data[IFLA_BR_BRIDGE_ID],
                      {reinterpret_cast<uint8_t *>(&identifier), sizeof identifier})) {
        return false;
    }
    bridge->index = head.ifi_index;
    bridge->stp = *stp;
    bridge->has_instances = is_instances_on(data[IFLA_BR_MULTI_BOOLOPT]);
    std::copy_n(identifier.addr, bridge->address.size(), bridge->address.begin());
    return true;
}

bool linux_read_instances(const nlmsghdr &message, linux_instances *instances) {
    ifinfomsg head{};
    netlink_attrs<IFLA_AF_SPEC + 1> attrs;
    instances->states.fill(k_linux_no_state);
    if (message.nlmsg_type != RTM_NEWLINK || !netlink_read(message, &head, &attrs) || head.ifi_index <= 0 ||
        head.ifi_family != AF_BRIDGE) {
        return false;
    }
    instances->index = head.ifi_index;
    const auto of_bridge = netlink_nested<IFLA_BRIDGE_MST + 1>(attrs[IFLA_AF_SPEC]);
    const nlattr *const list = of_bridge[IFLA_BRIDGE_MST];
    return list != nullptr && mnl_attr_parse_nested(list, note_instance, instances) >= 0;
}

bool linux_read_ip_address(const nlmsghdr &message, linux_ip_address *address) {
    ifaddrmsg head{};
    netlink_attrs<IFA_LOCAL + 1> attrs;
    if (message.nlmsg_type != RTM_NEWADDR || !netlink_read(message, &head, &attrs) ||
        head.ifa_family != AF_INET || head.ifa_prefixlen > 32 ||
        !netlink_number<uint32_t>(attrs[IFA_LOCAL])) {
        return false;
    }
    const uint32_t prefix = head.ifa_prefixlen;
    *address = {.index = static_cast<int32_t>(head.ifa_index),
                .address = ip_number(attrs[IFA_LOCAL]),
                .netmask = prefix == 0 ? 0 : UINT32_MAX << (32 - prefix),
                .secondary = (head.ifa_flags & IFA_F_SECONDARY) != 0};
    return true;
}

bool linux_read_default_route(const nlmsghdr &message, linux_default_route *route) {
    rtmsg head{};
    netlink_attrs<RTA_TABLE + 1> attrs;
    if (message.nlmsg_type != RTM_NEWROUTE || !netlink_read(message, &head, &attrs) ||
        head.rtm_family != AF_INET || head.rtm_dst_len != 0 || head.rtm_type != RTN_UNICAST ||
        netlink_number<uint32_t>(attrs[RTA_TABLE]).value_or(head.rtm_table) != RT_TABLE_MAIN) {
        return false;
    }
    const auto index = netlink_number<uint32_t>(attrs[RTA_OIF]);
    if (!index) {
        return false;
    }
    *route = {.index = static_cast<int32_t>(*index),
              .gateway = ip_number(attrs[RTA_GATEWAY]),
              .metric = netlink_number<uint32_t>(attrs[RTA_PRIORITY]).value_or(0)};
    return true;
}
