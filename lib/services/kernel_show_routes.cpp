// The routes of the kernel.

#include "lib/base/parse_number.h"
#include "lib/base/take_piece.h"
#include "lib/services/kernel_settings.h"
#include "lib/services/kernel_shows.h"
#include "lib/services/kernel_text.h"

#include <cerrno>
#include <cstring>
#include <net/route.h>
#include <optional>
#include <sys/socket.h>

namespace {

constexpr uint32_t k_reject = RTF_REJECT; // nothing leads there
constexpr uint32_t k_local = 0x80000000;  // RTF_LOCAL of <linux/ipv6_route.h>: an address of this machine

struct route {
    std::string network; // with its length
    std::string router;  // "": the network is this machine's own
    std::string interface;
    int64_t distance;
};

template<size_t count> std::array<std::string_view, count> words_of(std::string_view line) {
    std::array<std::string_view, count> words;
    for (std::string_view &word : words) {
        word = kernel_take_word(line);
    }
    return words;
}

/// "Iface Destination Gateway Flags RefCnt Use Metric Mask ...": addresses are numbers of the machine's own
/// order of bytes.
std::optional<route> read_ipv4_route(std::string_view line) {
    const auto words = words_of<8>(line);
    uint32_t to = 0;
    uint32_t router = 0;
    uint32_t flags = 0;
    uint32_t mask = 0;
    int64_t distance = 0;
    if (!parse_number(words[1], &to, 16) || !parse_number(words[2], &router, 16) ||
        !parse_number(words[3], &flags, 16) || !parse_number(words[6], &distance) ||
        !parse_number(words[7], &mask, 16) || (flags & RTF_UP) == 0 || (flags & k_reject) != 0) {
        return std::nullopt;
    }
    const auto *const bits = reinterpret_cast<const uint8_t *>(&mask);
    return route{kernel_address_text(AF_INET, &to) + '/' + std::to_string(kernel_length(bits, sizeof mask)),
                 (flags & RTF_GATEWAY) != 0 ? kernel_address_text(AF_INET, &router) : "",
                 kernel_printable(words[0]), distance};
}

bool read_packed(std::string_view digits, in6_addr *address) {
    for (size_t i = 0; i < sizeof address->s6_addr; i++) {
        if (digits.size() != 2 * sizeof address->s6_addr ||
            !parse_number(digits.substr(2 * i, 2), &address->s6_addr[i], 16)) {
            return false;
        }
    }
    return true;
}

/// "Destination Length Source Length Router Metric RefCnt Use Flags Iface", numbers without a prefix in base
/// 16.
std::optional<route> read_ipv6_route(std::string_view line) {
    const auto words = words_of<10>(line);
    in6_addr to{};
    in6_addr router{};
    uint8_t length = 0;
    uint32_t distance = 0;
    uint32_t flags = 0;
    if (!read_packed(words[0], &to) || !parse_number(words[1], &length, 16) ||
        !read_packed(words[4], &router) || !parse_number(words[5], &distance, 16) ||
        !parse_number(words[8], &flags, 16) || (flags & RTF_UP) == 0 || (flags & k_reject) != 0 ||
        (flags & k_local) != 0 || IN6_IS_ADDR_MULTICAST(&to)) {
        return std::nullopt;
    }
    return route{kernel_address_text(AF_INET6, &to) + '/' + std::to_string(length),
                 (flags & RTF_GATEWAY) != 0 ? kernel_address_text(AF_INET6, &router) : "",
                 kernel_printable(words[9]), distance};
}

service_answer show_routes(const char *path, std::optional<route> (*read)(std::string_view line),
                           report &to) {
    report_table &table = report_add_table(
        to, "routes", "",
        {{"network", "Network"}, {"router", "Router"}, {"interface", "Interface"}, {"distance", "Distance"}});
    const std::string text = kernel_read(path);
    for (std::string_view rest = text; !rest.empty();) {
        if (const auto found = read(take_piece(rest, '\n'))) {
            table.rows.push_back({found->network, found->router, found->interface, found->distance});
        }
    }
    return {};
}

} // namespace

service_answer kernel_show_ipv4_routes(const service_call & /*call*/, report &to) {
    return show_routes("/proc/net/route", read_ipv4_route, to);
}

service_answer kernel_show_ipv6_routes(const service_call & /*call*/, report &to) {
    return show_routes("/proc/net/ipv6_route", read_ipv6_route, to);
}
