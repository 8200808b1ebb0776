// Settings of routes, and of hosts that stand.

#include "lib/base/parse_number.h"
#include "lib/services/kernel_entries.h"
#include "lib/services/kernel_settings.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

using arguments_of = std::span<const std::string>;

constexpr const char *k_later =
    "No interface has a network for this yet; it is carried out as soon as one has.\n";
constexpr const char *k_host_bits = "This is no network: it has bits beyond its length";

// ---- arguments as they are kept; withdrawing has the keys alone

/// "distance 5", or nothing.
bool read_distance(arguments_of rest, kernel_entry *entry) {
    entry->distance = 1;
    return rest.empty() ||
           (rest.size() == 2 && rest[0] == "distance" && parse_number(rest[1], 1, 255, &entry->distance));
}

bool read_ipv4_route(arguments_of arguments, kernel_entry *entry) {
    ipv4_prefix network{};
    in_addr router{};
    if (arguments.size() < 2 || !kernel_read_prefix(arguments[0], &network) ||
        !kernel_read_ipv4(arguments[1], &router)) {
        return false;
    }
    std::memcpy(&entry->to, &network.address, sizeof network.address);
    std::memcpy(&entry->router, &router, sizeof router);
    entry->length = network.length;
    return read_distance(arguments.subspan(2), entry);
}

bool read_ipv6_route(arguments_of arguments, kernel_entry *entry) {
    return arguments.size() >= 3 && kernel_read_ipv6(arguments[0], &entry->to) &&
           parse_number(arguments[1], 0, 128, &entry->length) &&
           kernel_read_ipv6(arguments[2], &entry->router) && read_distance(arguments.subspan(3), entry);
}

bool read_ipv4_host(arguments_of arguments, kernel_entry *entry) {
    in_addr host{};
    if (arguments.empty() || !kernel_read_ipv4(arguments[0], &host)) {
        return false;
    }
    std::memcpy(&entry->to, &host, sizeof host);
    entry->length = 32;
    return arguments.size() < 2 || kernel_read_hardware(arguments[1], &entry->hardware);
}

struct entry_row {
    std::string_view words;
    kernel_entry_kind kind;
    size_t size; // of an address, in bytes
    bool (*read)(arguments_of arguments, kernel_entry *entry);
};

constexpr entry_row k_rows[] = {
    {"ipv4 route", kernel_entry_kind::ipv4_route, sizeof(in_addr), read_ipv4_route},
    {"ipv6 route", kernel_entry_kind::ipv6_route, sizeof(in6_addr), read_ipv6_route},
    {"ipv4 arp", kernel_entry_kind::ipv4_host, sizeof(in_addr), read_ipv4_host},
};

/// Reads the entry of a call. Returns its row, or null when there is none of such words and arguments.
const entry_row *read_entry(const service_call &call, kernel_entry *entry) {
    const auto *const row = std::find_if(std::begin(k_rows), std::end(k_rows),
                                         [&](const entry_row &of) { return of.words == call.words; });
    if (row == std::end(k_rows)) {
        return nullptr;
    }
    *entry = {};
    entry->kind = row->kind;
    return row->read(call.arguments, entry) ? row : nullptr;
}

} // namespace

service_answer kernel_apply_entry(const service_call &call) {
    kernel_entry entry;
    const entry_row *const row = read_entry(call, &entry);
    if (row == nullptr) {
        return {service_outcome::not_supported};
    }
    if (kernel_has_host_bits(entry.to.s6_addr, row->size, entry.length)) {
        return {service_outcome::refused, k_host_bits};
    }
    const int error = kernel_put_entry(entry);
    return error == k_kernel_later ? service_answer{service_outcome::done, k_later}
                                   : kernel_done_or("The kernel does not take this", error);
}

service_answer kernel_withdraw_entry(const service_call &call) {
    kernel_entry entry;
    if (read_entry(call, &entry) == nullptr) {
        return {service_outcome::not_supported};
    }
    return kernel_done_or("The kernel keeps this", kernel_take_entry(entry));
}
