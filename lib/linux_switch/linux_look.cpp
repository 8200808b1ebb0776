#include "lib/linux_switch/linux_look.h"

#include "lib/base/result.h"

#include <cerrno>

namespace {

/// A line that tells nothing is not known; that is no failure.
void ask_about_line(linux_query &query, linux_port &port) {
    int32_t error = linux_ask_line(query, port.index, &port.line);
    if (error == 0 || error == EOPNOTSUPP) {
        error = linux_ask_port_type(query, port.index, &port.type);
    }
    if (error != 0 && error != EOPNOTSUPP && error != ENODEV) {
        ignore_result(linux_query_open_ethtool(query)); // the rest fails as well when this does
    }
}

/// Asks about the lines of the ports of whose `links` one has changed since, or of all.
void look_at_lines(linux_query &query, bool all, const linux_model &before, linux_model &model) {
    bool is_open = false;
    for (size_t i = 0; i < model.ports.size(); i++) {
        linux_port &port = model.ports[i];
        const linux_port &was = before.ports[i];
        if (port.index == 0 || (!all && port.index == was.index && port.link == was.link)) {
            continue;
        }
        if (!is_open && linux_query_open_ethtool(query) != 0) {
            return; // a kernel without
        }
        is_open = true;
        ask_about_line(query, port);
    }
}

int32_t look_at_addresses(linux_query &query, linux_model &model) {
    linux_ip_address address;
    linux_default_route route;
    int32_t error = linux_ask_ip_address(query, model.bridge.index, &address);
    if (error == 0) {
        error = linux_ask_default_route(query, model.bridge.index, &route);
    }
    if (error == 0) {
        model.ip_address = address.address;
        model.ip_netmask = address.netmask;
        const uint32_t reached = route.gateway != 0 ? route.gateway : address.address;
        model.ip_route = route.index == 0 ? 0 : reached;
    }
    return error;
}

int32_t look_at_bridge(linux_look &look, linux_model &model, std::vector<linux_link> *ports,
                       std::vector<linux_instances> *instances) {
    int32_t error = linux_query_open(look.query);
    error = error != 0 ? error : linux_ask_bridge(look.query, look.bridge, &model.bridge);
    error = error != 0 ? error : linux_ask_ports(look.query, model.bridge.index, ports);
    if (error == 0 && model.bridge.has_instances) {
        error = linux_ask_instances(look.query, instances);
    }
    error = error != 0 ? error : look_at_addresses(look.query, model);
    if (error == ENODEV) {
        model = {};
        ports->clear();
        return 0;
    }
    return error;
}

} // namespace

int32_t linux_look_again(linux_look &look, int64_t now_us, linux_model &model) {
    const linux_model before = model;
    std::vector<linux_link> ports;
    std::vector<linux_instances> instances;
    const int32_t error = look_at_bridge(look, model, &ports, &instances);
    if (error == 0) {
        const bool all = now_us >= look.lines_until_us;
        linux_number_again(look.numbering, ports);
        linux_take_ports(model, look.numbering, ports, instances);
        look_at_lines(look.query, all, before, model);
        look.lines_until_us = all ? now_us + k_linux_lines_us : look.lines_until_us;
    }
    look.query.socket.reset();
    return error;
}
