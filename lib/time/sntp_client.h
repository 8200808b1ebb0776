#pragma once

#include "lib/time/sntp_record.h"

#include <netinet/in.h>
#include <span>

// The client of the switch's local time service. Every call sends one record over loopback UDP and waits at
// most one second for the answer. A service that is absent or silent counts as success: the switch is
// configured the same whether or not the service runs at that moment. One thread at a time.

/// Results besides 0 and the service's own codes.
enum sntp_status : int32_t {
    k_sntp_bad_rule = -6,
    k_sntp_bad_ipv4 = -10,
    k_sntp_no_socket = -26,
    k_sntp_no_bind = -27,
    k_sntp_no_send = -28,
    k_sntp_no_receive = -29,
    k_sntp_address_off_subnet = -59, // sntp_set_server_address; the service has the setting
    k_sntp_server_off_subnet = -85,  // sntp_set_server; the service has the setting
    k_sntp_no_ipv6 = -86,            // the interface has no IPv6 address; the service has the setting
    k_sntp_bad_host_name = -180,     // missing or too long
    k_sntp_empty_host_name = -181,
};

/// Sends `record` to the service and receives the answer into it. `status` is 0 when none comes within a
/// second, and one of -26..-29 when the exchange itself fails: no socket ("sntp_send_pkt_ack: open socket
/// fail!" on standard output), no bind to 127.0.0.1, no send, or no receive. A short answer leaves the rest
/// of the record as it was. An answer with both reply words 1 makes the client write the system's date and
/// time to the hardware clock.
void sntp_send_pkt_ack(sntp_record *record);

/// Reads the service's four setting words. Returns the status. `words` is written in any case, with zeros
/// when no service answered.
int32_t sntp_read_settings(std::span<uint32_t, 4> words);

/// When a season begins or ends: the `week`-th `weekday` of `month` at `hour`.
struct sntp_rule {
    uint32_t week;    // 1..5
    uint32_t weekday; // 0..6
    uint32_t month;   // 1..12
    uint32_t hour;    // 0..23
};

/// The two rules that the service keeps.
enum class sntp_rule_choice { first, second };

/// Sets a seasonal rule. Returns -6 without a request when a word is out of its range, else the status.
int32_t sntp_set_rule(sntp_rule_choice which, const sntp_rule &rule);

/// Sets the server's address, 0 for none. Returns -10 without a request when it is no host's IPv4 address; a
/// status other than 0 as it stands; -59 when the management interface has no way to the address.
int32_t sntp_set_server_address(uint32_t ipv4);

/// Sets the server; only the argument of its kind is looked at. Results as above, but without a way -85. A
/// host name is of 1 to 50 characters, else -180 (also when null) or -181 (empty) without a request. A
/// link-local IPv6 address can always be reached; for any other the result is -86 when the interface has no
/// IPv6 address and -85 when it is on another prefix.
int32_t sntp_set_server(sntp_server_kind kind, const char *host_name, uint32_t ipv4, const in6_addr &ipv6);

/// Reads the service's text, as a string. Returns the status; `text` is written only when that is 0.
int32_t sntp_read_text(std::span<char, k_sntp_text_length + 1> text);
