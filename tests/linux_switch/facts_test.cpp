#include "lib/base/bytes.h"
#include "lib/linux_switch/linux_facts.h"
#include "lib/linux_switch/netlink_attrs.h"

#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <map>
#include <string>
#include <vector>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;

/// A message at an address of its own, so that a sanitizer sees what is read behind its end.
using bytes = std::vector<uint32_t>;

const nlmsghdr &message_in(const bytes &from) { return *reinterpret_cast<const nlmsghdr *>(from.data()); }

/// The messages of a recorded answer; `record` beside this file makes them.
std::vector<bytes> recorded(const std::string &kernel, const std::string &question) {
    std::ifstream file(TEST_RECORDED "/" + kernel + "/" + question, std::ios::binary);
    const std::string all((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<bytes> messages;
    for (size_t at = 0; at < all.size();) {
        nlmsghdr head{};
        std::memcpy(&head, &all[at], sizeof head);
        bytes one((head.nlmsg_len + 3) / 4);
        std::memcpy(one.data(), &all[at], head.nlmsg_len);
        messages.push_back(one);
        at += head.nlmsg_len;
    }
    EXPECT_FALSE(messages.empty()) << kernel << " " << question;
    return messages;
}

std::map<std::string, linux_link> recorded_links(const std::string &kernel) {
    std::map<std::string, linux_link> links;
    for (const bytes &one : recorded(kernel, "links")) {
        linux_link link;
        EXPECT_TRUE(linux_read_link(message_in(one), &link));
        links[link.name.data()] = link;
    }
    return links;
}

/// All readers on a message; returns how many took it.
int read_all(const nlmsghdr &message) {
    linux_link link;
    linux_bridge bridge;
    linux_instances instances;
    linux_ip_address address;
    linux_default_route route;
    linux_port_type type;
    linux_line line;
    uint16_t family = 0;
    return int{linux_read_link(message, &link)} + int{linux_read_bridge(message, &bridge)} +
           int{linux_read_instances(message, &instances)} + int{linux_read_ip_address(message, &address)} +
           int{linux_read_default_route(message, &route)} + int{linux_read_family(message, &family)} +
           int{linux_read_port_type(message, &type)} + int{linux_read_line(message, &line)};
}

constexpr const char *k_questions[] = {"bridge", "links", "addresses", "routes",
                                       "family", "line",  "port_type"};

class recorded_answers : public testing::TestWithParam<const char *> {};

INSTANTIATE_TEST_SUITE_P(Kernels, recorded_answers, testing::Values("6.1", "6.18"),
                         [](const auto &kernel) { return kernel.index == 0 ? "Old" : "New"; });

TEST_P(recorded_answers, TellLinksOfABridge) {
    const auto links = recorded_links(GetParam());
    const linux_link bridge = links.at("br0");
    EXPECT_EQ(0, bridge.master);
    EXPECT_EQ(k_linux_no_state, bridge.port_state);
    for (const char *name : {"eth1", "eth2", "eth10"}) {
        EXPECT_EQ(bridge.index, links.at(name).master) << name;
        EXPECT_TRUE(links.at(name).enabled) << name;
    }
    EXPECT_EQ(0, links.at("peer1").master);
    EXPECT_TRUE(links.at("eth1").carrier);
    EXPECT_FALSE(links.at("eth10").carrier) << "its peer is off";
    EXPECT_FALSE(links.at("peer10").enabled);
    EXPECT_EQ(1, links.at("eth1").port_state) << "listening: the tree has just begun";
    EXPECT_EQ(0, links.at("eth10").port_state);
}

TEST_P(recorded_answers, CountTheFramesOfEachSideOfACable) {
    const auto links = recorded_links(GetParam());
    const linux_counters near = links.at("eth1").counters.value();
    const linux_counters far = links.at("peer1").counters.value();
    EXPECT_GT(near.sent, 0U);
    EXPECT_EQ(near.sent, far.received);
    EXPECT_EQ(far.sent, near.received);
    EXPECT_NE(near.sent, near.received) << "or the sides could be taken for each other";
    EXPECT_EQ(0U, near.send_errors + near.receive_errors + far.send_errors + far.receive_errors);
}

TEST_P(recorded_answers, TellTheBridge) {
    linux_bridge bridge;
    ASSERT_TRUE(linux_read_bridge(message_in(recorded(GetParam(), "bridge").at(0)), &bridge));
    EXPECT_EQ(recorded_links(GetParam()).at("br0").index, bridge.index);
    EXPECT_EQ(1U, bridge.stp);
    EXPECT_THAT(bridge.address, ElementsAre(2, 0, 0, 0, 0, 1));
    EXPECT_EQ(std::string("6.1") == GetParam(), bridge.has_instances) << "as recorded";
    int32_t bridges = 0;
    for (const bytes &one : recorded(GetParam(), "links")) {
        bridges += linux_read_bridge(message_in(one), &bridge) ? 1 : 0;
    }
    EXPECT_EQ(1, bridges) << "ports are none";
}

TEST_P(recorded_answers, TellAddressesAndDefaultRoutes) {
    const int32_t index = recorded_links(GetParam()).at("br0").index;
    std::vector<linux_ip_address> addresses;
    for (const bytes &one : recorded(GetParam(), "addresses")) {
        if (linux_ip_address address;
            linux_read_ip_address(message_in(one), &address) && address.index == index) {
            addresses.push_back(address);
        }
    }
    EXPECT_THAT(addresses, ElementsAre(AllOf(Field(&linux_ip_address::address, 0xC0000201),
                                             Field(&linux_ip_address::netmask, 0xFFFFFF00),
                                             Field(&linux_ip_address::secondary, false)),
                                       AllOf(Field(&linux_ip_address::address, 0xC0000202),
                                             Field(&linux_ip_address::secondary, true))));
    std::vector<linux_default_route> routes;
    for (const bytes &one : recorded(GetParam(), "routes")) {
        if (linux_default_route route; linux_read_default_route(message_in(one), &route)) {
            EXPECT_EQ(index, route.index);
            routes.push_back(route);
        }
    }
    EXPECT_THAT(routes, ElementsAre(AllOf(Field(&linux_default_route::gateway, 0xC00002FD),
                                          Field(&linux_default_route::metric, 40)),
                                    AllOf(Field(&linux_default_route::gateway, 0xC00002FE),
                                          Field(&linux_default_route::metric, 50))));
}

TEST_P(recorded_answers, TellHowALineRuns) {
    linux_line line;
    linux_port_type type;
    uint16_t family = 0;
    ASSERT_TRUE(linux_read_line(message_in(recorded(GetParam(), "line").at(0)), &line));
    EXPECT_EQ(10000U, line.speed);
    EXPECT_EQ(linux_duplex::full, line.duplex);
    EXPECT_FALSE(line.negotiates);
    EXPECT_EQ(true, line.gigabit);
    const bytes of_type = recorded(GetParam(), "port_type").at(0);
    ASSERT_TRUE(linux_read_port_type(message_in(of_type), &type));
    EXPECT_EQ(linux_port_type::twisted_pair, type);
    ASSERT_TRUE(linux_read_family(message_in(recorded(GetParam(), "family").at(0)), &family));
    EXPECT_EQ(message_in(of_type).nlmsg_type, family);
}

/// A message that ends earlier is read no further, and one of another kind is not taken.
TEST_P(recorded_answers, AreReadWithinTheirBytes) {
    for (const char *question : k_questions) {
        for (const bytes &whole : recorded(GetParam(), question)) {
            EXPECT_LE(read_all(message_in(whole)), 2) << question << ": a bridge is a link as well";
            for (uint32_t length = NLMSG_HDRLEN; length < message_in(whole).nlmsg_len; length += 4) {
                bytes cut(whole.begin(), whole.begin() + length / 4);
                reinterpret_cast<nlmsghdr *>(cut.data())->nlmsg_len = length;
                read_all(message_in(cut));
            }
        }
    }
}

TEST(RecordedInstances, TellStatesOfPorts) {
    std::map<int32_t, uint8_t> states;
    for (const bytes &one : recorded("6.1", "instances")) {
        linux_instances port;
        if (linux_read_instances(message_in(one), &port)) {
            EXPECT_EQ(k_linux_no_state, port.states[0]);
            EXPECT_EQ(k_linux_no_state, port.states[2]);
            states[port.index] = port.states[1];
        }
    }
    const int32_t index = recorded_links("6.1").at("eth2").index;
    EXPECT_THAT(states, ElementsAre(testing::Pair(index, 2))) << "learning";
}

TEST(RecordedAddresses, GiveTheMaskOfEachPrefix) {
    bytes one = recorded("6.1", "addresses").at(0);
    auto *const head = static_cast<ifaddrmsg *>(mnl_nlmsg_get_payload(&message_in(one)));
    linux_ip_address address;
    for (const auto &[prefix, mask] :
         std::map<uint8_t, uint32_t>{{0, 0}, {1, 0x80000000}, {31, 0xFFFFFFFE}, {32, 0xFFFFFFFF}}) {
        head->ifa_prefixlen = prefix;
        ASSERT_TRUE(linux_read_ip_address(message_in(one), &address));
        EXPECT_EQ(mask, address.netmask);
    }
    head->ifa_prefixlen = 33;
    EXPECT_FALSE(linux_read_ip_address(message_in(one), &address));
}

TEST(Datagrams, AreWholeMessages) {
    std::vector<uint8_t> two(16 + 20); // of 16 bytes and of 17, which is padded
    store_native<uint32_t>(two.data(), 16);
    const auto is_whole = [&](uint32_t second, size_t length) {
        store_native<uint32_t>(&two[16], second);
        return netlink_is_whole(std::span(two).first(length));
    };
    EXPECT_TRUE(is_whole(17, 36));
    EXPECT_TRUE(is_whole(17, 33)) << "the last one may lack its padding";
    EXPECT_FALSE(is_whole(17, 32));
    EXPECT_FALSE(is_whole(15, 36));
    EXPECT_FALSE(is_whole(0x80000010, 36));
    EXPECT_FALSE(is_whole(17, 20)) << "half a header";
    EXPECT_TRUE(is_whole(17, 0));
}

} // namespace
