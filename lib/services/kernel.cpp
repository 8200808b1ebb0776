// What the kernel carries out: the host name, addresses, routes, forwarding, and hosts that stand or are
// forgotten.

#include "lib/base/result.h"
#include "lib/base/retry.h"
#include "lib/base/unique_fd.h"
#include "lib/services/kernel_neighbours.h"
#include "lib/services/kernel_netlink.h"
#include "lib/services/kernel_settings.h"
#include "lib/services/services.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

namespace {

constexpr size_t k_host_name_max = 63; // of a label, RFC 1035
constexpr const char *k_ipv4_forwarding = "/proc/sys/net/ipv4/ip_forward";
constexpr const char *k_ipv6_forwarding = "/proc/sys/net/ipv6/conf/all/forwarding";

std::array<char, k_host_name_max + 2> s_first_host_name = {}; // before anybody set one; "": nobody has

// ---- the host name

bool is_host_name(std::string_view name) {
    const auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
    };
    return !name.empty() && name.size() <= k_host_name_max && name.front() != '-' && name.back() != '-' &&
           std::all_of(name.begin(), name.end(), fits);
}

service_answer set_host_name(std::string_view name) {
    return kernel_done_or("The kernel does not take this name",
                          ::sethostname(name.data(), name.size()) == 0 ? 0 : errno);
}

service_answer apply_host_name(const service_call &call) {
    const std::string &name = call.arguments.front();
    if (!is_host_name(name)) {
        return {service_outcome::refused,
                "A name is letters, digits and hyphens, with a letter or a digit first and last"};
    }
    if (s_first_host_name.front() == '\0') {
        ignore_result(::gethostname(s_first_host_name.data(), s_first_host_name.size() - 1)); // "" is none
    }
    return set_host_name(name);
}

service_answer withdraw_host_name(const service_call & /*call*/) {
    return s_first_host_name.front() != '\0' ? set_host_name(s_first_host_name.data()) : service_answer{};
}

// ---- forwarding

service_answer set_forwarding(const service_call &call, bool on) {
    const char *const path = call.words.starts_with("ipv6") ? k_ipv6_forwarding : k_ipv4_forwarding;
    const unique_fd file(::open(path, O_WRONLY | O_CLOEXEC));
    const char digit = on ? '1' : '0';
    const bool written =
        file.valid() && retry_interrupted([&] { return ::write(file.get(), &digit, 1); }) == 1;
    return kernel_done_or("Forwarding cannot be changed", written ? 0 : errno);
}

service_answer apply_forwarding(const service_call &call) {
    return set_forwarding(call, call.arguments.front() == "enable");
}

service_answer withdraw_forwarding(const service_call &call) { return set_forwarding(call, false); }

// ---- the service

struct setting_row {
    std::string_view words;
    service_answer (*apply)(const service_call &call);
    service_answer (*withdraw)(const service_call &call);
};

constexpr setting_row k_rows[] = {
    {"hostname", apply_host_name, withdraw_host_name},
    {"ip address", kernel_apply_ipv4, kernel_withdraw_ipv4},
    {"ip ipv6-address", kernel_apply_ipv6, kernel_withdraw_ipv6},
    {"ipv4 forwarding", apply_forwarding, withdraw_forwarding},
    {"ipv6 forwarding", apply_forwarding, withdraw_forwarding},
    {"ipv4 route", kernel_apply_entry, kernel_withdraw_entry},
    {"ipv6 route", kernel_apply_entry, kernel_withdraw_entry},
    {"ipv4 arp", kernel_apply_entry, kernel_withdraw_entry},
};

service_answer change(const service_call &call,
                      service_answer (*setting_row::*function)(const service_call &)) {
    const auto *const row = std::find_if(std::begin(k_rows), std::end(k_rows),
                                         [&](const setting_row &of) { return of.words == call.words; });
    return row != std::end(k_rows) ? (row->*function)(call) : service_answer{service_outcome::not_supported};
}

service_answer apply(const service_call &call) { return change(call, &setting_row::apply); }
service_answer withdraw(const service_call &call) { return change(call, &setting_row::withdraw); }

service_answer act(const service_call &call) {
    if (call.words != "clear ip hosts") {
        return {service_outcome::not_supported};
    }
    return kernel_done_or("Not all hosts could be forgotten", kernel_forget_neighbours());
}

bool is_here() { return !services_are_on_desk() && ::geteuid() == 0; }

} // namespace

service_answer kernel_done_or(const std::string &what, int error) {
    if (error == 0) {
        return {};
    }
    return {service_outcome::refused, what + ": " + std::strerror(error)};
}

const service service_kernel = {
    "the kernel", is_here, apply, withdraw, nullptr, act, kernel_interface_changes};
