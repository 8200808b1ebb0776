// The addresses of this machine, and the hosts that it has found.

#include "lib/base/parse_number.h"
#include "lib/services/kernel_interface.h"
#include "lib/services/kernel_neighbours.h"
#include "lib/services/kernel_settings.h"
#include "lib/services/kernel_shows.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <ifaddrs.h>
#include <linux/neighbour.h>
#include <net/if.h>
#include <sys/socket.h>

namespace {

struct own_address {
    std::string interface;
    std::string text; // with its length; "": the interface has none
    std::string state;
};

template<typename Socket, typename Address>
std::string prefix_text(const ifaddrs &entry, Address Socket::*member, int family) {
    Socket own{};
    Socket mask{};
    std::memcpy(&own, entry.ifa_addr, sizeof own);
    if (entry.ifa_netmask != nullptr) {
        std::memcpy(&mask, entry.ifa_netmask, sizeof mask);
    }
    const auto *const bits = reinterpret_cast<const uint8_t *>(&(mask.*member));
    return kernel_address_text(family, &(own.*member)) + '/' +
           std::to_string(kernel_length(bits, sizeof(Address)));
}

std::string prefix_text(const ifaddrs &entry) {
    return entry.ifa_addr->sa_family == AF_INET ? prefix_text(entry, &sockaddr_in::sin_addr, AF_INET)
                                                : prefix_text(entry, &sockaddr_in6::sin6_addr, AF_INET6);
}

bool has_address(const std::vector<own_address> &all, const std::string &interface) {
    return std::any_of(all.begin(), all.end(),
                       [&](const own_address &own) { return own.interface == interface; });
}

/// All addresses, and interfaces without one.
std::vector<own_address> own_addresses() {
    ifaddrs *entries = nullptr;
    std::vector<own_address> found;
    if (::getifaddrs(&entries) != 0) {
        return found;
    }
    for (const bool with_address : {true, false}) {
        for (const ifaddrs *entry = entries; entry != nullptr; entry = entry->ifa_next) {
            const int family = entry->ifa_addr != nullptr ? entry->ifa_addr->sa_family : AF_UNSPEC;
            const std::string state = (entry->ifa_flags & IFF_UP) == 0        ? "off"
                                      : (entry->ifa_flags & IFF_RUNNING) == 0 ? "no link"
                                                                              : "up";
            if (with_address && (family == AF_INET || family == AF_INET6)) {
                found.push_back({entry->ifa_name, prefix_text(*entry), state});
            } else if (!with_address && !has_address(found, entry->ifa_name)) {
                found.push_back({entry->ifa_name, "", state});
            }
        }
    }
    ::freeifaddrs(entries);
    std::stable_sort(found.begin(), found.end(),
                     [](const own_address &a, const own_address &b) { return a.interface < b.interface; });
    return found;
}

/// The VLAN whose interface it is, as kernel_interface_of finds it; 0 when it is none's.
int32_t vlan_of(std::string_view interface) {
    const std::string below_management = kernel_management_interface() + '.';
    int32_t vlan = 0;
    for (const std::string_view before : {std::string_view("vlan"), std::string_view(below_management)}) {
        if (interface.starts_with(before) && parse_number(interface.substr(before.size()), 1, 4094, &vlan)) {
            return vlan;
        }
    }
    return 0;
}

std::string hardware_text(const kernel_neighbour &of) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", of.hardware[0], of.hardware[1],
                  of.hardware[2], of.hardware[3], of.hardware[4], of.hardware[5]);
    return of.has_hardware ? text : "";
}

std::string state_text(uint16_t state) {
    return (state & NUD_PERMANENT) != 0                              ? "stands"
           : (state & (NUD_FAILED | NUD_INCOMPLETE | NUD_NONE)) != 0 ? "no answer"
           : (state & (NUD_REACHABLE | NUD_DELAY | NUD_PROBE)) != 0  ? "answers"
           : (state & NUD_STALE) != 0                                ? "silent"
                                                                     : "";
}

std::string interface_text(uint32_t number) {
    char name[IF_NAMESIZE] = "";
    return ::if_indextoname(number, name) != nullptr ? kernel_printable(name) : "";
}

} // namespace

service_answer kernel_show_addresses(const service_call & /*call*/, report &to) {
    report_table &table = report_add_table(
        to, "addresses", "", {{"interface", "Interface"}, {"address", "Address"}, {"state", "State"}});
    for (const own_address &own : own_addresses()) {
        table.rows.push_back({kernel_printable(own.interface), own.text, own.state});
    }
    return {};
}

service_answer kernel_show_vlans(const service_call & /*call*/, report &to) {
    report_table &table = report_add_table(
        to, "vlan_interfaces", "",
        {{"vlan", "VLAN"}, {"interface", "Interface"}, {"address", "Address"}, {"state", "State"}});
    for (const own_address &own : own_addresses()) {
        if (const int64_t vlan = vlan_of(own.interface); vlan != 0) {
            table.rows.push_back({vlan, kernel_printable(own.interface), own.text, own.state});
        }
    }
    std::stable_sort(table.rows.begin(), table.rows.end(),
                     [](const auto &a, const auto &b) { return a.front() < b.front(); });
    return {};
}

service_answer kernel_show_hosts(const service_call & /*call*/, report &to) {
    std::vector<kernel_neighbour> neighbours;
    if (const int error = kernel_get_neighbours(&neighbours); error != 0) {
        return kernel_done_or("The kernel does not tell its hosts", error);
    }
    report_table &table = report_add_table(
        to, "hosts", "",
        {{"address", "Address"}, {"mac", "MAC address"}, {"interface", "Interface"}, {"state", "State"}});
    for (const kernel_neighbour &host : neighbours) {
        table.rows.push_back({kernel_address_text(host.family, &host.address), hardware_text(host),
                              interface_text(host.interface), state_text(host.state)});
    }
    return {};
}
