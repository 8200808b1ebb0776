#include "lib/linux_switch/linux_source.h"

#include <algorithm>

namespace {

// The words of a port's state, in their order. Of the fifth the registers show the low byte.
enum port_word : size_t { k_enabled, k_speed, k_duplex, k_negotiates, k_link };
static_assert(k_link + 1 == std::size(k_at_port_words));

// Protocol modes of the bridge's record.
constexpr uint8_t k_mode_stp = 0;
constexpr uint8_t k_mode_mstp = 3;
constexpr uint8_t k_mode_other = 0xFF; // another program's, which the kernel does not know

constexpr uint32_t k_kernel_stp = 1;

const linux_port &port_of(const linux_model &model, int32_t number) {
    return model.ports[static_cast<size_t>(number - 1)];
}

/// Received frames that were not multicast. Some drivers count those among none.
uint64_t received_others(const linux_counters &counters) {
    return counters.received - std::min(counters.received, counters.received_multicast);
}

template<typename takes> int32_t with_model(const linux_switch *followed, const takes &take) {
    const linux_view view(*followed);
    return view.model() == nullptr ? k_sasi_not_known : take(*view.model());
}

} // namespace

int32_t linux_answer_counter(const linux_model &model, int32_t port, size_t which, uint32_t &value) {
    const linux_counters &counters = port_of(model, port).counters;
    uint64_t counted = 0;
    switch (k_counter_subs[which]) {
    case 3:
        counted = received_others(counters);
        break;
    case 4:
        counted = counters.received - received_others(counters);
        break;
    case 6:
        counted = counters.receive_errors;
        break;
    case 9:
        counted = counters.sent;
        break;
    case 12:
        counted = counters.send_errors;
        break;
    default:
        return k_sasi_not_known; // 10 as well: the kernel counts all sent frames as one
    }
    value = static_cast<uint32_t>(counted); // wraps as the device's counters do
    return 0;
}

int32_t linux_answer_port_state(const linux_model &model, int32_t port,
                                std::span<uint32_t, std::size(k_at_port_words)> words) {
    const linux_port &of = port_of(model, port);
    words[k_enabled] = of.enabled ? 1 : 0;
    words[k_speed] = of.line.speed;
    words[k_duplex] = static_cast<uint32_t>(of.line.duplex);
    words[k_negotiates] = of.line.negotiates ? 1 : 0;
    words[k_link] = of.link ? 1 : 0;
    return 0;
}

int32_t linux_answer_port_media(const linux_model &model, int32_t port, uint32_t &media) {
    const linux_port &of = port_of(model, port);
    if (of.type == linux_port_type::fibre) {
        media = k_media_fibre;
        return 0;
    }
    if (of.type != linux_port_type::twisted_pair || !of.line.gigabit) {
        return k_sasi_not_known;
    }
    media = *of.line.gigabit ? k_media_copper : 0;
    return 0;
}

int32_t linux_answer_bridge(const linux_model &model, sasi_bridge &bridge) {
    bridge.enabled = model.bridge.stp != 0 ? 1 : 0;
    bridge.mode = model.bridge.stp <= k_kernel_stp ? k_mode_stp
                  : model.bridge.has_instances     ? k_mode_mstp
                                                   : k_mode_other;
    return 0;
}

int32_t linux_answer_instance(const linux_model &model, int32_t instance, sasi_mst &mst) {
    if (model.instances[static_cast<size_t>(instance)]) {
        for (const uint8_t byte : model.bridge.address) {
            mst.address = mst.address << 8 | byte;
        }
    }
    return 0;
}

int32_t linux_answer_states(const linux_model &model, int32_t instance,
                            std::span<sasi_mst_port, k_switch_ports> ports) {
    for (size_t i = 0; i < ports.size(); i++) {
        const linux_port &port = model.ports[i];
        const uint8_t state = port.states[static_cast<size_t>(instance)];
        ports[i].state = state == k_linux_no_state ? 0 : state; // takes no part in it
    }
    return 0;
}

int32_t linux_answer_ip(const linux_model &model, sasi_ip_word which, uint32_t &word) {
    switch (which) {
    case sasi_ip_word::address:
        word = model.ip_address;
        return 0;
    case sasi_ip_word::netmask:
        word = model.ip_netmask;
        return 0;
    case sasi_ip_word::route:
        word = model.ip_route;
        return 0;
    }
    return k_sasi_not_known;
}

uint32_t linux_links_down(const linux_model &model, const linux_config &config) {
    uint32_t down = 0;
    for (size_t i = 0; i < model.ports.size(); i++) {
        const linux_port &port = model.ports[i];
        const bool is_watched =
            port.name[0] != 0 && (config.watch_all || std::find(config.watched.begin(), config.watched.end(),
                                                                port.name) != config.watched.end());
        if (is_watched && !port.link) {
            down |= uint32_t{1} << (alarm_bit::k_link_down_port1 + i);
        }
    }
    return down;
}

int32_t linux_source::counter(int32_t port, size_t which, uint32_t &value) const {
    return with_model(
        followed, [&](const linux_model &model) { return linux_answer_counter(model, port, which, value); });
}

int32_t linux_source::alarms(sasi_alarms &alarms) const {
    const linux_config &config = linux_switch_settings_of(*followed).config;
    const bool watches = config.watch_all || !config.watched.empty();
    const linux_view view(*followed);
    if ((watches && view.model() == nullptr) || !view.raised() || linux_config_is_empty(config)) {
        return k_sasi_not_known;
    }
    alarms.alarm = *view.raised() | (watches ? linux_links_down(*view.model(), config) : 0);
    return 0;
}

int32_t linux_source::port_state(int32_t port, std::span<uint32_t, std::size(k_at_port_words)> words) const {
    return with_model(followed,
                      [&](const linux_model &model) { return linux_answer_port_state(model, port, words); });
}

int32_t linux_source::port_media(int32_t port, uint32_t &media) const {
    return with_model(followed,
                      [&](const linux_model &model) { return linux_answer_port_media(model, port, media); });
}

int32_t linux_source::bridge(sasi_bridge &bridge) const {
    return with_model(followed, [&](const linux_model &model) { return linux_answer_bridge(model, bridge); });
}

int32_t linux_source::mst_instance(int32_t instance, sasi_mst &mst) const {
    return with_model(followed,
                      [&](const linux_model &model) { return linux_answer_instance(model, instance, mst); });
}

int32_t linux_source::mst_ports(int32_t instance, std::span<sasi_mst_port, k_switch_ports> ports) const {
    return with_model(followed,
                      [&](const linux_model &model) { return linux_answer_states(model, instance, ports); });
}

int32_t linux_source::ip_word(sasi_ip_word which, uint32_t &word) const {
    return with_model(followed,
                      [&](const linux_model &model) { return linux_answer_ip(model, which, word); });
}
