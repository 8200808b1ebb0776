#pragma once

#include "lib/linux_switch/linux_switch.h"
#include "lib/sasi/sasi_source.h"

/// The source of the switch-access device that answers from a bridge of this machine; docs/linux-switch.md
/// has what becomes of what. What is not there is answered as such: a port that the bridge does not have has
/// no link and has counted nothing. What the kernel does not tell is k_sasi_not_known. From any thread, for
/// as long as `followed` stands.
struct linux_source {
    const linux_switch *followed;

    int32_t counter(int32_t port, size_t which, uint32_t &value) const;
    static int32_t ring(int32_t /*id*/, sasi_ring & /*ring*/) { return k_sasi_not_known; }
    static void ring_name(int32_t /*id*/, std::span<uint8_t, ring_at::k_name_size> /*name*/) {}
    int32_t alarms(sasi_alarms &alarms) const;
    int32_t port_state(int32_t port, std::span<uint32_t, std::size(k_at_port_words)> words) const;
    int32_t port_media(int32_t port, uint32_t &media) const;
    int32_t bridge(sasi_bridge &bridge) const;
    int32_t mst_instance(int32_t instance, sasi_mst &mst) const;
    int32_t mst_ports(int32_t instance, std::span<sasi_mst_port, k_switch_ports> ports) const;
    static int32_t redundant_ring(int32_t /*number*/, sasi_redundant_ring & /*ring*/) {
        return k_sasi_not_known;
    }
    int32_t ip_word(sasi_ip_word which, uint32_t &word) const;
};
static_assert(sasi_source<linux_source>);

// The same of a model that is at hand.

int32_t linux_answer_counter(const linux_model &model, int32_t port, size_t which, uint32_t &value);
int32_t linux_answer_port_state(const linux_model &model, int32_t port,
                                std::span<uint32_t, std::size(k_at_port_words)> words);
int32_t linux_answer_port_media(const linux_model &model, int32_t port, uint32_t &media);
int32_t linux_answer_bridge(const linux_model &model, sasi_bridge &bridge);
int32_t linux_answer_instance(const linux_model &model, int32_t instance, sasi_mst &mst);
int32_t linux_answer_states(const linux_model &model, int32_t instance,
                            std::span<sasi_mst_port, k_switch_ports> ports);
int32_t linux_answer_ip(const linux_model &model, sasi_ip_word which, uint32_t &word);

/// The bits of links that are down of ports that are watched.
uint32_t linux_links_down(const linux_model &model, const linux_config &config);
