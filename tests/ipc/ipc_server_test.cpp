// The servers as their clients see them: connections, hellos, relays, what is sent wrong.

#include "tests/ipc/ipc_peer.h"

#include <atomic>
#include <deque>
#include <random>
#include <sys/resource.h>

TEST_F(IpcServer, AMessageMayBeCutAnywhere) {
    const peer client(5);
    const octets answer = message(response_to(5, 300, 0), {1, 2, 3});
    for (size_t cut = 1; cut < answer.size(); cut++) {
        std::thread responder([&] {
            EXPECT_FALSE(client.receive_message().empty());
            const auto middle = answer.begin() + static_cast<ptrdiff_t>(cut);
            client.send({answer.begin(), middle});
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            client.send({middle, answer.end()});
        });
        octets reply(3);
        EXPECT_EQ(0, request(5, 300, {}, reply)) << cut;
        EXPECT_EQ((octets{1, 2, 3}), reply) << cut;
        responder.join();
    }
}

TEST_F(IpcServer, ABadHeaderEndsTheConnectionAndIsLogged) {
    octets short_length = message({5, 300, 0, 0}, {});
    short_length[1] = 8;
    octets all_wrong = short_length;
    all_wrong[2] = 253;
    const struct {
        octets bytes;
        const char *priority;
        const char *line;
    } k_cases[] = {
        {message({5, 300, 0, 0}, {}, 254), "3", "version mismatch, marker 254, version 1"},
        {message({5, 300, 0, 0}, {}, 255, 2), "3", "version mismatch, marker 255, version 2"},
        {message({5, 300, 0, 0}, {}, 254, 2), "3", "version mismatch, marker 254, version 2"},
        {all_wrong, "3", "version mismatch, marker 253, version 1"}, // the length is looked at last
        {short_length, "4", "message length 8 is less than header size 9"},
    };
    for (const auto &c : k_cases) {
        const peer client(0);
        client.send(c.bytes);
        EXPECT_TRUE(client.is_closed());
        EXPECT_TRUE(logged(c.priority, c.line)) << c.line;
    }
}

TEST_F(IpcServer, AClientThatLeavesReleasesItsRequests) {
    peer client(5);
    std::thread leaver([&] {
        EXPECT_FALSE(client.receive_message().empty());
        client.close();
    });
    const auto start = steady::now();
    EXPECT_EQ(k_ipc_status_unanswered, request(5, 300));
    EXPECT_LT(steady::now() - start, std::chrono::seconds(5));
    leaver.join();
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
            EXPECT_EQ(one_way(row.route, command, row.size), destination.receive_message()) << command;
        }
    }
    const peer destination(1);
    source.send(one_way(1, 59, 124)); // no handler on route 1
    source.send(one_way(1, 258, 1));
    EXPECT_EQ(one_way(1, 258, 1), destination.receive_message());
}

TEST_F(IpcServer, RoutesOfBothServersAreReachedFromEither) {
    ASSERT_EQ(0, ipc_web_start());
    const peer management(1);
    const peer left(5); // serves its route again when the one that comes after it has gone
    left.send(one_way(1, 258, 1));
    EXPECT_EQ(one_way(1, 258, 1), management.receive_message());
    peer web(5, "/tmp/ipc_web_gui_addr");
    web.send(one_way(1, 258, 1));
    EXPECT_EQ(one_way(1, 258, 1), management.receive_message());
    management.send(one_way(5, 254, 44));
    EXPECT_EQ(one_way(5, 254, 44), web.receive_message());
    std::thread responder([&] {
        EXPECT_EQ(message({5, 300, 0, 3}, {}), web.receive_message());
        web.send(message(response_to(5, 300, 0), {}));
    });
    EXPECT_EQ(0, request(5, 300));
    responder.join();
    std::thread leaver([&] {
        EXPECT_FALSE(web.receive_message().empty());
        web.close();
    });
    EXPECT_EQ(k_ipc_status_unanswered, request(5, 300));
    leaver.join();
    send_one_way(5, 101, {});
    EXPECT_EQ(message({5, 101, 2, 0}, {}), left.receive_message());
}

TEST_F(IpcServer, MessagesThatWaitMoveToTheServerTheirClientComesTo) {
    ASSERT_EQ(0, ipc_web_start());
    const peer source(1);
    source.send(one_way(5, 254, 44));
    source.send(one_way(5, 255, 44));
    source.send(one_way(1, 258, 1));
    EXPECT_EQ(one_way(1, 258, 1), source.receive_message()); // the two before it wait by now
    const peer web(5, "/tmp/ipc_web_gui_addr");
    const std::vector<octets> moved = {web.receive_message(), web.receive_message()};
    EXPECT_TRUE(std::is_permutation(moved.begin(), moved.end(),
                                    std::vector{one_way(5, 254, 44), one_way(5, 255, 44)}.begin()));
}

TEST_F(IpcServer, AClientThatChangesItsRouteReleasesTheRequestsOfTheOldOne) {
    const peer client(5);
    std::thread changer([&] {
        EXPECT_FALSE(client.receive_message().empty());
        client.send(message({6, k_ipc_command_hello, k_ipc_kind_one_way, 0}, {6}));
    });
    EXPECT_EQ(k_ipc_status_unanswered, request(5, 300));
    changer.join();
}

std::atomic<uint32_t> s_value = 0; // of the last command 20

TEST_F(IpcServer, TheValueOfCommand20ReachesItsOwner) {
    ipc_get_settings().on_route2_value = [](uint32_t value) { s_value = value; }; // nobody is connected yet
    const peer client(1);
    octets payload(72, 0);
    payload[0] = 1;
    payload[3] = 2;
    client.send(message({2, 20, k_ipc_kind_one_way, 0}, octets(71, 9)));
    client.send(message({2, 20, k_ipc_kind_one_way, 0}, payload));
    client.send(one_way(1, 258, 1));
    EXPECT_FALSE(client.receive_message().empty()); // the relay: what was sent before has been taken
    EXPECT_EQ(0x01000002U, s_value);
}

TEST_F(IpcServer, ClientsOfRoutes1And2AreGreetedWhenThatIsSet) {
    ipc_get_settings().greet_clients = true; // nobody is connected yet who could see it change
    ipc_get_settings().route2_greeting = k_greeting;
    const peer first(1);
    EXPECT_EQ(message({1, 59, 2, 0}, {}), first.receive_message());
    const peer second(2);
    EXPECT_EQ(message({2, 59, 2, 0}, {0x12, 0x34, 0x56, 0x78}), second.receive_message());
    const peer third(4);
    send_one_way(4, 100, {1});
    EXPECT_EQ(message({4, 100, 2, 0}, {1}), third.receive_message()) << "and no greeting before it";
    ipc_get_settings().greet_clients = false; // its hello was the last
}

TEST_F(IpcServer, WithoutDescriptorsAPeerIsTurnedAwayAndTheNextOneServed) {
    const peer served(5);
    send_one_way(5, 100, {}); // its hello has been taken, so that no accept is under way
    EXPECT_FALSE(served.receive_message().empty());
    const peer refused; // not connected yet
    rlimit limit{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    const rlimit before = limit;
    limit.rlim_cur = 200;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    std::vector<int> all;
    for (int fd = 0; (fd = ::dup(0)) >= 0;) {
        all.push_back(fd);
    }
    refused.connect("/tmp/ipc_zop_serv_addr");
    EXPECT_TRUE(refused.is_closed());
    for (const int fd : all) {
        ::close(fd);
    }
    EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_TRUE(logged("4", "Can't accept proto_ipc socket: Too many open files"));
    const peer next(4);
    send_one_way(4, 100, {});
    EXPECT_FALSE(next.receive_message().empty());
}

TEST_F(IpcServer, HellosAreLoggedAndThoseOfNoRouteIgnored) {
    const peer client(3);
    const peer stranger(7);
    const peer empty(0);
    empty.send(message({6, k_ipc_command_hello, k_ipc_kind_one_way, 0}, {}));
    EXPECT_TRUE(logged("5", "says hello and bids fair to configure tatacs protocol."));
    EXPECT_TRUE(logged("6", "Protocol IPC mechanism received unknown proto 7 and/or command 325"));
    EXPECT_TRUE(logged("5", "says hello with non exist protocol id \"0\"."));
}

octets large(size_t number) { return octets(60000, static_cast<uint8_t>(number)); }
constexpr size_t k_large_size = k_ipc_header_size + 60000;

TEST_F(IpcServer, AClientThatDoesNotReadLosesNothingUntilItIsClosedForIt) {
    ASSERT_EQ(8U << 20, ipc_get_settings().client_queue_bytes);
    constexpr size_t k_kept = (8U << 20) / k_large_size; // whatever its socket takes of them
    const peer client(5);
    for (size_t i = 0; i < k_kept; i++) {
        send_one_way(5, 100, large(i));
    }
    for (size_t i = 0; i < k_kept; i++) {
        ASSERT_EQ(message({5, 100, k_ipc_kind_one_way, 0}, large(i)), client.receive_message());
    }
    std::atomic<bool> given_up = false;
    std::thread requester([&] {
        EXPECT_EQ(k_ipc_status_unanswered, request(5, 300));
        given_up = true;
    });
    EXPECT_FALSE(client.receive_message().empty()); // and no answer to it
    for (size_t i = 0; i < 2 * k_kept && !given_up; i++) {
        send_one_way(5, 100, large(i));
    }
    requester.join();
    EXPECT_TRUE(logged("4", "more than 8388608 bytes wait to be read"));
}

TEST_F(IpcServer, WhenTooMuchWaitsForAllTheOneWithTheMostIsClosed) {
    ipc_get_settings().all_queues_bytes = 2U << 20; // nobody is connected yet
    const peer hog(5);
    const peer other(4);
    constexpr size_t k_few = 20;
    constexpr size_t k_most = (2U << 20) / k_large_size;
    for (size_t i = 0; i < k_most; i++) {
        send_one_way(5, 100, large(i));
    }
    for (size_t i = 0; i < k_few; i++) {
        send_one_way(4, 100, large(i));
    }
    EXPECT_TRUE(logged("4", "more than 2097152 bytes wait to be read"));
    for (size_t i = 0; i < k_few; i++) {
        ASSERT_EQ(message({4, 100, k_ipc_kind_one_way, 0}, large(i)), other.receive_message());
    }
    size_t received = 0;
    while (!hog.receive_message().empty()) {
        received++;
    }
    EXPECT_LT(received, k_most);
    // What waited for it is counted no more: as much may wait for the next one.
    const peer next(5);
    for (size_t i = 0; i < k_most; i++) {
        send_one_way(5, 100, large(i));
    }
    for (size_t i = 0; i < k_most; i++) {
        ASSERT_EQ(message({5, 100, k_ipc_kind_one_way, 0}, large(i)), next.receive_message());
    }
}

TEST_F(IpcServer, OneClientTooManyIsTurnedAway) {
    const peer served(5);
    std::deque<peer> others;
    while (others.size() < 63) {
        others.emplace_back(uint8_t{0});
    }
    const peer refused(0);
    EXPECT_TRUE(refused.is_closed());
    EXPECT_TRUE(logged("4", "Can't serve proto_ipc socket: there are 64 clients"));
    others.pop_back();
    served.send(one_way(5, 254, 44)); // when this comes back for the second time, that has been noticed
    EXPECT_EQ(one_way(5, 254, 44), served.receive_message());
    served.send(one_way(5, 254, 44));
    EXPECT_EQ(one_way(5, 254, 44), served.receive_message());
    const peer next(4);
    send_one_way(4, 100, {});
    EXPECT_FALSE(next.receive_message().empty());
}

#if defined(__has_feature)
#define ZOP_SANITIZED (__has_feature(thread_sanitizer) || __has_feature(address_sanitizer))
#else
#define ZOP_SANITIZED 0
#endif

/// One protocol daemon after the other on a route: answers a few requests, right or wrong, sends on its own,
/// and leaves, perhaps in the middle of a message.
void come_and_go(uint8_t seed, const std::atomic<bool> &stop) {
    std::minstd_rand random(seed + 1U);
    const auto route = static_cast<uint8_t>(1 + seed % 6);
    while (!stop) {
        const peer client(route);
        const octets relayed = one_way(1, 258, 1);
        for (uint32_t left = random() % 8; left > 0 && !stop; left--) {
            client.send_quietly(relayed);
            const octets asked = client.receive_available();
            if (asked.size() < k_ipc_header_size) {
                continue;
            }
            const ipc_header answer =
                response_to(route, get_be16(&asked[5]), static_cast<int32_t>(random() % 2));
            octets bytes = message(answer, octets(random() % 100, 1));
            bytes.resize(bytes.size() - (random() % 16 == 0 ? 1 : 0)); // cut, or whole
            client.send_quietly(bytes);
        }
    }
}

TEST_F(IpcServer, ManyClientsComeAndGoUnderLoad) {
    std::atomic<bool> stop = false;
    std::atomic<uint32_t> answered = 0;
    std::vector<std::thread> threads;
    for (uint8_t i = 0; i < 32; i++) { // each is a client, and perhaps one more that is about to go
        threads.emplace_back(come_and_go, i, std::ref(stop));
    }
    std::vector<std::thread> senders;
    for (uint16_t i = 0; i < 8; i++) {
        senders.emplace_back([&, i] {
            octets reply(50);
            for (uint16_t turn = 0; !stop; turn++) {
                const auto route = static_cast<uint8_t>(1 + (i + turn) % 6);
                const auto command = static_cast<uint16_t>(300 + i / 2); // two share each command
                answered += request(route, command, {1, 2, 3}, reply) == 0 ? 1 : 0;
                send_one_way(route, 100, {4});
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::seconds(ZOP_SANITIZED ? 10 : 1));
    stop = true;
    for (std::thread &thread : threads) {
        thread.join(); // their going releases the senders
    }
    for (std::thread &sender : senders) {
        sender.join();
    }
    EXPECT_GT(answered, 0U);
    const peer client(6);
    std::thread responder([&] {
        EXPECT_FALSE(client.receive_message().empty());
        client.send(message(response_to(6, 300, 0), {}));
    });
    EXPECT_EQ(0, request(6, 300)) << "the server serves as ever";
    responder.join();
}
