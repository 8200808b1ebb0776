#pragma once

#include "lib/base/unique_fd.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <string_view>

// Texts of the kernel and of the configuration: files under "/proc", addresses.

constexpr size_t k_kernel_text_max = size_t{256} * 1024;

/// What a file holds, `longest` bytes of it at most; "" when it cannot be read.
[[nodiscard]] std::string kernel_read(const char *path, size_t longest = k_kernel_text_max);
[[nodiscard]] std::string kernel_read_all(const unique_fd &file, size_t longest = k_kernel_text_max);

/// The text with '?' for each byte that is no printable character of ASCII: names are whatever a program
/// chose.
[[nodiscard]] std::string kernel_printable(std::string_view text);

/// Takes the next word, after any blanks and tabs, off a line.
std::string_view kernel_take_word(std::string_view &line);

// Readers return false when the text is something else; then what they were to fill is undefined.

/// "192.168.1.10/24", as it is kept.
struct ipv4_prefix {
    in_addr address;
    uint8_t length; // bits, 0 to 32
};
[[nodiscard]] bool kernel_read_ipv4(std::string_view text, in_addr *address);
[[nodiscard]] bool kernel_read_prefix(std::string_view text, ipv4_prefix *prefix);

/// Eight groups; one without a digit is 0.
[[nodiscard]] bool kernel_read_ipv6(std::string_view text, in6_addr *address);

using hardware_address = std::array<uint8_t, 6>;
[[nodiscard]] bool kernel_read_hardware(std::string_view text, hardware_address *address);

/// The mask of a prefix, in network order.
[[nodiscard]] in_addr kernel_mask(uint8_t length);

/// Leading ones of a mask.
[[nodiscard]] uint8_t kernel_length(const uint8_t *mask, size_t size);

/// Whether an address, of `size` bytes, has a one beyond its first `length` bits.
[[nodiscard]] bool kernel_has_host_bits(const uint8_t *address, size_t size, uint8_t length);

/// An address as people write it; `family` AF_INET or AF_INET6, of 4 or 16 bytes.
[[nodiscard]] std::string kernel_address_text(int family, const void *address);
