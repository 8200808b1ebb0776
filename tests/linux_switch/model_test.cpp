#include "lib/linux_switch/linux_config.h"
#include "lib/linux_switch/linux_source.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

linux_name name_of(std::string_view text) {
    linux_name name{};
    EXPECT_TRUE(linux_name_of(text, &name));
    return name;
}

linux_link link_of(int32_t index, std::string_view name) {
    return {.index = index,
            .master = 1,
            .name = name_of(name),
            .enabled = true,
            .carrier = true,
            .counters = linux_counters{},
            .port_state = 3};
}

/// What stands at the numbers from 1 on: "eth1", "(eth1)" when it has gone; up to the first that nobody had.
std::string numbers(const linux_numbering &numbering) {
    std::string all;
    for (size_t i = 0; i < numbering.names.size() && numbering.names[i][0] != 0; i++) {
        const std::string name = numbering.names[i].data();
        all += (i == 0 ? "" : " ") + (numbering.indexes[i] != 0 ? name : "(" + name + ")");
    }
    return all;
}

std::string number(linux_numbering &numbering, const std::vector<linux_link> &ports) {
    linux_number_again(numbering, ports);
    return numbers(numbering);
}

TEST(Numbering, IsByNameAtFirstAndThenKept) {
    linux_numbering by = linux_number_ports({});
    EXPECT_EQ("eth2 eth10", number(by, {link_of(5, "eth10"), link_of(6, "eth2")}));
    EXPECT_EQ("eth2 eth10 eth1", number(by, {link_of(5, "eth10"), link_of(6, "eth2"), link_of(4, "eth1")}));
    EXPECT_EQ("eth2 (eth10) eth1", number(by, {link_of(6, "eth2"), link_of(4, "eth1")}));
    EXPECT_EQ("lan (eth10) eth1", number(by, {link_of(6, "lan"), link_of(4, "eth1")})) << "renamed";
    EXPECT_EQ("lan eth10 eth1", number(by, {link_of(4, "eth1"), link_of(9, "eth10"), link_of(6, "lan")}))
        << "made anew with its old name";
    EXPECT_EQ("(lan) (eth10) (eth1)", number(by, {})) << "no bridge";
    EXPECT_EQ("(lan) eth10 (eth1) a", number(by, {link_of(20, "a"), link_of(21, "eth10")}));
}

TEST(Numbering, TwelveAreNumberedAndTheRestWaits) {
    std::vector<linux_link> ports;
    for (int32_t i = 1; i <= k_switch_ports + 1; i++) {
        ports.push_back(link_of(i, "p" + std::to_string(i)));
    }
    linux_numbering by = linux_number_ports({});
    EXPECT_EQ("p1 p2 p3 p4 p5 p6 p7 p8 p9 p10 p11 p12", number(by, ports));
    ports.erase(ports.begin() + 2);
    EXPECT_EQ("p1 p2 p13 p4 p5 p6 p7 p8 p9 p10 p11 p12", number(by, ports)) << "one that waited";
}

TEST(Numbering, OfAListIsThatOfTheList) {
    const std::vector<linux_name> names = {name_of("lan1"), name_of("lan2"), name_of("lan3")};
    linux_numbering by = linux_number_ports(names);
    EXPECT_EQ("(lan1) (lan2) (lan3)", number(by, {}));
    EXPECT_EQ("(lan1) lan2 lan3", number(by, {link_of(9, "lan3"), link_of(8, "lan2"), link_of(7, "other")}));
    EXPECT_EQ("lan1 (lan2) lan3", number(by, {link_of(9, "lan3"), link_of(8, "lan1")}));
}

struct bridge_of_two {
    linux_model model{};
    bridge_of_two() {
        linux_numbering by = linux_number_ports(std::vector{name_of("a"), name_of("b"), name_of("gone")});
        std::vector<linux_link> ports = {link_of(5, "a"), link_of(6, "b")};
        ports[0].counters = {.received = (uint64_t{1} << 32) + 70,
                             .received_multicast = 20,
                             .receive_errors = 3,
                             .sent = (uint64_t{7} << 32) + 11,
                             .send_errors = 4};
        ports[1].carrier = false;
        ports[1].port_state = 4;
        ports[1].counters = {
            .received = 5, .received_multicast = 9, .receive_errors = 0, .sent = 0, .send_errors = 0};
        linux_instances instances{.index = 6, .states = {}};
        instances.states.fill(k_linux_no_state);
        instances.states[63] = 2;
        model.bridge = {
            .index = 1, .stp = 1, .has_instances = true, .address = {2, 0x1B, 0xFE, 0x80, 0x7F, 6}};
        linux_number_again(by, ports);
        linux_take_ports(model, by, ports, std::vector{instances});
    }
};

TEST(Model, ALineIsKeptForAsLongAsItsInterfaceIsThere) {
    linux_numbering by = linux_number_ports(std::vector{name_of("a")});
    linux_model model{};
    const auto speed_with = [&](const std::vector<linux_link> &ports) {
        linux_number_again(by, ports);
        linux_take_ports(model, by, ports, {});
        return model.ports[0].line.speed;
    };
    EXPECT_EQ(0U, speed_with({link_of(5, "a")}));
    model.ports[0].line.speed = 100;
    EXPECT_EQ(100U, speed_with({link_of(5, "a")}));
    EXPECT_EQ(0U, speed_with({link_of(6, "a")})) << "another one of the name";
    model.ports[0].line.speed = 100;
    EXPECT_EQ(0U, speed_with({}));
}

std::string counters(const linux_model &model, int32_t port) {
    std::string all;
    for (size_t which = 0; which < std::size(k_counter_subs); which++) {
        uint32_t value = 0;
        const int32_t code = linux_answer_counter(model, port, which, value);
        all += code == k_sasi_not_known ? "- " : std::to_string(value) + " ";
    }
    return all;
}

TEST(Answers, CountersAreWhatTheKernelCountsBy32Bits) {
    const bridge_of_two of;
    // 3, 4, 6, 9, 10, 12, 24, 28
    EXPECT_EQ("50 20 3 11 - 4 - - ", counters(of.model, 1));
    EXPECT_EQ("0 5 0 0 - 0 - - ", counters(of.model, 2)) << "more multicast than all: the sum stays right";
    EXPECT_EQ("0 0 0 0 - 0 - - ", counters(of.model, 3)) << "not there";
}

std::array<uint32_t, 5> words(const linux_model &model, int32_t port) {
    std::array<uint32_t, 5> words{};
    EXPECT_EQ(0, linux_answer_port_state(model, port, words));
    return words;
}

TEST(Answers, PortsTellLinkAndLine) {
    bridge_of_two of;
    of.model.ports[0].line = {.speed = 100, .duplex = linux_duplex::half, .negotiates = true, .gigabit = {}};
    EXPECT_THAT(words(of.model, 1), ElementsAre(1, 100, 1, 1, 1));
    EXPECT_THAT(words(of.model, 2), ElementsAre(1, 0, 0, 0, 0)) << "no link";
    EXPECT_THAT(words(of.model, 3), ElementsAre(0, 0, 0, 0, 0)) << "not there";
}

TEST(Answers, MediaIsKnownWhereKindAndSpeedAre) {
    constexpr int32_t k_unknown = -1;
    using enum linux_port_type;
    const struct {
        linux_port_type type;
        std::optional<bool> gigabit;
        int32_t media;
    } cases[] = {{fibre, {}, 2},
                 {fibre, true, 2},
                 {twisted_pair, true, 1},
                 {twisted_pair, false, 0},
                 {twisted_pair, {}, k_unknown},
                 {other, true, k_unknown},
                 {unknown, true, k_unknown}};
    bridge_of_two of;
    for (const auto &one : cases) {
        of.model.ports[11].type = one.type;
        of.model.ports[11].line.gigabit = one.gigabit;
        uint32_t media = 0;
        const int32_t code = linux_answer_port_media(of.model, 12, media);
        EXPECT_EQ(one.media, code == k_sasi_not_known ? k_unknown : static_cast<int32_t>(media));
    }
}

TEST(Answers, SpanningTreeIsThatOfBridgeAndInstances) {
    bridge_of_two of;
    sasi_mst mst{};
    std::array<sasi_mst_port, k_switch_ports> ports{};
    const auto states = [&](int32_t instance) {
        EXPECT_EQ(0, linux_answer_instance(of.model, instance, mst = {}));
        EXPECT_EQ(0, linux_answer_states(of.model, instance, ports));
        return std::array{ports[0].state, ports[1].state, ports[2].state};
    };
    EXPECT_THAT(states(0), ElementsAre(3, 4, 0));
    EXPECT_EQ(0x021BFE807F06U, mst.address);
    EXPECT_THAT(states(63), ElementsAre(0, 2, 0)) << "one takes part";
    EXPECT_EQ(0x021BFE807F06U, mst.address);
    EXPECT_THAT(states(1), ElementsAre(0, 0, 0));
    EXPECT_EQ(0U, mst.address) << "not in use";
    const auto record = [&](uint32_t stp, bool has_instances) {
        sasi_bridge bridge{};
        of.model.bridge.stp = stp;
        of.model.bridge.has_instances = has_instances;
        EXPECT_EQ(0, linux_answer_bridge(of.model, bridge));
        return std::array{bridge.enabled, bridge.mode};
    };
    EXPECT_THAT(record(0, true), ElementsAre(0, 0));
    EXPECT_THAT(record(1, true), ElementsAre(1, 0)) << "the kernel's own protocol";
    EXPECT_THAT(record(2, true), ElementsAre(1, 3));
    EXPECT_THAT(record(2, false), ElementsAre(1, 0xFF)) << "none of those that have a number";
}

TEST(Answers, WatchedPortsRaiseTheirBitWhileDown) {
    const bridge_of_two of;
    linux_config config;
    EXPECT_EQ(0U, linux_links_down(of.model, config));
    config.watch_all = true;
    EXPECT_EQ(uint32_t{1} << 8 | uint32_t{1} << 9, linux_links_down(of.model, config));
    config.watch_all = false;
    config.watched = {name_of("a"), name_of("gone"), name_of("never")};
    EXPECT_EQ(uint32_t{1} << 9, linux_links_down(of.model, config));
    config.watched = {name_of("b")};
    EXPECT_EQ(uint32_t{1} << 8, linux_links_down(of.model, config));
}

} // namespace
