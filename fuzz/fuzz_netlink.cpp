// Netlink messages, damaged: what is taken of them is whole, and every answer made of that is one.

#include "lib/linux_switch/linux_source.h"
#include "lib/linux_switch/netlink_attrs.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <libmnl/libmnl.h>
#include <vector>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void require_name(const linux_name &name) {
    require(name[0] != 0 && std::find(name.begin(), name.end(), 0) != name.end());
}

/// What the messages of an input tell.
struct told {
    linux_model model{};
    std::vector<linux_link> links;
    std::vector<linux_instances> instances;
    linux_line line{};
    linux_port_type type = linux_port_type::unknown;
};

void read_addresses(const nlmsghdr &message, linux_model &model) {
    if (linux_ip_address address; linux_read_ip_address(message, &address)) {
        require((~address.netmask & (~address.netmask + 1)) == 0); // ones, then zeros
        model.ip_address = address.address;
        model.ip_netmask = address.netmask;
    }
    if (linux_default_route route; linux_read_default_route(message, &route)) {
        model.ip_route = route.gateway;
    }
}

void read_message(const nlmsghdr &message, told &to) {
    if (linux_link link; linux_read_link(message, &link)) {
        require_name(link.name);
        require(link.index > 0 && (link.enabled || !link.carrier));
        to.links.push_back(link);
    }
    if (linux_bridge bridge; linux_read_bridge(message, &bridge)) {
        require(bridge.index > 0);
        to.model.bridge = bridge;
    }
    if (linux_instances port; linux_read_instances(message, &port)) {
        require(port.index > 0 && port.states[0] == k_linux_no_state);
        to.instances.push_back(port);
    }
    read_addresses(message, to.model);
    if (linux_line line; linux_read_line(message, &line)) {
        to.line = line;
    }
    if (linux_port_type type; linux_read_port_type(message, &type)) {
        to.type = type;
    }
    if (uint16_t family = 0; linux_read_family(message, &family)) {
        require(message.nlmsg_type == NLMSG_MIN_TYPE);
    }
}

void check_port(const linux_model &model, int32_t port) {
    uint32_t value = 0;
    uint32_t received = 0;
    const linux_counters &counters = model.ports[static_cast<size_t>(port - 1)].counters;
    for (size_t which = 0; which < std::size(k_counter_subs); which++) {
        const int32_t code = linux_answer_counter(model, port, which, value);
        require(code == 0 || code == k_sasi_not_known);
        received += k_counter_subs[which] <= 4 ? value : 0;
    }
    require(received == static_cast<uint32_t>(counters.received));
    sasi_port_words words{};
    require(linux_answer_port_state(model, port, words) == 0 && words[4] <= 1);
    require(linux_answer_port_media(model, port, value) != 0 || value <= k_media_fibre);
}

void check_answers(const linux_model &model) {
    for (int32_t port = 1; port <= k_switch_ports; port++) {
        check_port(model, port);
    }
    for (int32_t instance = 0; instance < k_mst_instances; instance++) {
        sasi_mst mst{};
        std::array<sasi_mst_port, k_switch_ports> ports{};
        require(linux_answer_instance(model, instance, mst) == 0 && mst.address >> 48 == 0);
        require(linux_answer_states(model, instance, ports) == 0);
    }
    sasi_bridge bridge{};
    require(linux_answer_bridge(model, bridge) == 0 && bridge.enabled <= 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (!netlink_is_whole({data, size})) {
        return -1;
    }
    std::vector<uint32_t> room((size + 3) / 4);
    if (size != 0) {
        std::memcpy(room.data(), data, size);
    }
    told got;
    auto *message = reinterpret_cast<nlmsghdr *>(room.data());
    for (int left = static_cast<int>(size); mnl_nlmsg_ok(message, left);
         message = mnl_nlmsg_next(message, &left)) {
        // In a room of its own, so that reading behind it is found.
        std::vector<uint32_t> alone((message->nlmsg_len + 3) / 4);
        std::memcpy(alone.data(), message, message->nlmsg_len);
        read_message(*reinterpret_cast<const nlmsghdr *>(alone.data()), got);
    }
    linux_numbering numbering = linux_number_ports({});
    linux_number_again(numbering, got.links);
    linux_take_ports(got.model, numbering, got.links, got.instances);
    got.model.ports[0].line = got.line;
    got.model.ports[0].type = got.type;
    check_answers(got.model);
    return 0;
}
