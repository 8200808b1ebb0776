// Requests of a process that runs the management server: the tests answer them as clients.

#include "lib/ipc/ipc_requests.h"
#include "tests/ipc/ipc_peer.h"

#include <array>
#include <atomic>
#include <numeric>

TEST_F(IpcServer, ARequestIsAnsweredByTheClientOfItsRoute) {
    const peer other(4);
    const peer client(5);
    const struct {
        int32_t status;
        octets payload;
        octets expected;
    } k_cases[] = {
        {0, {1, 2, 3, 4}, {1, 2, 3, 4}},
        {0, {1, 2, 3, 4, 5, 6}, {1, 2, 3, 4}}, // too long
        {0, {9}, {9, 0xEE, 0xEE, 0xEE}},       // too short
        {0, {}, {0xEE, 0xEE, 0xEE, 0xEE}},
        {7, {1, 2, 3, 4}, {0xEE, 0xEE, 0xEE, 0xEE}}, // refused: no payload is taken
    };
    for (const auto &c : k_cases) {
        auto answer = ask(5, 300, {0xAB, 0xCD}, 4);
        EXPECT_EQ(asked(5, 300, {0xAB, 0xCD}), client.receive());
        client.send(response(5, 300, c.status, c.payload));
        EXPECT_EQ(answered(c.status, c.expected), answer.get());
    }
}

TEST_F(IpcServer, WithoutAClientARequestIsGivenUpAfterTheRetry) {
    for (int i = 0; i < 2; i++) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(k_unanswered, ask(5, 300).get());
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
    }
}

TEST_F(IpcServer, SendersOfOneCommandAreServedOneAfterTheOther) {
    const peer client(5);
    std::vector<std::future<answered>> senders;
    for (uint8_t i = 0; i < 4; i++) {
        senders.push_back(ask(5, 300, {i}, 1));
    }
    for (size_t i = 0; i < senders.size(); i++) {
        const octets request = client.receive();
        settle(client, 5); // nobody else is let in before the answer
        client.send(response(5, 300, 0, {request.back()}));
    }
    for (size_t i = 0; i < senders.size(); i++) {
        EXPECT_EQ(answered(0, {static_cast<uint8_t>(i)}), senders[i].get());
    }
}

TEST_F(IpcServer, ARequestThatWasGivenUpIsNotSentLater) {
    const peer other(1);
    auto first = ask(5, 300, {1});
    for (int i = 0; i < 20; i++) {
        settle(other, 1); // it has found no client by now, and waits for one
    }
    peer guest(5);
    relay(guest, other, 1);
    guest.close(); // releases it
    EXPECT_EQ(k_unanswered, first.get());
    const peer client(5);
    auto second = ask(5, 300, {2});
    EXPECT_EQ(asked(5, 300, {2}), client.receive());
    client.send(response(5, 300, 0));
    EXPECT_EQ(k_done, second.get());
    EXPECT_EQ(k_unanswered, ask(6, 300).get()); // when the first one's turn is over, too
    relay(other, client, 5);
}

TEST_F(IpcServer, AnAnswerThatComesLateIsNotTheNextRequests) {
    peer leaver(5);
    const peer other(1);
    auto first = ask(5, 300);
    EXPECT_FALSE(leaver.receive().empty());
    leaver.close(); // gives it up
    EXPECT_EQ(k_unanswered, first.get());
    other.send(response(5, 300, 0, {1})); // nobody waits
    relay(other, other, 1);
    const peer client(5);
    auto second = ask(5, 300, {}, 1);
    EXPECT_FALSE(client.receive().empty());
    client.send(response(5, 300, 0, {2}));
    client.send(response(5, 300, 0, {3})); // once more
    EXPECT_EQ(answered(0, {2}), second.get());
}

TEST_F(IpcServer, AServersOwnThreadCannotWaitForAnAnswer) {
    static std::atomic<int32_t> s_status = -1;
    ipc_get_settings().on_route2_value = [](uint32_t) {
        send_one_way(5, 101, {}); // awaits none
        ipc_header header = {5, 300, k_ipc_kind_request, k_ipc_status_unanswered};
        protoipc_send_request(&header, nullptr, 0, nullptr, 0);
        s_status = header.status;
    };
    const peer client(5);
    client.send(message({2, 20, k_ipc_kind_one_way, 0}, octets(72, 0)));
    EXPECT_EQ(message({5, 101, k_ipc_kind_one_way, 0}, {}), client.receive());
    settle(client, 5); // and no request comes
    EXPECT_EQ(k_ipc_status_unanswered, s_status);
}

TEST_F(IpcServer, WhatAClientBookedIsAnsweredOrGivesWayToTheProcessOrGoesWithTheClient) {
    const peer client(5);
    peer stranger(0);
    for (const uint16_t command : std::initializer_list<uint16_t>{100, 101, 300, 300}) {
        stranger.send(asked(5, command, {1}));
    }
    relay(stranger, client, 5); // they are booked
    send_out({5, 100, k_ipc_kind_response, 0}, {4, 5});
    EXPECT_EQ(response(5, 100, 0, {4, 5}), client.receive());
    send_out({5, 100, k_ipc_kind_response, 0}, {4, 5}); // nobody waits any longer: refused
    auto answer = ask(5, 300);
    EXPECT_EQ(asked(5, 300), client.receive());
    stranger.send(asked(5, 300)); // does not take its place
    relay(stranger, client, 5);
    client.send(response(5, 300, 0));
    EXPECT_EQ(k_done, answer.get());
    stranger.close();
    settle(client, 5);
    send_out({5, 101, k_ipc_kind_response, 0}, {}); // nobody waits
    relay(client, client, 5);
}

TEST_F(IpcServer, WhatCannotBeSentIsRefusedAtOnce) {
    const peer client(5);
    const std::pair<uint8_t, uint16_t> k_nowhere[] = {{0, 300}, {7, 300}, {5, 0}, {5, 326}, {5, 65535}};
    for (const auto &[route, command] : k_nowhere) {
        EXPECT_TRUE(eventually([&, route = route, command = command] { // waiting, each would take 150 ms
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(k_unanswered, ask(route, command).get());
            return std::chrono::steady_clock::now() - start < std::chrono::milliseconds(150);
        })) << int{route}
            << ' ' << command;
    }
    ipc_header header = {5, 300, k_ipc_kind_request, 42};
    protoipc_send_request(&header, "x", -1, nullptr, 0);
    protoipc_send_request(&header, nullptr, 1, nullptr, 0);
    protoipc_send_request(nullptr, nullptr, 0, nullptr, 0);
    EXPECT_EQ(42, header.status);
    EXPECT_EQ(k_unanswered, ask(5, 299, octets(65527)).get()); // beyond 65535
    auto longest = ask(5, 299, octets(65526));
    EXPECT_EQ(asked(5, 299, octets(65526)), client.receive());
    client.send(response(5, 299, 0));
    EXPECT_EQ(k_done, longest.get());
}

TEST_F(IpcServer, WrappersSendTheirBlocks) {
    const peer clients[] = {peer(1), peer(5)};
    octets given(36); // by the client: 1, 2, 3, ...
    std::iota(given.begin(), given.end(), uint8_t{1});
    octets value(16, 0); // with 0x1234 where the client finds it
    put_be16(&value[2], 0x1234);
    octets block(36, 7);
    const auto serve = [&](uint8_t route, uint16_t command, const octets &sent) {
        return std::async(std::launch::async, [=, &given, &client = clients[route == 5 ? 1 : 0]] {
            EXPECT_EQ(asked(route, command, sent), client.receive());
            client.send(response(route, command, 0, given));
        });
    };
    const auto expect_given = [&](std::span<uint8_t> got) {
        EXPECT_TRUE(std::equal(got.begin(), got.end(), given.begin()));
        std::ranges::fill(got, 0);
    };
    uint8_t bytes[2] = {};
    {
        const auto served = serve(5, 244, {});
        uint16_t third = 0;
        EXPECT_EQ(0, ipc_request_244(&bytes[0], &third));
        EXPECT_EQ(std::pair(1, 0x0304), std::pair(int{bytes[0]}, int{third}));
    }
    std::array<uint8_t, 16> reply = {};
    const auto request_245 = [](uint16_t v, std::span<uint8_t> got) {
        return ipc_request_245(v, got.first<16>());
    };
    int32_t (*const k_block_calls[])(uint16_t, std::span<uint8_t>) = {
        request_245, ipc_request_246, ipc_request_247, ipc_request_248, ipc_request_249, ipc_request_250};
    for (size_t i = 0; i < std::size(k_block_calls); i++) {
        const auto served = serve(5, static_cast<uint16_t>(245 + i), value);
        EXPECT_EQ(0, k_block_calls[i](0x1234, reply));
        expect_given(reply);
    }
    for (const bool second : {false, true}) {
        {
            const auto served = serve(5, second ? 252 : 251, value);
            EXPECT_EQ(0, (second ? ipc_request_252 : ipc_request_251)(0x1234, &bytes[0], &bytes[1]));
            expect_given(bytes);
        }
        std::array<uint8_t, 36> changed = {};
        changed.fill(7);
        const auto served = serve(1, second ? 268 : 267, block);
        EXPECT_EQ(0, (second ? ipc_request_268 : ipc_request_267)(changed));
        expect_given(changed);
    }
    for (const int32_t status : {ipc_send_256(9), ipc_send_257(8), ipc_send_265(std::array<uint8_t, 2>{1, 2}),
                                 ipc_send_266(std::array<uint8_t, 4>{1, 2, 3, 4})}) {
        EXPECT_EQ(k_ipc_status_unanswered, status);
    }
    const std::pair<uint16_t, octets> k_sent[] = {{256, {9}}, {257, {8}}, {265, {1, 2}}, {266, {1, 2, 3, 4}}};
    for (const auto &[command, payload] : k_sent) {
        EXPECT_EQ(message({5, command, k_ipc_kind_one_way, 3}, payload), clients[1].receive());
    }
}
