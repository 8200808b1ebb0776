#include "lib/time/sntp_client.h"

#include "lib/base/monotonic.h"
#include "lib/base/result.h"
#include "lib/base/retry.h"
#include "lib/base/unique_fd.h"
#include "lib/time/sntp_clock.h"
#include "lib/time/sntp_reach.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sys/select.h>
#include <sys/socket.h>

namespace {

constexpr int64_t k_answer_us = 1000000; // how long an answer is waited for

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Returns 1 when `fd` can be read, 0 when it cannot for a second, -1 when that cannot be found out.
int wait_readable(int fd) {
    if (fd >= FD_SETSIZE) {
        return -1;
    }
    const int64_t deadline = monotonic_us() + k_answer_us;
    int64_t left = k_answer_us;
    return retry_interrupted([&] {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval time_left{};
        time_left.tv_sec = static_cast<time_t>(left / 1000000);
        time_left.tv_usec = static_cast<suseconds_t>(left % 1000000);
        const int result = ::select(fd + 1, &readable, nullptr, nullptr, &time_left);
        const int error = errno;
        left = std::max<int64_t>(0, deadline - monotonic_us());
        errno = error;
        return result;
    });
}

/// Sends the record, receives the answer. Returns true when there is one; a failure is in the status.
bool exchange(int fd, sntp_record *record) {
    const sockaddr_in own = loopback(0);
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&own), sizeof own) < 0) {
        record->status = k_sntp_no_bind;
        return false;
    }
    const sockaddr_in service = loopback(k_sntp_port);
    if (retry_interrupted([&] {
            return ::sendto(fd, record, sizeof *record, 0, reinterpret_cast<const sockaddr *>(&service),
                            sizeof service);
        }) < 0) {
        record->status = k_sntp_no_send;
        return false;
    }
    const int ready = wait_readable(fd);
    if (ready == 0) {
        return false;
    }
    if (ready < 0 ||
        retry_interrupted([&] { return ::recv(fd, record, sizeof *record, MSG_DONTWAIT); }) < 0) {
        record->status = k_sntp_no_receive;
        return false;
    }
    return true;
}

/// A request for the command with everything else 0.
sntp_record request_for(sntp_command command) {
    sntp_record record{};
    record.command = command;
    return record;
}

/// Sends an IPv4 server. `off_subnet` is the result when the service took it but there is no way to it.
int32_t send_ipv4(sntp_record *record, uint32_t ipv4, int32_t off_subnet) {
    if (ipv4 != 0 && !sntp_ipv4_is_valid(ipv4)) {
        return k_sntp_bad_ipv4;
    }
    const bool reachable = sntp_ipv4_is_reachable(ipv4);
    record->ipv4 = ipv4;
    sntp_send_pkt_ack(record);
    return record->status != 0 ? record->status : reachable ? 0 : off_subnet;
}

int32_t send_host_name(sntp_record *record, const char *host_name) {
    const size_t length =
        host_name == nullptr ? k_sntp_host_name_size : ::strnlen(host_name, k_sntp_host_name_size);
    if (length == k_sntp_host_name_size) {
        return k_sntp_bad_host_name;
    }
    if (length == 0) {
        return k_sntp_empty_host_name;
    }
    std::memcpy(record->host_name, host_name, length); // the record's zeros terminate it
    sntp_send_pkt_ack(record);
    return record->status;
}

int32_t send_ipv6(sntp_record *record, const in6_addr &ipv6) {
    std::memcpy(record->ipv6, ipv6.s6_addr, sizeof record->ipv6);
    sntp_send_pkt_ack(record);
    if (record->status != 0 || sntp_ipv6_is_link_local(ipv6)) {
        return record->status;
    }
    in6_addr own{};
    uint32_t prefix_length = 0;
    if (!sntp_get_ipv6(&own, &prefix_length)) {
        return k_sntp_no_ipv6;
    }
    return sntp_ipv6_same_prefix(own, ipv6, prefix_length) ? 0 : k_sntp_server_off_subnet;
}

} // namespace

void sntp_send_pkt_ack(sntp_record *record) {
    record->status = 0;
    const unique_fd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.valid()) {
        std::printf("%s: open socket fail!\n", __func__);
        record->status = k_sntp_no_socket;
        return;
    }
    if (exchange(socket.get(), record) && record->reply1 == 1 && record->reply2 == 1) {
        // The service's status stands, whether or not there is a date and the clock takes it.
        if (sntp_time now; sntp_read_date(&now) == 0) {
            ignore_result(sntp_set_systime_to_rtc(now));
        }
    }
}

int32_t sntp_read_settings(std::span<uint32_t, 4> words) {
    sntp_record record = request_for(sntp_command::read_settings);
    sntp_send_pkt_ack(&record);
    std::copy_n(record.words, words.size(), words.begin());
    return record.status;
}

int32_t sntp_set_rule(sntp_rule_choice which, const sntp_rule &rule) {
    if (rule.month < 1 || rule.month > 12 || rule.weekday > 6 || rule.week < 1 || rule.week > 5 ||
        rule.hour > 23) {
        return k_sntp_bad_rule;
    }
    sntp_record record = request_for(which == sntp_rule_choice::first ? sntp_command::set_first_rule
                                                                      : sntp_command::set_second_rule);
    const uint32_t words[] = {rule.week, rule.weekday, rule.month, rule.hour};
    std::copy_n(words, std::size(words), record.words);
    sntp_send_pkt_ack(&record);
    return record.status;
}

int32_t sntp_set_server_address(uint32_t ipv4) {
    sntp_record record = request_for(sntp_command::set_server_address);
    return send_ipv4(&record, ipv4, k_sntp_address_off_subnet);
}

int32_t sntp_set_server(sntp_server_kind kind, const char *host_name, uint32_t ipv4, const in6_addr &ipv6) {
    sntp_record record = request_for(sntp_command::set_server);
    record.server_kind = kind;
    switch (kind) {
    case sntp_server_kind::host_name:
        return send_host_name(&record, host_name);
    case sntp_server_kind::ipv6:
        return send_ipv6(&record, ipv6);
    case sntp_server_kind::ipv4:
        break;
    }
    return send_ipv4(&record, ipv4, k_sntp_server_off_subnet);
}

int32_t sntp_read_text(std::span<char, k_sntp_text_length + 1> text) {
    sntp_record record = request_for(sntp_command::read_text);
    sntp_send_pkt_ack(&record);
    if (record.status != 0) {
        return record.status;
    }
    const char *const begin = reinterpret_cast<const char *>(&record) + offsetof(sntp_record, text);
    std::fill(std::copy_n(begin, ::strnlen(begin, k_sntp_text_length), text.begin()), text.end(), '\0');
    return 0;
}
