#pragma once

#include <cstdint>
#include <netinet/in.h>

// Whether a time server can be reached from the switch's management interface. IPv4 addresses are numbers
// whose most significant byte is the first octet.

/// True for an address that a host can have: not 0, not all ones, below 224.0.0.0, and with a host part, by
/// the classes A, B and C, that is neither all zeros nor all ones.
constexpr bool sntp_ipv4_is_valid(uint32_t address) {
    const uint32_t first = address >> 24;
    if (address == 0 || first >= 224) {
        return false;
    }
    const uint32_t host_mask = first < 128 ? 0xFFFFFFU : first < 192 ? 0xFFFFU : 0xFFU;
    const uint32_t host = address & host_mask;
    return host != 0 && host != host_mask;
}

/// True for 0, for an address on the management interface's subnet, and for any when the interface has a
/// route beyond it. Asks the switch-access device for all three, in any case.
bool sntp_ipv4_is_reachable(uint32_t address);

/// True for fe80::, which every interface is on.
bool sntp_ipv6_is_link_local(const in6_addr &address);

/// True when the leading `prefix_length` bits are equal. Above 128 it counts as 128; 0 is always true.
bool sntp_ipv6_same_prefix(const in6_addr &a, const in6_addr &b, uint32_t prefix_length);

/// Reads the management interface's IPv6 address and prefix length; false when it has none.
using sntp_ipv6_source = bool (*)(in6_addr *address, uint32_t *prefix_length);

/// Says where the management interface's IPv6 address comes from; null puts back sntp_ipv6_of_tap0.
void sntp_set_ipv6_source(sntp_ipv6_source source);

/// The address from the source in force.
bool sntp_get_ipv6(in6_addr *address, uint32_t *prefix_length);

/// The first IPv6 address of the interface "tap0" that is not link-local: those say nothing about the network
/// that the switch is on.
bool sntp_ipv6_of_tap0(in6_addr *address, uint32_t *prefix_length);
