// What the kernel tells of itself, as a service of its own: it does so on a desk, too.

#include "lib/services/kernel_shows.h"

#include <algorithm>
#include <iterator>

namespace {

struct show_row {
    std::string_view words;
    service_answer (*show)(const service_call &call, report &to);
};

constexpr show_row k_rows[] = {
    {"ip address", kernel_show_addresses},    {"interface vlan", kernel_show_vlans},
    {"ip hosts", kernel_show_hosts},          {"ipv4 routes", kernel_show_ipv4_routes},
    {"ipv6 routes", kernel_show_ipv6_routes}, {"debug processes", kernel_show_processes},
};

service_answer show(const service_call &call, report &to) {
    const auto *const row = std::find_if(std::begin(k_rows), std::end(k_rows),
                                         [&](const show_row &of) { return of.words == call.words; });
    return row != std::end(k_rows) ? row->show(call, to) : service_answer{service_outcome::not_supported};
}

} // namespace

const service service_kernel_state = {"the kernel's state", nullptr, nullptr, nullptr, show, nullptr};
