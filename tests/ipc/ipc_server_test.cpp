// The servers as their clients see them: connections, hellos, relays, what is sent wrong.

#include "tests/ipc/ipc_peer.h"

#include <atomic>
#include <deque>
#include <sys/resource.h>
#include <thread>

TEST_F(IpcServer, AMessageMayBeCutAnywhere) {
    const peer client(5);
    const peer other(1);
    const octets answer = response(5, 300, 0, {1, 2, 3});
    for (auto cut = answer.begin() + 1; cut != answer.end(); ++cut) {
        auto got = ask(5, 300, {}, 3);
        EXPECT_FALSE(client.receive().empty());
        client.send({answer.begin(), cut});
        settle(other, 1);
        client.send({cut, answer.end()});
        EXPECT_EQ(answered(0, {1, 2, 3}), got.get());
    }
}

TEST_F(IpcServer, WhatEndsAConnectionIsLogged) {
    octets all_wrong = message({5, 300, 0, 0}, {}, 253);
    all_wrong[1] = 8;
    const std::pair<octets, const char *> k_cases[] = {
        {message({5, 300, 0, 0}, {}, 254), "3 version mismatch, marker 254, version 1"},
        {message({5, 300, 0, 0}, {}, 255, 2), "3 version mismatch, marker 255, version 2"},
        {all_wrong, "3 version mismatch, marker 253, version 1"}, // the length is looked at last
        {{0, 8, 255, 1, 5, 1, 44, 0, 3}, "4 message length 8 is less than header size 9"},
        {{}, "7 connection closed socket ["},
        {{0, 10, 255, 1, 5, 1, 44, 0, 3}, "7 ] when reading proto_ipc data"},
    };
    for (const auto &[bytes, line] : k_cases) {
        peer client(0);
        client.send(bytes);
        if (line[0] == '7') {
            client.close();
        }
        EXPECT_TRUE(logged(line)) << line;
        EXPECT_TRUE(line[0] == '7' || client.is_closed());
    }
}

TEST_F(IpcServer, AClientThatLeavesItsRouteReleasesItsRequests) {
    peer client(5);
    for (const bool closes : {false, true}) {
        auto answer = ask(5, 300);
        EXPECT_FALSE(client.receive().empty());
        client.send(hello(5)); // the same again releases nothing
        settle(client, 5);
        EXPECT_EQ(std::future_status::timeout, answer.wait_for(std::chrono::seconds(0)));
        closes ? client.close() : client.send(hello(6));
        EXPECT_EQ(k_unanswered, answer.get());
        if (!closes) {
            client.send(hello(5));
            settle(client, 5);
        }
    }
}

TEST_F(IpcServer, AClientThatCannotBeWrittenToIsClosed) {
    const peer client(5);
    relay(client, client, 5);
    client.stop_reading();
    EXPECT_EQ(k_unanswered, ask(5, 300).get());
    EXPECT_TRUE(logged("4 ipc_server_send_message: buffer_write failed to ipc_serv client fd"));
    EXPECT_TRUE(eventually([&] { return !client.try_send(one_way(1, 258, 1)); }));
}

TEST_F(IpcServer, OneWayMessagesAreRelayedToTheirRouteInTheExpectedSizeOnly) {
    const struct {
        uint8_t route;
        uint16_t first;
        uint16_t last;
        size_t size;
    } k_relays[] = {
        {1, 47, 58, 124},  {1, 60, 60, 124},  {1, 61, 61, 112},  {1, 62, 63, 124},  {1, 67, 67, 2},
        {1, 68, 68, 0},    {1, 199, 199, 0},  {1, 200, 200, 2},  {1, 253, 253, 16}, {1, 254, 254, 2},
        {1, 255, 255, 0},  {1, 258, 259, 1},  {1, 260, 263, 52}, {2, 59, 59, 4},    {2, 60, 60, 124},
        {2, 61, 61, 112},  {2, 62, 63, 124},  {2, 67, 68, 36},   {4, 199, 199, 4},  {4, 200, 200, 10},
        {5, 253, 253, 16}, {5, 254, 255, 44},
    };
    const peer source(0);
    for (const auto &row : k_relays) {
        const peer destination(row.route);
        for (uint16_t command = row.first; command <= row.last; command++) {
            source.send(one_way(row.route, command, row.size + 1)); // dropped
            source.send(one_way(row.route, command, row.size));
            EXPECT_EQ(one_way(row.route, command, row.size), destination.receive()) << command;
        }
    }
    const peer destination(1);
    for (const uint16_t command : std::initializer_list<uint16_t>{46, 59, 64, 257, 264}) { // no handler
        for (const size_t size : {0U, 1U, 2U, 16U, 52U, 124U}) {
            source.send(one_way(1, command, size));
        }
    }
    relay(source, destination, 1);
}

TEST_F(IpcServer, RoutesOfBothServersAreReachedFromEither) {
    ASSERT_EQ(0, ipc_web_start());
    const peer management(1);
    const peer left(5); // serves its route again when the one that comes after it has gone
    relay(left, management, 1);
    peer web(5, k_ipc_web_path);
    relay(web, management, 1);
    relay(management, web, 5);
    auto first = ask(5, 300);
    EXPECT_EQ(asked(5, 300), web.receive());
    web.send(response(5, 300, 0));
    EXPECT_EQ(k_done, first.get());
    auto second = ask(5, 300);
    EXPECT_FALSE(web.receive().empty());
    web.close();
    EXPECT_EQ(k_unanswered, second.get());
    relay(management, left, 5);
}

TEST_F(IpcServer, MessagesThatWaitMoveToTheServerTheirClientComesToUpToALimit) {
    ASSERT_EQ(0, ipc_web_start());
    const peer source(1);
    for (int round = 0; round < 2; round++) { // what waits no longer is counted no more
        for (int i = 0; i < 1030; i++) {
            source.send(one_way(5, 254, 44));
        }
        relay(source, source, 1); // all but those beyond the limit wait by now
        peer web(5, k_ipc_web_path);
        EXPECT_EQ(k_unanswered, ask(6, 300).get()); // and have moved, when this has had its turn
        send_one_way(5, 100, {});
        int moved = 0;
        while (web.receive() == one_way(5, 254, 44)) {
            moved++;
        }
        EXPECT_TRUE(moved > 0 && moved <= 1024) << moved; // fewer when it came too late for some
        web.close();
        EXPECT_EQ(k_unanswered, ask(5, 300).get()); // by now that has been noticed
    }
}

TEST_F(IpcServer, TheValueOfCommand20ReachesItsOwner) {
    static std::atomic<uint32_t> s_value = 0;
    ipc_get_settings().on_route2_value = [](uint32_t value) { s_value = value; }; // nobody is connected yet
    const peer client(1);
    octets payload(72, 0);
    put_be32(&payload[0], 0x01000002);
    client.send(message({2, 20, k_ipc_kind_one_way, 0}, payload));
    client.send(message({2, 20, k_ipc_kind_one_way, 0}, octets(71, 9)));
    relay(client, client, 1);
    EXPECT_EQ(0x01000002U, s_value);
}

TEST_F(IpcServer, ClientsOfRoutes1And2AreGreetedWhenThatIsSet) {
    ipc_get_settings().greet_clients = true; // nobody is connected yet who could see it change
    ipc_get_settings().route2_greeting = 0x12345678;
    EXPECT_EQ(message({1, 59, 2, 0}, {}), peer(1).receive());
    EXPECT_EQ(message({2, 59, 2, 0}, {0x12, 0x34, 0x56, 0x78}), peer(2).receive());
    const peer third(3);
    send_one_way(3, 100, {1});
    EXPECT_EQ(message({3, 100, 2, 0}, {1}), third.receive()) << "and no greeting before it";
    ipc_get_settings().greet_clients = false; // its hello was the last
}

TEST_F(IpcServer, HellosAreLoggedAndThoseOfNoRouteIgnored) {
    const peer client(3);
    const peer stranger(7);
    const peer empty(0);
    empty.send(message({6, k_ipc_command_hello, k_ipc_kind_one_way, 0}, {}));
    EXPECT_TRUE(logged("5 says hello and bids fair to configure tatacs protocol."));
    EXPECT_TRUE(logged("6 Protocol IPC mechanism received unknown proto 7 and/or command 325"));
    EXPECT_TRUE(logged("5 says hello with non exist protocol id \"0\"."));
    empty.send(response(2, 126, 0, {1, 2}));
    EXPECT_TRUE(logged("7 a packet with command [proto_subcmd_tacplus_get_console_state] from "
                       "protocol[unknown] with length 2"));
    EXPECT_TRUE(logged("3 internal error: cannot find route type 2 in table!"));
    empty.send(response(4, 127, 0));
    EXPECT_TRUE(logged("7 a packet with command [] from protocol[unknown] with length 0"));
    EXPECT_TRUE(logged("3 unknown route type: 4"));
}

TEST_F(IpcServer, WithoutDescriptorsAPeerIsTurnedAwayAndTheNextOneServed) {
    const peer served(5);
    relay(served, served, 5); // no accept is under way
    const peer refused[2];    // not connected yet
    rlimit limit{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    const rlimit before = limit;
    limit.rlim_cur = 200;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    std::vector<unique_fd> all;
    while (all.emplace_back(::dup(0)).valid()) {
    }
    for (const peer &p : refused) {
        p.connect(k_ipc_serv_path);
        EXPECT_TRUE(p.is_closed());
    }
    all.clear();
    EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_TRUE(logged("4 Can't accept proto_ipc socket: Too many open files"));
    const peer next(1);
    relay(next, next, 1);
}

TEST_F(IpcServer, OneClientTooManyIsTurnedAway) {
    const peer served(5);
    std::deque<peer> others;
    while (others.size() < 63) {
        others.emplace_back(uint8_t{0});
    }
    EXPECT_TRUE(peer(0).is_closed());
    EXPECT_TRUE(logged("4 Can't serve proto_ipc socket: there are 64 clients"));
    others.pop_back();
    settle(served, 5);
    const peer next(1);
    relay(next, next, 1);
}

namespace {

constexpr size_t k_large = 60000;
constexpr size_t k_large_size = k_ipc_header_size + k_large;

void send_large(uint8_t route, size_t count) {
    for (size_t i = 0; i < count; i++) {
        send_one_way(route, 100, octets(k_large, uint8_t(i)));
    }
}

void expect_large(const peer &client, uint8_t route, size_t count) {
    for (size_t i = 0; i < count; i++) {
        ASSERT_EQ(message({route, 100, k_ipc_kind_one_way, 0}, octets(k_large, uint8_t(i))),
                  client.receive());
    }
}

} // namespace

TEST_F(IpcServer, AClientThatDoesNotReadLosesNothingUntilItIsClosedForIt) {
    ASSERT_EQ(8U << 20, ipc_get_settings().client_queue_bytes);
    constexpr size_t k_kept = (8U << 20) / k_large_size; // whatever its socket takes of them
    const peer client(5);
    send_large(5, k_kept);
    expect_large(client, 5, k_kept);
    auto answer = ask(5, 300);
    EXPECT_FALSE(client.receive().empty()); // and no answer to it
    send_large(5, k_kept + 10);             // more than its socket takes beside
    EXPECT_EQ(k_unanswered, answer.get());
    EXPECT_TRUE(logged("4 more than 8388608 bytes wait to be read"));
}

TEST_F(IpcServer, WhenTooMuchWaitsForAllTheOneWithTheMostIsClosed) {
    ipc_get_settings().all_queues_bytes = 2U << 20; // nobody is connected yet
    constexpr size_t k_few = 20;
    constexpr size_t k_most = (2U << 20) / k_large_size;
    const peer hog(5);
    const peer other(4);
    send_large(5, k_most);
    send_large(4, k_few);
    EXPECT_TRUE(logged("4 more than 2097152 bytes wait to be read"));
    expect_large(other, 4, k_few);
    size_t received = 0;
    while (!hog.receive().empty()) {
        received++;
    }
    EXPECT_LT(received, k_most);
    const peer next(5); // what waited for the other is counted no more
    send_large(5, k_most);
    expect_large(next, 5, k_most);
}

#if defined(__has_feature)
#define ZOP_SANITIZED (__has_feature(thread_sanitizer) || __has_feature(address_sanitizer))
#else
#define ZOP_SANITIZED 0
#endif

/// One protocol daemon after the other on a route: answers a few requests, right or wrong, sends on its own,
/// and leaves, perhaps in the middle of a message.
static void come_and_go(uint8_t route, const std::atomic<bool> &stop) {
    for (uint32_t turn = 1; !stop; turn++) {
        const peer client(route, k_ipc_serv_path, 5);
        for (uint32_t left = turn % 8; left > 0 && client.try_send(one_way(1, 258, 1)); left--) {
            const octets request = client.receive();
            if (request.size() >= k_ipc_header_size) {
                octets bytes = response(route, get_be16(&request[5]), left % 2, octets(turn % 100, 1));
                bytes.resize(bytes.size() - (turn % 16 == 7 ? 1 : 0)); // cut, or whole
                std::ignore = client.try_send(bytes);
            }
        }
    }
}

TEST_F(IpcServer, ManyClientsComeAndGoUnderLoad) {
    constexpr uint32_t k_enough = ZOP_SANITIZED ? 5000 : 500;
    std::atomic<bool> stop = false;
    std::atomic<uint32_t> good = 0;
    std::vector<std::jthread> senders;
    for (uint16_t i = 0; i < 8; i++) {
        senders.emplace_back([&, i] {
            for (uint16_t turn = 0; !stop; turn++) {
                const auto route = static_cast<uint8_t>(1 + (i + turn) % 6);
                const auto command = static_cast<uint16_t>(300 + i / 2); // two share each command
                good += ask(route, command, {1, 2, 3}, 50).get().first == 0 ? 1 : 0;
                send_one_way(route, 100, {4});
            }
        });
    }
    {
        std::vector<std::jthread> threads;
        for (uint8_t i = 0; i < 32; i++) { // each is a client, and perhaps one more that is about to go
            threads.emplace_back(come_and_go, uint8_t(1 + i % 6), std::ref(stop));
        }
        eventually([&] { return good > k_enough; }); // or as many as a slow machine has done by then
        EXPECT_GT(good, 0U);
        stop = true;
    } // their going releases the senders
    senders.clear();
    EXPECT_TRUE(eventually([] { // once it has noticed who has gone
        const peer client(6, k_ipc_serv_path, 500);
        auto answer = ask(6, 300);
        return !client.receive().empty() && client.try_send(response(6, 300, 0)) && answer.get() == k_done;
    })) << "the server serves as ever";
}
