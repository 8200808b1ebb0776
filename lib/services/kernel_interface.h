#pragma once

#include "lib/services/kernel_text.h"

#include <string>
#include <string_view>

// IP interfaces of the kernel and their addresses.

/// The interface that carries the switch's management: "tap0", or "eth0" where there is no tap0; "" where
/// there is neither.
[[nodiscard]] std::string kernel_management_interface();

/// The interface that the settings of a context are about; "" when the machine has none for it. Of
/// "interface eth0" it is the management's; of "interface vlan 5" it is "vlan5", or else that VLAN of the
/// management's, "tap0.5".
[[nodiscard]] std::string kernel_interface_of(std::string_view context);

// Changes return 0, or the number of the error; then the addresses are as they were.

/// Gives the interface this IPv4 address in the place of its own, and has it up. With another address or mask
/// than before, the kernel forgets the routes that lead out there.
[[nodiscard]] int kernel_set_ipv4(const std::string &interface, const ipv4_prefix &wanted);

/// Takes its IPv4 address away, if it has one.
[[nodiscard]] int kernel_clear_ipv4(const std::string &interface);

/// Gives the interface this IPv6 address beside others, or this length to the address, and has it up.
[[nodiscard]] int kernel_set_ipv6(const std::string &interface, const in6_addr &address, uint8_t length);

/// Takes an IPv6 address away, if it is there.
[[nodiscard]] int kernel_clear_ipv6(const std::string &interface, const in6_addr &address);
