#pragma once

#include <cstddef>
#include <cstdint>

// The record that the local time service and its clients exchange, as both see it. All 32-bit fields are in
// the machine's own byte order; an IPv4 address is a number whose most significant byte is the first octet.

inline constexpr uint16_t k_sntp_port = 33821; // UDP on 127.0.0.1

enum class sntp_command : uint32_t {
    read_settings = 0,
    set_first_rule = 1,
    set_second_rule = 3,
    set_server_address = 9,
    set_server = 11,
    read_text = 12,
};

enum class sntp_server_kind : uint32_t {
    ipv4 = 0,
    host_name = 1,
    ipv6 = 2,
};

inline constexpr size_t k_sntp_host_name_size = 51; // with its terminating NUL

struct sntp_record {
    sntp_command command;
    uint32_t reply1; // both 1: the client is to write the system time to the real-time clock
    uint32_t reply2;
    int32_t status;               // 0, the service's code, or the client's own failure
    sntp_server_kind server_kind; // set_server
    uint32_t ipv4;                // set_server_address, set_server
    uint8_t ipv6[16];             // set_server
    char host_name[k_sntp_host_name_size];
    char text[21];     // begins the reply text of read_text, which may run on to the record's end
    uint32_t words[4]; // read_settings: what they say; the rules: week, weekday, month, hour
};
static_assert(offsetof(sntp_record, status) == 12);
static_assert(offsetof(sntp_record, server_kind) == 16);
static_assert(offsetof(sntp_record, ipv4) == 20);
static_assert(offsetof(sntp_record, ipv6) == 24);
static_assert(offsetof(sntp_record, host_name) == 40);
static_assert(offsetof(sntp_record, text) == 91);
static_assert(offsetof(sntp_record, words) == 112);
static_assert(sizeof(sntp_record) == 128);

// The longest reply text, without a terminating NUL.
inline constexpr size_t k_sntp_text_length = sizeof(sntp_record) - offsetof(sntp_record, text);
