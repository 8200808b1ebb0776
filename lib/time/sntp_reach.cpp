#include "lib/time/sntp_reach.h"

#include "lib/base/result.h"
#include "lib/sasi/sasi.h"

#include <algorithm>
#include <cstring>
#include <ifaddrs.h>

namespace {

sntp_ipv6_source s_ipv6_source = sntp_ipv6_of_tap0;

uint32_t leading_ones(const in6_addr &mask) {
    uint32_t bits = 0;
    while (bits < 128 && ((mask.s6_addr[bits / 8] >> (7 - bits % 8)) & 1) != 0) {
        bits++;
    }
    return bits;
}

in6_addr ipv6_in(const sockaddr *address) {
    sockaddr_in6 whole{};
    std::memcpy(&whole, address, sizeof whole);
    return whole.sin6_addr;
}

bool is_ipv6_of_tap0(const ifaddrs &entry) {
    return std::strcmp(entry.ifa_name, "tap0") == 0 && entry.ifa_addr != nullptr &&
           entry.ifa_netmask != nullptr && entry.ifa_addr->sa_family == AF_INET6 &&
           !sntp_ipv6_is_link_local(ipv6_in(entry.ifa_addr));
}

} // namespace

bool sntp_ipv4_is_reachable(uint32_t address) {
    uint32_t own = 0;
    uint32_t netmask = 0;
    uint32_t route = 0;
    // A request that fails leaves the last answer, and that is what counts.
    ignore_result(sasi_get_ip_address(&own));
    ignore_result(sasi_get_ip_netmask(&netmask));
    ignore_result(sasi_get_ip_route(&route));
    return address == 0 || ((own ^ address) & netmask) == 0 || route != 0;
}

bool sntp_ipv6_is_link_local(const in6_addr &address) {
    return address.s6_addr[0] == 0xFE && address.s6_addr[1] == 0x80;
}

bool sntp_ipv6_same_prefix(const in6_addr &a, const in6_addr &b, uint32_t prefix_length) {
    const uint32_t bits = std::min<uint32_t>(prefix_length, 128);
    const uint32_t bytes = bits / 8;
    if (std::memcmp(a.s6_addr, b.s6_addr, bytes) != 0) {
        return false;
    }
    const uint32_t rest = bits % 8; // bits of the byte that the prefix ends in
    return rest == 0 || ((a.s6_addr[bytes] ^ b.s6_addr[bytes]) >> (8 - rest)) == 0;
}

void sntp_set_ipv6_source(sntp_ipv6_source source) {
    s_ipv6_source = source != nullptr ? source : sntp_ipv6_of_tap0;
}

bool sntp_get_ipv6(in6_addr *address, uint32_t *prefix_length) {
    return s_ipv6_source(address, prefix_length);
}

bool sntp_ipv6_of_tap0(in6_addr *address, uint32_t *prefix_length) {
    ifaddrs *entries = nullptr;
    if (::getifaddrs(&entries) != 0) {
        return false;
    }
    bool found = false;
    for (const ifaddrs *entry = entries; entry != nullptr && !found; entry = entry->ifa_next) {
        found = is_ipv6_of_tap0(*entry);
        if (found) {
            *address = ipv6_in(entry->ifa_addr);
            *prefix_length = leading_ones(ipv6_in(entry->ifa_netmask));
        }
    }
    ::freeifaddrs(entries);
    return found;
}
