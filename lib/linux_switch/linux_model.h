#pragma once

#include "lib/linux_switch/linux_facts.h"

#include <bitset>
#include <span>
#include <vector>

// A bridge as a switch of k_switch_ports ports: what requests are answered from.

/// What a port of the switch is at present. Its number is its place plus 1.
struct linux_port {
    linux_name name; // also while the bridge has no such port; empty: none had this number yet
    int32_t index;   // 0: the bridge has no such port
    bool enabled;
    bool link;
    linux_line line;
    linux_port_type type;
    linux_counters counters;
    std::array<uint8_t, k_mst_instances> states; // spanning tree's, by instance
};

struct linux_model {
    linux_bridge bridge;                    // index 0: there is none
    std::bitset<k_mst_instances> instances; // that are in use
    uint32_t ip_address;                    // 0: none
    uint32_t ip_netmask;
    uint32_t
        ip_route; // the gateway; the bridge's own address when what is outside is reached directly; 0: none
    std::array<linux_port, k_switch_ports> ports;
};

/// The number that each port of the bridge has. Named ports have the number of their place in the list,
/// whether they are there or not. Without a list the first ports that are seen are numbered in the order of
/// their names (eth2 before eth10); later ones come behind them, or take the place of one that has gone when
/// all numbers are taken. A port keeps its number when it is renamed, or goes and comes back.
struct linux_numbering {
    bool named;
    std::array<linux_name, k_switch_ports> names;
    std::array<int32_t, k_switch_ports> indexes; // 0: not there
};

/// Makes a numbering for a list of names, which may be empty.
linux_numbering linux_number_ports(std::span<const linux_name> names);

/// Numbers these ports of a bridge. Ports for which there is no number are left out.
void linux_number_again(linux_numbering &numbering, std::span<const linux_link> ports);

/// Puts into `model` what the kernel says of the bridge's ports: names, links, counters and states. The lines
/// of ports that have just come are not known.
void linux_take_ports(linux_model &model, const linux_numbering &numbering, std::span<const linux_link> ports,
                      std::span<const linux_instances> instances);
