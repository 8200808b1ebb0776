// Which addresses of time servers are taken, and which are in reach.

#include "lib/time/sntp_reach.h"

#include "tests/time/own_machine.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

in6_addr ipv6(const char *text) {
    in6_addr address{};
    EXPECT_EQ(1, ::inet_pton(AF_INET6, text, &address));
    return address;
}

uint32_t ipv4(const char *text) {
    in_addr address{};
    EXPECT_EQ(1, ::inet_pton(AF_INET, text, &address));
    return ntohl(address.s_addr);
}

class Tap0 : public own_machine {};

} // namespace

TEST(Reach, HostAddressesByClass) {
    const std::pair<bool, std::vector<const char *>> rows[] = {
        {true,
         {"0.0.0.1", "1.0.0.1", "127.1.0.0", "127.255.255.254", "128.0.0.1", "128.1.0.255", "191.255.255.254",
          "192.0.0.1", "192.168.1.254", "223.255.255.254"}},
        {false,
         {"0.0.0.0", "255.255.255.255", "10.0.0.0", "127.255.255.255", "128.1.0.0", "191.255.255.255",
          "192.0.1.0", "192.168.1.255", "223.255.255.255", "224.0.0.1", "240.1.2.3"}}};
    for (const auto &[valid, addresses] : rows) {
        for (const char *address : addresses) {
            EXPECT_EQ(valid, sntp_ipv4_is_valid(ipv4(address))) << address;
        }
    }
}

TEST(Reach, Ipv6PrefixesAreComparedBitByBit) {
    const in6_addr own = ipv6("2001:db8:0:7f00::1");
    const struct {
        const char *other;
        uint32_t equal; // the longest prefix that both have
    } k_cases[] = {{"a001:db8:0:7f00::1", 0},   {"2001:db8:0:7f01::1", 63}, {"2001:db8:0:ff00::1", 48},
                   {"2001:db8:0:7f00::", 127},  {"2001:db8:0:7f80::1", 56}, {"2001:db8:0:7f00:8000::1", 64},
                   {"2001:db8:0:7f00::1", 1000}};
    for (const auto &c : k_cases) {
        for (const uint32_t length :
             {0U, 1U, 47U, 48U, 49U, 56U, 57U, 63U, 64U, 65U, 127U, 128U, 129U, 0xFFFFFFFFU}) {
            const bool expected = length <= c.equal || c.equal == 1000;
            EXPECT_EQ(expected, sntp_ipv6_same_prefix(own, ipv6(c.other), length))
                << c.other << '/' << length;
        }
    }
    EXPECT_TRUE(sntp_ipv6_is_link_local(ipv6("fe80::1")));
    EXPECT_FALSE(sntp_ipv6_is_link_local(ipv6("fe81::1")));
}

TEST_F(Tap0, Ipv6AddressIsItsFirstThatIsNotLinkLocal) {
    in6_addr address{};
    uint32_t length = 0;
    EXPECT_FALSE(sntp_ipv6_of_tap0(&address, &length)) << "no tap0";
    // The loopback interface plays tap0: it is there on every machine.
    ASSERT_EQ(0, std::system("ip=/sbin/ip; $ip link set lo down && $ip link set lo name tap0 &&"
                             "$ip link set tap0 up && $ip -6 addr flush dev tap0 &&"
                             "$ip -6 addr add fe80::1/64 dev tap0"));
    EXPECT_FALSE(sntp_ipv6_of_tap0(&address, &length)) << "link-local only";
    ASSERT_EQ(0, std::system("/sbin/ip -6 addr add 2001:db8:1::5/49 dev tap0"));
    EXPECT_TRUE(sntp_ipv6_of_tap0(&address, &length));
    EXPECT_EQ(49U, length);
    EXPECT_TRUE(sntp_ipv6_same_prefix(ipv6("2001:db8:1::5"), address, 128));
}
