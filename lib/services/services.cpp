#include "lib/services/services.h"

#include <algorithm>
#include <iterator>

namespace {

bool s_desk = false;

// By the first words of a command; the longest row that fits counts. What is in none is only kept.
constexpr service_route k_routes[] = {
    {"alarm-info", &service_switch},
    {"clear ip hosts", &service_kernel},
    {"erps", &service_switch},
    {"hardware-monitor", &service_switch},
    {"hostname", &service_kernel},
    {"http server", &service_units},
    {"https server", &service_units},
    {"interface", &service_switch},
    {"ip address", &service_kernel},
    {"ip ipv6-address", &service_kernel},
    {"ipv4", &service_kernel},
    {"ipv6", &service_kernel},
    {"modbus_tcp", &service_units},
    {"ping", &service_programs},
    {"ping6", &service_programs},
    {"port-statistics", &service_switch},
    {"rmon statistics", &service_switch},
    {"sfp info", &service_switch},
    {"show debug processes", &service_kernel_state},
    {"show interface vlan", &service_kernel_state},
    {"show ip address", &service_kernel_state},
    {"show ip hosts", &service_kernel_state},
    {"show ipv4 routes", &service_kernel_state},
    {"show ipv6 routes", &service_kernel_state},
    {"snmp_v1v2c server", &service_units},
    {"snmp_v3 server", &service_units},
    {"spanning-tree", &service_switch},
    {"ssh server", &service_units},
    {"tacacs-plus", &service_tacacs},
    {"tarn-ring ring", &service_switch},
    {"telnet", &service_programs},
    {"telnet server", &service_units},
    {"time", &service_time},
};

bool begins_with(std::string_view words, std::string_view first) {
    return words.starts_with(first) && (words.size() == first.size() || words[first.size()] == ' ');
}

} // namespace

const service_route *services_find_route(std::string_view words) {
    const service_route *found = nullptr;
    for (const service_route &route : k_routes) {
        if (begins_with(words, route.words) &&
            (found == nullptr || route.words.size() > found->words.size())) {
            found = &route;
        }
    }
    return found;
}

const service *services_find(std::string_view words) {
    const service_route *const found = services_find_route(words);
    return found != nullptr ? found->to : nullptr;
}

void services_on_desk() { s_desk = true; }
bool services_are_on_desk() { return s_desk; }

std::span<const service_route> services_routes() { return k_routes; }
