#include "lib/services/kernel_entries.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/services/kernel_interface.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <net/if_arp.h>
#include <net/route.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <vector>

namespace {

/// Those that are wanted, whether the kernel has them or not.
std::vector<kernel_entry> &wanted() {
    static auto *const s_wanted = new std::vector<kernel_entry>;
    return *s_wanted;
}

int ask(int family, unsigned long what, void *request) {
    const unique_fd fd(::socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return fd.valid() && ::ioctl(fd.get(), what, request) == 0 ? 0 : errno;
}

sockaddr address_of(const in_addr &address) {
    sockaddr_in from{};
    from.sin_family = AF_INET;
    from.sin_addr = address;
    sockaddr to{};
    static_assert(sizeof to == sizeof from);
    std::memcpy(&to, &from, sizeof to);
    return to;
}

in_addr ipv4_in(const in6_addr &address) {
    in_addr first{};
    std::memcpy(&first, &address, sizeof first);
    return first;
}

int change_ipv4_route(const kernel_entry &entry, bool on) {
    rtentry request{};
    request.rt_dst = address_of(ipv4_in(entry.to));
    request.rt_genmask = address_of(kernel_mask(entry.length));
    request.rt_gateway = address_of(ipv4_in(entry.router));
    request.rt_flags = RTF_UP | RTF_GATEWAY;
    // One more than the metric; 0, of whatever metric it is.
    request.rt_metric = static_cast<short>(on ? entry.distance + 1 : 0);
    return ask(AF_INET, on ? SIOCADDRT : SIOCDELRT, &request);
}

int change_ipv6_route(const kernel_entry &entry, bool on) {
    in6_rtmsg request{};
    request.rtmsg_dst = entry.to;
    request.rtmsg_dst_len = entry.length;
    request.rtmsg_gateway = entry.router;
    request.rtmsg_flags = RTF_UP | RTF_GATEWAY;
    request.rtmsg_metric = on ? entry.distance : 0; // 0: whatever it is
    if (IN6_IS_ADDR_LINKLOCAL(&entry.router)) {     // which every interface has a network of
        request.rtmsg_ifindex = static_cast<int>(::if_nametoindex(kernel_management_interface().c_str()));
    }
    return ask(AF_INET6, on ? SIOCADDRT : SIOCDELRT, &request);
}

int change_ipv4_host(const kernel_entry &entry, bool on) {
    arpreq request{};
    request.arp_pa = address_of(ipv4_in(entry.to));
    request.arp_ha.sa_family = ARPHRD_ETHER;
    std::memcpy(request.arp_ha.sa_data, entry.hardware.data(), entry.hardware.size());
    request.arp_flags = ATF_PERM | ATF_COM;
    return ask(AF_INET, on ? SIOCSARP : SIOCDARP, &request);
}

int change(const kernel_entry &entry, bool on) {
    switch (entry.kind) {
    case kernel_entry_kind::ipv4_route:
        return change_ipv4_route(entry, on);
    case kernel_entry_kind::ipv6_route:
        return change_ipv6_route(entry, on);
    case kernel_entry_kind::ipv4_host:
        break;
    }
    return change_ipv4_host(entry, on);
}

bool is_without_network(int error) {
    return error == ENETUNREACH || error == EHOSTUNREACH || error == ENETDOWN || error == ENODEV;
}

int make(const kernel_entry &entry) {
    const int error = change(entry, true);
    return error == EEXIST ? 0 : is_without_network(error) ? k_kernel_later : error;
}

int unmake(const kernel_entry &entry) {
    const int error = change(entry, false);
    const bool absent = error == ESRCH || error == ENOENT || error == ENXIO || is_without_network(error);
    return absent ? 0 : error;
}

bool is_same(const kernel_entry &a, const kernel_entry &b) {
    return a.kind == b.kind && a.length == b.length && std::memcmp(&a.to, &b.to, sizeof a.to) == 0 &&
           std::memcmp(&a.router, &b.router, sizeof a.router) == 0;
}

bool is_equal(const kernel_entry &a, const kernel_entry &b) {
    return is_same(a, b) && a.distance == b.distance && a.hardware == b.hardware;
}

std::vector<kernel_entry>::iterator find(const kernel_entry &entry) {
    return std::find_if(wanted().begin(), wanted().end(),
                        [&](const kernel_entry &other) { return is_same(other, entry); });
}

} // namespace

int kernel_put_entry(const kernel_entry &entry) {
    const auto before = find(entry);
    if (before != wanted().end() && !is_equal(*before, entry)) {
        if (const int error = unmake(*before); error != 0) {
            return error;
        }
    }
    const int error = make(entry);
    if (error > 0) {
        if (before != wanted().end()) {
            ignore_result(make(*before)); // it was possible before; nothing better is left to do when not
        }
        return error;
    }
    if (before != wanted().end()) {
        *before = entry;
    } else {
        wanted().push_back(entry);
    }
    return error;
}

int kernel_take_entry(const kernel_entry &entry) {
    const int error = unmake(entry);
    if (const auto found = find(entry); error == 0 && found != wanted().end()) {
        wanted().erase(found);
    }
    return error;
}

void kernel_make_entries() {
    for (const kernel_entry &entry : wanted()) {
        ignore_result(make(entry)); // what cannot be made is tried again at the next change
    }
}
