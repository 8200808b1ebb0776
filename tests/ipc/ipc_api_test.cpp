// The management server and its clients, in one process: the tests are the clients, over raw sockets.

#include "lib/ipc/ipc_api.h"

#include "lib/base/bytes.h"
#include "lib/ipc/ipc_privs.h"
#include "tests/support/private_mounts.h"
#include "tests/support/syslog_capture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <poll.h>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using octets = std::vector<uint8_t>;
using steady = std::chrono::steady_clock;

constexpr uint32_t k_greeting = 0x12345678;

octets message(const ipc_header &header, const octets &payload, uint8_t marker = 255, uint8_t version = 1) {
    octets bytes(k_ipc_header_size);
    put_be16(&bytes[0], static_cast<uint16_t>(k_ipc_header_size + payload.size()));
    bytes[2] = marker;
    bytes[3] = version;
    bytes[4] = header.route;
    put_be16(&bytes[5], header.command);
    bytes[7] = header.kind;
    bytes[8] = static_cast<uint8_t>(header.status);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

/// A protocol daemon, as the server sees it.
class peer {
public:
    /// Connects and says hello for `route`; 0 says nothing.
    explicit peer(uint8_t route, const char *path = "/tmp/ipc_zop_serv_addr") {
        const timeval patience = {10, 0};
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        connect(path);
        if (route != 0) {
            send(message({route, k_ipc_command_hello, k_ipc_kind_one_way, 0}, {route}));
            // Its own message through the relay, or an answered request, comes after the hello: messages of
            // one client are taken in order. Senders wait 150 ms for a client, so no more needs waiting for.
        }
    }
    peer() = default;
    ~peer() { close(); }
    peer(const peer &) = delete;
    peer &operator=(const peer &) = delete;

    void connect(const char *path) const {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::copy_n(path, std::strlen(path), address.sun_path);
        EXPECT_EQ(0, ::connect(m_fd, reinterpret_cast<const sockaddr *>(&address), sizeof address));
    }
    void close() {
        ::close(m_fd);
        m_fd = -1;
    }
    void send(const octets &bytes) const {
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()), ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    /// The server may have turned this peer away.
    void send_quietly(const octets &bytes) const {
        EXPECT_LE(::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    /// What has arrived, or arrives within 5 ms.
    [[nodiscard]] octets receive_available() const {
        pollfd readable = {m_fd, POLLIN, 0};
        octets bytes(4096);
        const ssize_t got =
            ::poll(&readable, 1, 5) == 1 ? ::recv(m_fd, bytes.data(), bytes.size(), MSG_DONTWAIT) : 0;
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }
    [[nodiscard]] octets receive(size_t size) const {
        octets bytes(size);
        const ssize_t got = size == 0 ? 0 : ::recv(m_fd, bytes.data(), size, MSG_WAITALL);
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }
    /// One whole message; empty at the end of the connection.
    [[nodiscard]] octets receive_message() const {
        octets bytes = receive(k_ipc_header_size);
        if (bytes.size() == k_ipc_header_size) {
            const octets rest = receive(static_cast<size_t>(get_be16(&bytes[0]) - k_ipc_header_size));
            bytes.insert(bytes.end(), rest.begin(), rest.end());
        }
        return bytes;
    }

    /// Whether the server has closed the connection, or does within 10 s.
    [[nodiscard]] bool is_closed() const {
        uint8_t byte = 0;
        return ::recv(m_fd, &byte, 1, 0) == 0;
    }

private:
    int m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

class ipc_server_test : public testing::Test {
protected:
    ipc_server_test() {
        if (!with_empty_directories({"/tmp"})) {
            std::abort();
        }
        EXPECT_EQ(0, ipc_serv_start());
    }
};

/// Whether a line with this priority and part of a text is logged, within 10 s.
bool logged(const std::string &priority, const std::string &part) {
    static auto *s_seen = new std::vector<std::string>;
    const auto deadline = steady::now() + std::chrono::seconds(10);
    while (steady::now() < deadline) {
        for (std::string &text : syslog_take_texts()) {
            s_seen->push_back(std::move(text));
        }
        const bool found = std::any_of(s_seen->begin(), s_seen->end(), [&](const std::string &text) {
            return text.starts_with(priority) && text.find(part) != std::string::npos;
        });
        if (found) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

int32_t request(uint8_t route, uint16_t command, const octets &payload, octets &reply) {
    ipc_header header = {route, command, k_ipc_kind_request, k_ipc_status_unanswered};
    protoipc_send_request(&header, payload.data(), static_cast<int32_t>(payload.size()), reply.data(),
                          static_cast<int32_t>(reply.size()));
    return header.status;
}

int32_t request(uint8_t route, uint16_t command) {
    octets none;
    return request(route, command, {}, none);
}

void send_one_way(uint8_t route, uint16_t command, const octets &payload) {
    ipc_header header = {route, command, k_ipc_kind_one_way, 0};
    protoipc_send_request(&header, payload.data(), static_cast<int32_t>(payload.size()), nullptr, 0);
}

ipc_header response_to(uint8_t route, uint16_t command, int32_t status) {
    return {route, command, k_ipc_kind_response, status};
}

} // namespace

using IpcServer = ipc_server_test;

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

TEST_F(IpcServer, AClientThatComesInTimeGetsTheDeferredRequest) {
    int32_t status = -1;
    std::thread sender([&] { status = request(5, 300); });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const peer client(5);
    EXPECT_EQ(message({5, 300, 0, 3}, {}), client.receive_message());
    client.send(message(response_to(5, 300, 0), {}));
    sender.join();
    EXPECT_EQ(0, status);
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

octets one_way(uint8_t route, uint16_t command, size_t size) {
    return message({route, command, k_ipc_kind_one_way, 0}, octets(size, 0x5A));
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
    std::thread second([] {
        octets none;
        EXPECT_EQ(0, request(5, 300, {2}, none));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const peer client(5);
    EXPECT_EQ(message({5, 300, 0, 3}, {2}), client.receive_message());
    client.send(message(response_to(5, 300, 0), {}));
    second.join();
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

TEST_F(IpcServer, AClientThatDoesNotReadLosesNothing) {
    const peer client(5);
    constexpr size_t k_messages = 60;
    for (size_t i = 0; i < k_messages; i++) {
        send_one_way(5, 100, octets(60000, static_cast<uint8_t>(i)));
    }
    for (size_t i = 0; i < k_messages; i++) {
        ASSERT_EQ(message({5, 100, k_ipc_kind_one_way, 0}, octets(60000, static_cast<uint8_t>(i))),
                  client.receive_message());
    }
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
    for (uint8_t i = 0; i < 64; i++) {
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

TEST(IpcStart, AFailedStartIsNotTriedAgain) {
    ASSERT_TRUE(with_empty_directories({"/tmp"}));
    ASSERT_TRUE(std::filesystem::create_directory("/tmp/ipc_web_gui_addr"));
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
