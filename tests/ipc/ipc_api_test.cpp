// Requests of a process that runs the management server: the tests answer them as clients.

#include "lib/ipc/internal/ipc_privs.h"

#include "lib/ipc/ipc_requests.h"
#include "tests/ipc/ipc_peer.h"

#include <array>
#include <atomic>
#include <filesystem>
#include <functional>
#include <numeric>
#include <sys/mount.h>

TEST_F(IpcServer, ARequestIsAnsweredByTheClientOfItsRoute) {
    const peer other(4);
    const peer client(5);
    struct {
        int32_t status;
        octets payload;
        octets expected; // of a reply buffer of four 0xEE
    } const k_cases[] = {
        {0, {1, 2, 3, 4}, {1, 2, 3, 4}},
        {0, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4}}, // too long
        {0, {9}, {9, 0xEE, 0xEE, 0xEE}},       // too short
        {0, {}, {0xEE, 0xEE, 0xEE, 0xEE}},
        {7, {1, 2, 3, 4}, {0xEE, 0xEE, 0xEE, 0xEE}}, // refused: no payload is taken
    };
    for (const auto &c : k_cases) {
        std::thread responder([&] {
            EXPECT_EQ(message({5, 300, 0, 3}, {0xAB, 0xCD}), client.receive_message());
            client.send(message(response_to(5, 300, c.status), c.payload));
        });
        octets reply(4, 0xEE);
        EXPECT_EQ(c.status, request(5, 300, {0xAB, 0xCD}, reply));
        EXPECT_EQ(c.expected, reply);
        responder.join();
    }
}

TEST_F(IpcServer, WithoutAClientARequestIsGivenUpAfterTheRetry) {
    for (int i = 0; i < 2; i++) {
        const auto start = steady::now();
        EXPECT_EQ(k_ipc_status_unanswered, request(5, 300));
        EXPECT_GE(steady::now() - start, std::chrono::milliseconds(150));
        EXPECT_LT(steady::now() - start, std::chrono::seconds(5));
    }
}

TEST_F(IpcServer, SendersOfOneCommandAreServedOneAfterTheOther) {
    const peer client(5);
    constexpr int k_senders = 4;
    std::atomic<int> answered = 0;
    std::vector<std::thread> senders;
    for (uint8_t i = 0; i < k_senders; i++) {
        senders.emplace_back([&, i] {
            octets reply(1);
            EXPECT_EQ(0, request(5, 300, {i}, reply));
            EXPECT_EQ(i, reply[0]);
            answered++;
        });
    }
    for (int i = 0; i < k_senders; i++) {
        const octets asked = client.receive_message();
        ASSERT_EQ(k_ipc_header_size + 1U, asked.size());
        EXPECT_EQ(i, answered); // nobody else was let in before the answer
        client.send(message(response_to(5, 300, 0), {asked.back()}));
        while (answered == i) {
            std::this_thread::yield();
        }
    }
    for (std::thread &sender : senders) {
        sender.join();
    }
}

TEST_F(IpcServer, ARequestThatWasGivenUpIsNotSentLater) {
    const peer other(1);
    std::thread first([] {
        octets none;
        EXPECT_EQ(k_ipc_status_unanswered, request(5, 300, {1}, none));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it has found no client and waits for one
    peer guest(5);
    guest.send(one_way(1, 258, 1)); // behind its hello, which has been taken when this arrives
    EXPECT_EQ(one_way(1, 258, 1), other.receive_message());
    guest.close(); // releases it
    first.join();
    const peer client(5);
    std::thread second([] {
        octets none;
        EXPECT_EQ(0, request(5, 300, {2}, none));
    });
    EXPECT_EQ(message({5, 300, 0, 3}, {2}), client.receive_message());
    client.send(message(response_to(5, 300, 0), {}));
    second.join();
    EXPECT_EQ(k_ipc_status_unanswered, request(6, 300)); // when the first one's turn is over, too
    other.send(one_way(5, 254, 44));
    EXPECT_EQ(one_way(5, 254, 44), client.receive_message());
}

TEST_F(IpcServer, AnAnswerThatComesLateIsNotTheNextRequests) {
    peer leaver(5);
    const peer other(1);
    std::thread first([] { EXPECT_EQ(k_ipc_status_unanswered, request(5, 300)); });
    EXPECT_FALSE(leaver.receive_message().empty());
    leaver.close(); // gives it up
    first.join();
    other.send(message(response_to(5, 300, 0), {1})); // nobody waits
    other.send(one_way(1, 258, 1));
    EXPECT_EQ(one_way(1, 258, 1), other.receive_message()); // by now it has been dropped
    const peer client(5);
    std::thread responder([&] {
        EXPECT_FALSE(client.receive_message().empty());
        client.send(message(response_to(5, 300, 0), {2}));
        client.send(message(response_to(5, 300, 0), {3})); // once more
    });
    octets reply(1);
    EXPECT_EQ(0, request(5, 300, {}, reply));
    EXPECT_EQ(octets{2}, reply);
    responder.join();
}

TEST_F(IpcServer, AServersOwnThreadCannotWaitForAnAnswer) {
    static std::atomic<int32_t> s_status = -1;
    ipc_get_settings().on_route2_value = [](uint32_t) { s_status = request(5, 300); };
    const peer client(5);
    client.send(message({2, 20, k_ipc_kind_one_way, 0}, octets(72, 0)));
    client.send(one_way(5, 254, 44));
    EXPECT_EQ(one_way(5, 254, 44), client.receive_message()) << "and no request before it";
    EXPECT_EQ(k_ipc_status_unanswered, s_status);
}

TEST_F(IpcServer, AClientsRequestIsAnsweredOnceByALocalResponse) {
    const peer client(5);
    client.send(message({5, 100, k_ipc_kind_request, 3}, {1}));
    client.send(message({5, 253, k_ipc_kind_one_way, 0}, octets(16, 2)));
    EXPECT_FALSE(client.receive_message().empty()); // the relay: the request before it is booked
    ipc_header header = response_to(5, 100, 0);
    const octets payload = {4, 5};
    protoipc_send_request(&header, payload.data(), 2, nullptr, 0);
    EXPECT_EQ(message({5, 100, 1, 0}, {4, 5}), client.receive_message());
    protoipc_send_request(&header, payload.data(), 2, nullptr, 0); // nobody waits: refused, at once
    client.send(message({5, 253, k_ipc_kind_one_way, 0}, octets(16, 3)));
    EXPECT_EQ(message({5, 253, k_ipc_kind_one_way, 0}, octets(16, 3)), client.receive_message());
}

TEST_F(IpcServer, WhatAClientBookedGivesWayToTheProcessAndGoesWithTheClient) {
    const peer client(5);
    peer stranger(0);
    for (const uint16_t command : {uint16_t{100}, uint16_t{300}}) {
        stranger.send(message({5, command, k_ipc_kind_request, 3}, {1}));
    }
    const auto await_relay = [&](const peer &source) {
        source.send(one_way(5, 254, 44));
        EXPECT_EQ(one_way(5, 254, 44), client.receive_message());
    };
    await_relay(stranger); // both are booked
    std::thread responder([&] {
        EXPECT_EQ(message({5, 300, k_ipc_kind_request, 3}, {}), client.receive_message());
        client.send(message(response_to(5, 300, 0), {}));
    });
    EXPECT_EQ(0, request(5, 300));
    responder.join();
    stranger.close();
    await_relay(client); // in the pass that finds it closed, or in a later one
    await_relay(client);
    ipc_header header = response_to(5, 100, 0);
    protoipc_send_request(&header, nullptr, 0, nullptr, 0); // nobody waits
    await_relay(client);
}

TEST_F(IpcServer, WhatCannotBeSentIsRefusedAtOnce) {
    const peer client(5);
    const auto start = steady::now();
    for (const auto &[route, command] : std::initializer_list<std::pair<uint8_t, uint16_t>>{
             {0, 300}, {7, 300}, {5, 0}, {5, 326}, {5, 65535}}) {
        EXPECT_EQ(k_ipc_status_unanswered, request(route, command)) << int{route} << ' ' << command;
    }
    octets none;
    ipc_header header = {5, 300, k_ipc_kind_request, 42};
    protoipc_send_request(&header, "x", -1, nullptr, 0);
    protoipc_send_request(&header, nullptr, 1, nullptr, 0);
    protoipc_send_request(nullptr, nullptr, 0, nullptr, 0);
    EXPECT_EQ(42, header.status);
    EXPECT_LT(steady::now() - start, std::chrono::milliseconds(700));         // waiting, each takes 150
    EXPECT_EQ(k_ipc_status_unanswered, request(5, 299, octets(65527), none)); // beyond 65535
}

TEST_F(IpcServer, WrappersSendTheirBlocks) {
    const peer route5(5);
    const peer route1(1);
    octets value_block(16, 0); // with 0x1234 where the client finds it
    value_block[2] = 0x12;
    value_block[3] = 0x34;
    octets answered(16);
    std::iota(answered.begin(), answered.end(), uint8_t{1});

    std::array<uint8_t, 16> reply = {};
    uint8_t first = 0;
    uint8_t second = 0;
    uint16_t value = 0;
    const auto replied = [&] { return octets(reply.begin(), reply.end()) == answered; };
    const struct {
        uint16_t command;
        octets sent;
        std::function<int32_t()> call;
        std::function<bool()> good;
    } k_requests[] = {
        {244,
         {},
         [&] { return ipc_request_244(&first, &value); },
         [&] { return first == 1 && value == 0x0304; }},
        {245, value_block, [&] { return ipc_request_245(0x1234, reply); }, replied},
        {246, value_block, [&] { return ipc_request_246(0x1234, reply); }, replied},
        {247, value_block, [&] { return ipc_request_247(0x1234, reply); }, replied},
        {248, value_block, [&] { return ipc_request_248(0x1234, reply); }, replied},
        {249, value_block, [&] { return ipc_request_249(0x1234, reply); }, replied},
        {250, value_block, [&] { return ipc_request_250(0x1234, reply); }, replied},
        {251, value_block, [&] { return ipc_request_251(0x1234, &first, &second); },
         [&] { return first == 1 && second == 2; }},
        {252, value_block, [&] { return ipc_request_252(0x1234, &first, &second); },
         [&] { return first == 1 && second == 2; }},
    };
    for (const auto &c : k_requests) {
        reply = {};
        first = second = 0;
        value = 0;
        std::thread responder([&] {
            EXPECT_EQ(message({5, c.command, 0, 3}, c.sent), route5.receive_message());
            route5.send(message(response_to(5, c.command, 0), answered));
        });
        EXPECT_EQ(0, c.call()) << c.command;
        EXPECT_TRUE(c.good()) << c.command;
        responder.join();
    }
    for (const uint16_t command : {uint16_t{267}, uint16_t{268}}) {
        std::array<uint8_t, 36> block = {7};
        std::thread responder([&] {
            EXPECT_EQ(message({1, command, 0, 3}, octets(block.begin(), block.end())),
                      route1.receive_message());
            route1.send(message(response_to(1, command, 0), octets(36, 8)));
        });
        EXPECT_EQ(0, command == 267 ? ipc_request_267(block) : ipc_request_268(block));
        EXPECT_EQ(octets(36, 8), octets(block.begin(), block.end()));
        responder.join();
    }
    EXPECT_EQ(k_ipc_status_unanswered, ipc_send_256(9));
    EXPECT_EQ(message({5, 256, 2, 3}, {9}), route5.receive_message());
    EXPECT_EQ(k_ipc_status_unanswered, ipc_send_257(8));
    EXPECT_EQ(message({5, 257, 2, 3}, {8}), route5.receive_message());
    EXPECT_EQ(k_ipc_status_unanswered, ipc_send_265(std::array<uint8_t, 2>{1, 2}));
    EXPECT_EQ(message({5, 265, 2, 3}, {1, 2}), route5.receive_message());
    EXPECT_EQ(k_ipc_status_unanswered, ipc_send_266(std::array<uint8_t, 4>{1, 2, 3, 4}));
    EXPECT_EQ(message({5, 266, 2, 3}, {1, 2, 3, 4}), route5.receive_message());
}

TEST(IpcStart, AFailedStartIsNotTriedAgain) {
    ASSERT_TRUE(with_empty_directories({"/tmp"}));
    ASSERT_TRUE(std::filesystem::create_directory("/tmp/ipc_web_gui_addr"));
    ASSERT_EQ(0, ::mount("tmpfs", "/tmp/ipc_web_gui_addr", "tmpfs", 0, nullptr)); // it cannot be moved
    EXPECT_EQ(-1, ipc_web_start());
    EXPECT_TRUE(logged("4", "Can't bind to stream socket: "));
    EXPECT_TRUE(logged("4", "proto_ipc can't provice full functionality due to above error"));
    EXPECT_EQ(0, ipc_web_start());
}

TEST(IpcPrivs, WithoutSettingsNothingChanges) {
    const ipc_privs_settings none = {nullptr, nullptr, nullptr, 0};
    iprivs_init(&none);
    EXPECT_EQ(0, iprivs_change(k_ipc_privs_raise));
    EXPECT_EQ(0, iprivs_change(99));
    EXPECT_EXIT(iprivs_init(nullptr), testing::ExitedWithCode(1), "iprivs_init: called with NULL arg!\n");
    const ipc_privs_settings unknown = {"no-such-user", nullptr, nullptr, 0};
    EXPECT_EXIT(iprivs_init(&unknown), testing::ExitedWithCode(1),
                "privs_init: could not lookup user no-such-user\n");
}

TEST(IpcPrivs, BothServersRaiseToTheUserFromBeforeTheFirst) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    if (!with_empty_directories({"/tmp"})) {
        GTEST_SKIP() << "needs mounts of its own";
    }
    const auto start_both = [] {
        constexpr static ipc_privs_settings k_settings = {"nobody", nullptr, nullptr, 0};
        ipc_get_settings().privs = &k_settings;
        const bool good = ipc_serv_start() == 0 && ipc_web_start() == 0 && ::geteuid() != 0 &&
                          iprivs_change(k_ipc_privs_raise) == 0 && ::geteuid() == 0;
        ::_exit(good ? 0 : 1);
    };
    EXPECT_EXIT(start_both(), testing::ExitedWithCode(0), "");
}

TEST(IpcPrivs, UserIsLoweredAndRaised) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    const ipc_privs_settings settings = {"nobody", nullptr, nullptr, 0};
    const auto change = [&] {
        iprivs_init(&settings);
        const uid_t lowered = ::geteuid();
        const bool good = lowered != 0 && iprivs_current() == k_ipc_privs_lowered &&
                          iprivs_change(k_ipc_privs_raise) == 0 && ::geteuid() == 0 &&
                          iprivs_current() == k_ipc_privs_raised && iprivs_change(k_ipc_privs_lower) == 0 &&
                          ::geteuid() == lowered && iprivs_change(7) == -1;
        ::_exit(good ? 0 : 1);
    };
    EXPECT_EXIT(change(), testing::ExitedWithCode(0), "");
}
