#pragma once

#include "lib/services/kernel_text.h"

#include <cstdint>
#include <string>
#include <vector>

// Hosts of the networks that this machine is in, as ARP and IPv6 neighbour discovery have found them.

struct kernel_neighbour {
    int family;         // AF_INET, AF_INET6
    in6_addr address;   // IPv4: in the first four bytes
    uint32_t interface; // its number
    uint16_t state;     // NUD_... of <linux/neighbour.h>
    bool has_hardware;  // whether the host has answered
    hardware_address hardware;
};

/// Asks the kernel for all of them, but those that are no hosts: groups, and this machine itself. Returns 0
/// or the number of the error.
[[nodiscard]] int kernel_get_neighbours(std::vector<kernel_neighbour> *neighbours);

/// Has the kernel forget all but those that stand. Returns 0, or the number of the last error.
[[nodiscard]] int kernel_forget_neighbours();
