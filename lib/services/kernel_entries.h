#pragma once

#include "lib/services/kernel_text.h"

#include <cstdint>
#include <netinet/in.h>

// Routes and hosts that stand in the kernel. It takes one only while an interface has the network that it
// leads through, and forgets routes with an interface's address. So all that are wanted are kept here, too,
// and made when they can be. One user at a time: the thread of the shell's server.

enum class kernel_entry_kind : uint8_t { ipv4_route, ipv6_route, ipv4_host };

/// IPv4 addresses are in the first four bytes. Routes of one network and router are one entry, and so are
/// hosts of one address.
struct kernel_entry {
    kernel_entry_kind kind;
    in6_addr to; // the network, or the host
    uint8_t length;
    in6_addr router;
    uint8_t distance;          // the kernel's metric
    hardware_address hardware; // of a host
};

constexpr int k_kernel_later = -1;

/// Has an entry made, in the place of the one there was. Returns 0, k_kernel_later when it is made as soon as
/// an interface has the network for it, or the number of the error; then nothing has changed.
[[nodiscard]] int kernel_put_entry(const kernel_entry &entry);

/// Takes an entry away, of which only what makes it one counts. Returns 0, also when there is none, or the
/// number of the error.
[[nodiscard]] int kernel_take_entry(const kernel_entry &entry);

/// Makes those again that the kernel has not. After every change of an interface's addresses.
void kernel_make_entries();
