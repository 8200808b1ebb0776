#include "lib/services/kernel_interface.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <linux/ipv6.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

constexpr std::string_view k_vlan_context = "interface vlan ";
constexpr const char *k_managements[] = {"tap0", "eth0"};

bool exists(const std::string &name) { return ::if_nametoindex(name.c_str()) != 0; }

unique_fd open_socket(int family) { return unique_fd(::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)); }

ifreq request_of(const std::string &interface) {
    ifreq request{};
    interface.copy(request.ifr_name, sizeof request.ifr_name - 1);
    return request;
}

int ask(int fd, unsigned long what, void *request) { return ::ioctl(fd, what, request) == 0 ? 0 : errno; }

int bring_up(int fd, const std::string &interface) {
    ifreq request = request_of(interface);
    if (const int error = ask(fd, SIOCGIFFLAGS, &request); error != 0) {
        return error;
    }
    const auto flags = static_cast<uint16_t>(request.ifr_flags);
    request.ifr_flags = static_cast<short>(flags | IFF_UP);
    return (flags & IFF_UP) != 0 ? 0 : ask(fd, SIOCSIFFLAGS, &request);
}

// ---- IPv4

int get_ipv4(int fd, const std::string &interface, unsigned long what, in_addr *value) {
    ifreq request = request_of(interface);
    request.ifr_addr.sa_family = AF_INET;
    const int error = ask(fd, what, &request);
    sockaddr_in found{};
    std::memcpy(&found, &request.ifr_addr, sizeof found);
    *value = found.sin_addr;
    return error;
}

int put_ipv4(int fd, const std::string &interface, unsigned long what, in_addr value) {
    sockaddr_in wanted{};
    wanted.sin_family = AF_INET;
    wanted.sin_addr = value;
    ifreq request = request_of(interface);
    std::memcpy(&request.ifr_addr, &wanted, sizeof wanted);
    return ask(fd, what, &request);
}

int put_both(int fd, const std::string &interface, in_addr address, in_addr mask) {
    const int error = put_ipv4(fd, interface, SIOCSIFADDR, address);
    return error != 0 || address.s_addr == 0 ? error : put_ipv4(fd, interface, SIOCSIFNETMASK, mask);
}

// ---- IPv6

/// The length of an interface's address; -1 when it has no such address.
int32_t length_of(const std::string &interface, const in6_addr &address) {
    ifaddrs *entries = nullptr;
    if (::getifaddrs(&entries) != 0) {
        return -1;
    }
    int32_t length = -1;
    for (const ifaddrs *entry = entries; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_netmask == nullptr ||
            entry->ifa_addr->sa_family != AF_INET6 || interface != entry->ifa_name) {
            continue;
        }
        sockaddr_in6 own{};
        sockaddr_in6 mask{};
        std::memcpy(&own, entry->ifa_addr, sizeof own);
        std::memcpy(&mask, entry->ifa_netmask, sizeof mask);
        if (std::memcmp(&own.sin6_addr, &address, sizeof address) == 0) {
            length = kernel_length(mask.sin6_addr.s6_addr, sizeof mask.sin6_addr);
        }
    }
    ::freeifaddrs(entries);
    return length;
}

int change_ipv6(int fd, unsigned long what, const std::string &interface, const in6_addr &address,
                int32_t length) {
    in6_ifreq request{};
    request.ifr6_addr = address;
    request.ifr6_prefixlen = static_cast<uint32_t>(length);
    request.ifr6_ifindex = static_cast<int>(::if_nametoindex(interface.c_str()));
    return ask(fd, what, &request);
}

} // namespace

std::string kernel_management_interface() {
    for (const char *const name : k_managements) {
        if (exists(name)) {
            return name;
        }
    }
    return "";
}

std::string kernel_interface_of(std::string_view context) {
    std::string management = kernel_management_interface();
    if (context == "interface eth0") {
        return management;
    }
    if (!context.starts_with(k_vlan_context)) {
        return "";
    }
    const std::string id(context.substr(k_vlan_context.size()));
    for (const std::string &name : {"vlan" + id, management.append(".").append(id)}) {
        if (exists(name)) {
            return name;
        }
    }
    return "";
}

int kernel_set_ipv4(const std::string &interface, const ipv4_prefix &wanted) {
    const unique_fd fd = open_socket(AF_INET);
    in_addr address{};
    in_addr mask{};
    const bool had = get_ipv4(fd.get(), interface, SIOCGIFADDR, &address) == 0 &&
                     get_ipv4(fd.get(), interface, SIOCGIFNETMASK, &mask) == 0;
    const in_addr wanted_mask = kernel_mask(wanted.length);
    if (had && address.s_addr == wanted.address.s_addr && mask.s_addr == wanted_mask.s_addr) {
        return bring_up(fd.get(), interface);
    }
    int error = put_both(fd.get(), interface, wanted.address, wanted_mask);
    error = error != 0 ? error : bring_up(fd.get(), interface);
    if (error != 0) {
        // What was there can be there; nothing better is left to do when not.
        ignore_result(put_both(fd.get(), interface, had ? address : in_addr{}, mask));
    }
    return error;
}

int kernel_clear_ipv4(const std::string &interface) {
    const unique_fd fd = open_socket(AF_INET);
    const int error = put_ipv4(fd.get(), interface, SIOCSIFADDR, in_addr{});
    return error == EADDRNOTAVAIL ? 0 : error;
}

int kernel_set_ipv6(const std::string &interface, const in6_addr &address, uint8_t length) {
    const unique_fd fd = open_socket(AF_INET6);
    const int32_t before = length_of(interface, address);
    int error = 0;
    if (before != length) { // the kernel has an address once, whatever its length
        error = before < 0 ? 0 : change_ipv6(fd.get(), SIOCDIFADDR, interface, address, before);
        error = error != 0 ? error : change_ipv6(fd.get(), SIOCSIFADDR, interface, address, length);
        if (error != 0 && before >= 0) {
            ignore_result(change_ipv6(fd.get(), SIOCSIFADDR, interface, address, before)); // as above
        }
    }
    const unique_fd any = open_socket(AF_INET);
    return error != 0 ? error : bring_up(any.get(), interface);
}

int kernel_clear_ipv6(const std::string &interface, const in6_addr &address) {
    const unique_fd fd = open_socket(AF_INET6);
    const int32_t length = length_of(interface, address);
    return length < 0 ? 0 : change_ipv6(fd.get(), SIOCDIFADDR, interface, address, length);
}
