#include "lib/linux_switch/linux_model.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t k_nowhere = k_switch_ports;

/// Null for 0 as well, which no interface has.
const linux_link *find(std::span<const linux_link> ports, int32_t index) {
    const auto found =
        std::find_if(ports.begin(), ports.end(), [=](const linux_link &port) { return port.index == index; });
    return found == ports.end() ? nullptr : &*found;
}

bool has_number(const linux_numbering &numbering, int32_t index) {
    return std::find(numbering.indexes.begin(), numbering.indexes.end(), index) != numbering.indexes.end();
}

size_t place_of_name(const linux_numbering &numbering, const linux_name &name) {
    return static_cast<size_t>(std::find(numbering.names.begin(), numbering.names.end(), name) -
                               numbering.names.begin());
}

/// The place for a port that has not been seen: one that nobody had yet, else one that nobody has any more.
size_t free_place(const linux_numbering &numbering) {
    const size_t unused = place_of_name(numbering, linux_name{});
    if (unused != k_nowhere) {
        return unused;
    }
    return static_cast<size_t>(std::find(numbering.indexes.begin(), numbering.indexes.end(), 0) -
                               numbering.indexes.begin());
}

void number_by_list(linux_numbering &numbering, std::span<const linux_link> ports) {
    numbering.indexes.fill(0);
    for (const linux_link &port : ports) {
        if (const size_t place = place_of_name(numbering, port.name); place != k_nowhere) {
            numbering.indexes[place] = port.index;
        }
    }
}

void keep_those_still_there(linux_numbering &numbering, std::span<const linux_link> ports) {
    for (size_t i = 0; i < numbering.indexes.size(); i++) {
        const linux_link *const port = find(ports, numbering.indexes[i]);
        numbering.indexes[i] = port == nullptr ? 0 : port->index;
        numbering.names[i] = port == nullptr ? numbering.names[i] : port->name;
    }
}

void add_new(linux_numbering &numbering, std::vector<linux_link> ports) {
    std::sort(ports.begin(), ports.end(), [](const linux_link &a, const linux_link &b) {
        return ::strverscmp(a.name.data(), b.name.data()) < 0;
    });
    const auto put = [&](const linux_link &port, size_t place) {
        if (place != k_nowhere && !has_number(numbering, port.index) && numbering.indexes[place] == 0) {
            numbering.names[place] = port.name;
            numbering.indexes[place] = port.index;
        }
    };
    for (const linux_link &port : ports) { // those that come back first, so that nobody takes their places
        put(port, place_of_name(numbering, port.name));
    }
    for (const linux_link &port : ports) {
        put(port, free_place(numbering));
    }
}

/// The states that `instances` tells of a port, and that of the bridge's own spanning tree.
void take_states(linux_port &port, const linux_link &link, std::span<const linux_instances> instances) {
    const auto found = std::find_if(instances.begin(), instances.end(),
                                    [&](const linux_instances &one) { return one.index == link.index; });
    port.states.fill(k_linux_no_state);
    if (found != instances.end()) {
        port.states = found->states;
    }
    port.states[0] = link.port_state;
}

void take_port(linux_port &port, const linux_link &link) {
    if (port.index != link.index) {
        port.line = {};
        port.type = linux_port_type::unknown;
    }
    port.index = link.index;
    port.enabled = link.enabled;
    port.link = link.carrier;
    port.counters = link.counters.value_or(linux_counters{});
}

} // namespace

linux_numbering linux_number_ports(std::span<const linux_name> names) {
    linux_numbering numbering{.named = !names.empty(), .names = {}, .indexes = {}};
    std::copy_n(names.begin(), std::min(names.size(), numbering.names.size()), numbering.names.begin());
    return numbering;
}

void linux_number_again(linux_numbering &numbering, std::span<const linux_link> ports) {
    if (numbering.named) {
        number_by_list(numbering, ports);
        return;
    }
    keep_those_still_there(numbering, ports);
    add_new(numbering, {ports.begin(), ports.end()});
}

void linux_take_ports(linux_model &model, const linux_numbering &numbering, std::span<const linux_link> ports,
                      std::span<const linux_instances> instances) {
    model.instances.reset();
    for (size_t i = 0; i < model.ports.size(); i++) {
        linux_port &port = model.ports[i];
        const linux_link *const link = find(ports, numbering.indexes[i]);
        if (link == nullptr) {
            port = {};
        } else {
            take_port(port, *link);
            take_states(port, *link, instances);
        }
        port.name = numbering.names[i];
        for (size_t instance = 0; link != nullptr && instance < port.states.size(); instance++) {
            model.instances[instance] =
                model.instances[instance] || port.states[instance] != k_linux_no_state;
        }
    }
    model.instances[0] = model.bridge.index != 0;
}
