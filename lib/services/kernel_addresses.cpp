// Settings of addresses of interfaces.

#include "lib/base/parse_number.h"
#include "lib/services/kernel_entries.h"
#include "lib/services/kernel_interface.h"
#include "lib/services/kernel_settings.h"

namespace {

constexpr service_outcome k_not_supported = service_outcome::not_supported;

bool is_host(const ipv4_prefix &prefix) {
    const uint32_t address = ntohl(prefix.address.s_addr);
    const uint32_t beyond = ~ntohl(kernel_mask(prefix.length).s_addr);
    const bool names_network = prefix.length < 31 && ((address & beyond) == 0 || (~address & beyond) == 0);
    return prefix.length > 0 && address >> 24 != 0 && address >> 24 != 127 && address >> 28 < 14 &&
           !names_network;
}

bool is_host(const in6_addr &address) {
    return !IN6_IS_ADDR_MULTICAST(&address) && !IN6_IS_ADDR_UNSPECIFIED(&address) &&
           !IN6_IS_ADDR_LOOPBACK(&address);
}

/// What has become of an interface; its routes are made again, which the kernel may have forgotten.
service_answer changed(const std::string &interface, int error) {
    kernel_make_entries();
    return kernel_done_or("The addresses of " + interface + " cannot be changed", error);
}

} // namespace

service_answer kernel_apply_ipv4(const service_call &call) {
    const std::string interface = kernel_interface_of(call.context);
    ipv4_prefix wanted{};
    if (interface.empty() || call.arguments.size() != 1 ||
        !kernel_read_prefix(call.arguments.front(), &wanted)) {
        return {k_not_supported}; // a DHCP client's business, for one
    }
    if (!is_host(wanted)) {
        return {service_outcome::refused, "This is no address of a host in a network of that length"};
    }
    return changed(interface, kernel_set_ipv4(interface, wanted));
}

service_answer kernel_withdraw_ipv4(const service_call &call) {
    const std::string interface = kernel_interface_of(call.context);
    return interface.empty() ? service_answer{k_not_supported}
                             : changed(interface, kernel_clear_ipv4(interface));
}

service_answer kernel_apply_ipv6(const service_call &call) {
    const std::string interface = kernel_interface_of(call.context);
    in6_addr address{};
    uint8_t length = 0;
    if (interface.empty() || call.arguments.size() != 2 || !kernel_read_ipv6(call.arguments[0], &address) ||
        !parse_number(call.arguments[1], 1, 128, &length)) {
        return {k_not_supported};
    }
    if (!is_host(address)) {
        return {service_outcome::refused, "This is no address of a host"};
    }
    return changed(interface, kernel_set_ipv6(interface, address, length));
}

service_answer kernel_withdraw_ipv6(const service_call &call) {
    const std::string interface = kernel_interface_of(call.context);
    in6_addr address{};
    if (interface.empty() || call.arguments.empty() || !kernel_read_ipv6(call.arguments[0], &address)) {
        return {k_not_supported};
    }
    return changed(interface, kernel_clear_ipv6(interface, address));
}
