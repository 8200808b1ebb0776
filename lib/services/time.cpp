// The switch's clocks and its local time service.

#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "lib/services/services.h"
#include "lib/services/summer_time.h"
#include "lib/services/time_results.h"
#include "lib/time/sntp_client.h"
#include "lib/time/sntp_clock.h"
#include "lib/time/sntp_reach.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <utility>

namespace {

// ---- servers

/// The servers that are to be followed, the oldest first. The time service takes one: that.
std::vector<std::string> &servers() {
    static auto *const s_servers = new std::vector<std::string>;
    return *s_servers;
}

bool is_ipv6(const std::string &address) { return address.find(':') != std::string::npos; }

uint32_t ipv4_of(const std::string &address) {
    in_addr ipv4 = {};
    return ::inet_pton(AF_INET, address.c_str(), &ipv4) == 1 ? ntohl(ipv4.s_addr) : 0;
}

/// What the client refuses by itself.
bool can_be_server(const std::string &address) {
    in6_addr ipv6 = {};
    return is_ipv6(address) ? ::inet_pton(AF_INET6, address.c_str(), &ipv6) == 1
                            : sntp_ipv4_is_valid(ipv4_of(address));
}

/// Follows a server that can be one; "": none.
int32_t follow(const std::string &address) {
    in6_addr ipv6 = {};
    if (!is_ipv6(address)) {
        return sntp_set_server(sntp_server_kind::ipv4, nullptr, ipv4_of(address), {});
    }
    ignore_result(::inet_pton(AF_INET6, address.c_str(), &ipv6)); // it can: it is one
    return sntp_set_server(sntp_server_kind::ipv6, nullptr, 0, ipv6);
}

/// Replaces the list, and follows its first server.
service_answer follow_first(std::vector<std::string> list) {
    service_answer answer = time_answer(follow(list.empty() ? "" : list.front()));
    if (answer.outcome == service_outcome::done) {
        servers() = std::move(list);
    }
    return answer;
}

service_answer add_server(const std::string &address) {
    std::vector<std::string> list = servers();
    if (!can_be_server(address)) {
        return time_answer(k_sntp_bad_ipv4);
    }
    if (std::find(list.begin(), list.end(), address) == list.end()) {
        list.push_back(address);
    }
    if (address == list.front()) {
        return follow_first(std::move(list));
    }
    servers() = std::move(list);
    return {service_outcome::done,
            "The time service follows one server; it is " + servers().front() + " while that is set.\n"};
}

service_answer remove_server(const std::string &address) {
    std::vector<std::string> list = servers();
    const bool followed = list.empty() || list.front() == address;
    list.erase(std::remove(list.begin(), list.end(), address), list.end());
    if (followed) {
        return follow_first(std::move(list));
    }
    servers() = std::move(list);
    return {};
}

// ---- the service

bool is_server(std::string_view words) {
    return words == "time ntp-server" || words == "time ntp-ipv6-server";
}

bool is_summer_time(std::string_view words) { return words.starts_with("time daylight-saving-time"); }

service_answer apply(const service_call &call) {
    if (is_server(call.words) && call.arguments.size() == 1) {
        return add_server(call.arguments[0]);
    }
    return is_summer_time(call.words) ? summer_time_apply(call.arguments)
                                      : service_answer{service_outcome::not_supported};
}

service_answer withdraw(const service_call &call) {
    if (is_server(call.words) && call.arguments.size() == 1) {
        return remove_server(call.arguments[0]);
    }
    return is_summer_time(call.words) ? summer_time_withdraw()
                                      : service_answer{service_outcome::not_supported};
}

service_answer act(const service_call &call) {
    if (call.arguments.size() != 1) {
        return {service_outcome::not_supported};
    }
    const std::string &value = call.arguments[0];
    if (call.words == "time date") {
        const auto [year, month, day] = time_numbers(value, '/');
        return time_answer(sntp_set_date(year, month, day));
    }
    const auto [hour, minute, second] = time_numbers(value, ':');
    return time_answer(sntp_set_time(hour, minute, second));
}

/// The four words, which nobody but the service knows the sense of. All 0 is what there is without an answer.
std::string settings_text() {
    std::array<uint32_t, 4> words = {};
    if (sntp_read_settings(words) != 0 || words == std::array<uint32_t, 4>{}) {
        return "";
    }
    std::string text;
    for (const uint32_t word : words) {
        text += (text.empty() ? "" : " ") + std::to_string(word);
    }
    return text;
}

service_answer show(const service_call & /*call*/, report &to) {
    sntp_time now = {};
    if (const int32_t result = sntp_read_date(&now); result != 0) {
        return time_answer(result);
    }
    char date[40];
    char time[40];
    std::snprintf(date, sizeof date, "%04d/%02d/%02d", now.year, now.month, now.day);
    std::snprintf(time, sizeof time, "%02d:%02d:%02d", now.hour, now.minute, now.second);
    report_add(to, {"date", "Date"}, date);
    report_add(to, {"time", "Time"}, time);
    report_add(to, {"server", "NTP server"}, servers().empty() ? "" : servers().front());
    report_add(to, {"service_settings", "Service's settings"}, settings_text());
    return {};
}

} // namespace

const service service_time = {"the time service", sasi_is_open, apply, withdraw, show, act};
