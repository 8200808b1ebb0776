#include "lib/services/kernel_text.h"

#include "lib/base/parse_number.h"
#include "lib/base/retry.h"
#include "lib/base/take_piece.h"

#include <algorithm>
#include <arpa/inet.h>
#include <bit>
#include <fcntl.h>

std::string kernel_read(const char *path, size_t longest) {
    return kernel_read_all(unique_fd(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK)), longest);
}

std::string kernel_read_all(const unique_fd &file, size_t longest) {
    std::string text;
    std::array<char, 4096> piece{};
    while (file.valid() && text.size() < longest) {
        const size_t room = std::min(piece.size(), longest - text.size());
        const ssize_t length = retry_interrupted([&] { return ::read(file.get(), piece.data(), room); });
        if (length <= 0) {
            break;
        }
        text.append(piece.data(), static_cast<size_t>(length));
    }
    return text;
}

std::string kernel_printable(std::string_view text) {
    std::string printable(text);
    std::replace_if(
        printable.begin(), printable.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return printable;
}

std::string_view kernel_take_word(std::string_view &line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(" \t"));
    line.remove_prefix(word.size());
    return word;
}

bool kernel_read_ipv4(std::string_view text, in_addr *address) {
    return ::inet_pton(AF_INET, std::string(text).c_str(), address) == 1;
}

bool kernel_read_prefix(std::string_view text, ipv4_prefix *prefix) {
    const std::string_view address = take_piece(text, '/');
    return kernel_read_ipv4(address, &prefix->address) && parse_number(text, 0, 32, &prefix->length);
}

bool kernel_read_ipv6(std::string_view text, in6_addr *address) {
    if (std::count(text.begin(), text.end(), ':') != 7) {
        return false;
    }
    for (size_t group = 0; group < 8; group++) {
        const std::string_view digits = take_piece(text, ':');
        uint16_t value = 0;
        if (!digits.empty() && !parse_number(digits, &value, 16)) {
            return false;
        }
        address->s6_addr[2 * group] = static_cast<uint8_t>(value >> 8);
        address->s6_addr[2 * group + 1] = static_cast<uint8_t>(value & 0xFF);
    }
    return true;
}

bool kernel_read_hardware(std::string_view text, hardware_address *address) {
    return std::count(text.begin(), text.end(), ':') == 5 &&
           std::all_of(address->begin(), address->end(),
                       [&](uint8_t &byte) { return parse_number(take_piece(text, ':'), &byte, 16); });
}

in_addr kernel_mask(uint8_t length) { return {length == 0 ? 0 : htonl(UINT32_MAX << (32 - length))}; }

uint8_t kernel_length(const uint8_t *mask, size_t size) {
    const uint8_t *const end = mask + size;
    const uint8_t *const rest = std::find_if(mask, end, [](uint8_t byte) { return byte != 0xFF; });
    const int ones = rest == end ? 0 : std::countl_one(*rest);
    return static_cast<uint8_t>((rest - mask) * 8 + ones);
}

bool kernel_has_host_bits(const uint8_t *address, size_t size, uint8_t length) {
    for (size_t bit = length; bit < size * 8; bit++) {
        if ((address[bit / 8] >> (7 - bit % 8) & 1) != 0) {
            return true;
        }
    }
    return false;
}

std::string kernel_address_text(int family, const void *address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    return ::inet_ntop(family, address, text.data(), text.size()) != nullptr ? text.data() : "";
}
