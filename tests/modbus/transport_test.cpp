#include "lib/base/result.h"
#include "modbus/mb.h"
#include "modbus/mbcounters.h"
#include "modbus/porttcp.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_scenario.h"
#include "tests/support/slave_process.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <new>
#include <numeric>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

/// What the transport's calls have shown, over all processes of a test.
struct observed {
    std::atomic<int> forks;
    std::atomic<int> ends; // of children, in all
    std::atomic<int> exits_0;
    std::atomic<int> aborts;
    std::atomic<int> pauses;              // of the process that has no further child, of 10 ms
    std::atomic<int> short_waits;         // of the same, of 100 us
    std::atomic<int> rounds;              // of the listener
    std::atomic<int64_t> listener_wait_s; // that select was asked for last
    std::atomic<int> undelayed;           // sockets that send without delay
    std::atomic<int64_t> receive_limit_s;
    std::atomic<int64_t> longest_room_ms; // that poll was asked to wait for room
    std::atomic<int> shorter_waits;       // for room, than that
    std::atomic<int> wrong;               // bytes of a reply
    std::atomic<bool> sent;               // by the test's client
};

observed &shared() {
    static auto *s_shared = static_cast<observed *>(
        ::mmap(nullptr, sizeof(observed), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return *s_shared;
}

std::function<void()> s_before_fork; // called once, where the slave forks next
bool s_is_listener = false;          // in the slave, whose own pauses do not count
bool s_reuse_is_refused = false;     // SO_REUSEADDR cannot be set

constexpr int64_t k_time_factor = 100;      // the transport's seconds pass this much faster
constexpr int64_t k_client_patience_s = 10; // the test client's receive time-out, which stays as it is

timeval faster(const timeval &time) {
    const int64_t us = (int64_t{time.tv_sec} * 1000000 + time.tv_usec) / k_time_factor;
    return {us / 1000000, static_cast<suseconds_t>(us % 1000000)};
}

} // namespace

#ifdef __arm__
#define SELECT        "__select64"
#define SETSOCKOPT    "__setsockopt64"
#define CLOCK_GETTIME "__clock_gettime64"
#else
#define SELECT        "select"
#define SETSOCKOPT    "setsockopt"
#define CLOCK_GETTIME "clock_gettime"
#endif

extern "C" {

int real_select(int, fd_set *, fd_set *, fd_set *, timeval *) asm("__real_" SELECT);
int wrap_select(int, fd_set *, fd_set *, fd_set *, timeval *) asm("__wrap_" SELECT);
int wrap_select(int count, fd_set *read, fd_set *write, fd_set *except, timeval *limit) {
    shared().rounds++;
    shared().listener_wait_s = limit->tv_sec;
    *limit = faster(*limit);
    return real_select(count, read, write, except, limit);
}

int __real_poll(pollfd *, nfds_t, int);
int __wrap_poll(pollfd *waiting, nfds_t count, int limit_ms) {
    if (limit_ms >= shared().longest_room_ms) {
        shared().longest_room_ms = limit_ms;
    } else {
        shared().shorter_waits++;
    }
    return __real_poll(waiting, count, static_cast<int>(limit_ms / k_time_factor));
}

int real_clock_gettime(clockid_t, timespec *) asm("__real_" CLOCK_GETTIME);
int wrap_clock_gettime(clockid_t, timespec *) asm("__wrap_" CLOCK_GETTIME);
int wrap_clock_gettime(clockid_t clock, timespec *time) {
    const int result = real_clock_gettime(clock, time);
    const int64_t ns = int64_t{time->tv_nsec} * k_time_factor;
    time->tv_sec = time->tv_sec * k_time_factor + static_cast<time_t>(ns / 1000000000);
    time->tv_nsec = static_cast<decltype(time->tv_nsec)>(ns % 1000000000);
    return result;
}

int real_setsockopt(int, int, int, const void *, socklen_t) asm("__real_" SETSOCKOPT);
int wrap_setsockopt(int, int, int, const void *, socklen_t) asm("__wrap_" SETSOCKOPT);
int wrap_setsockopt(int fd, int level, int name, const void *value, socklen_t size) {
    if (name == SO_REUSEADDR && s_reuse_is_refused) {
        errno = ENOMEM;
        return -1;
    }
    if (level == IPPROTO_TCP && name == TCP_NODELAY) {
        shared().undelayed += *static_cast<const int *>(value);
    }
    const auto *limit = static_cast<const timeval *>(value);
    if (level != SOL_SOCKET || name != SO_RCVTIMEO || limit->tv_sec <= k_client_patience_s) {
        return real_setsockopt(fd, level, name, value, size);
    }
    shared().receive_limit_s = limit->tv_sec;
    const timeval scaled = faster(*limit);
    return real_setsockopt(fd, level, name, &scaled, sizeof scaled);
}

pid_t __real_fork();
pid_t __wrap_fork() {
    if (s_before_fork) {
        std::exchange(s_before_fork, {})();
    }
    shared().forks++;
    const pid_t pid = __real_fork();
    s_is_listener = pid == 0 ? !s_is_listener : s_is_listener;
    return pid;
}

int __real_usleep(useconds_t);
int __wrap_usleep(useconds_t us) {
    if (!s_is_listener) {
        shared().pauses += us == 10000 ? 1 : 0;
        shared().short_waits += us == 100 ? 1 : 0;
    }
    return __real_usleep(us);
}

pid_t __real_waitpid(pid_t pid, int *status, int options);
pid_t __wrap_waitpid(pid_t pid, int *status, int options) {
    const pid_t result = __real_waitpid(pid, status, options);
    if (pid == -1 && result > 0) { // the listener's, not the test's
        shared().exits_0 += WIFEXITED(*status) && WEXITSTATUS(*status) == 0 ? 1 : 0;
        shared().aborts += WIFSIGNALED(*status) && WTERMSIG(*status) == SIGABRT ? 1 : 0;
        shared().ends++;
    }
    return result;
}

} // extern "C"

namespace {

const octets k_read_2000 = {0x03, 0x07, 0xCF, 0x00, 0x01};
const octets k_zero = {0x03, 0x02, 0x00, 0x00};

class Transport : public testing::Test {
protected:
    Transport() {
        ::new (&shared()) observed();
        EXPECT_TRUE(mb_counters_share());
    }
    /// Whether `count` children have ended with exit(0) and none otherwise.
    static bool ended_cleanly(int count) {
        return eventually([&] { return shared().ends >= count; }) && shared().ends == count &&
               shared().exits_0 == count;
    }
    /// Whether the connections that have ended are `count`, and all have ended like that.
    static bool counted_ends(mb_end how, uint64_t count) {
        const auto ended = [](mb_end by) {
            return shared_count_get(mb_counters().ended[static_cast<size_t>(by)]);
        };
        uint64_t all = 0;
        for (uint32_t i = 0; i < static_cast<uint32_t>(mb_end::count); i++) {
            all += ended(static_cast<mb_end>(i));
        }
        return all == count && ended(how) == count;
    }
};

octets header(uint16_t length) {
    return {0, 7, 0, 0, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), 17};
}

} // namespace

TEST_F(Transport, PausesForTheRestOfASplitRequestOnly) {
    const slave_process slave;
    modbus_client client(slave.port());
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(k_zero, client.exchange(k_read_2000));
    }
    EXPECT_EQ(0, shared().pauses);

    const octets adu = make_adu(0x0102, k_read_2000);
    for (size_t i = 0; i < adu.size(); i++) {
        const int before = shared().pauses;
        ASSERT_TRUE(client.send({adu[i]}));
        const bool pauses = i + 1 < adu.size() && i + 1 != 7; // the rest comes at once behind a header alone
        EXPECT_TRUE(!pauses || eventually([&] { return shared().pauses > before; })) << i;
    }
    EXPECT_EQ(make_adu(0x0102, k_zero), client.receive(make_adu(0, k_zero).size()));
    EXPECT_EQ(10, shared().pauses);
}

TEST_F(Transport, AStoppedChildGoesOnWhereItWas) {
    const slave_process slave;
    modbus_client client(slave.port());
    for (int i = 0; i < 20; i++) {
        ASSERT_EQ(k_zero, client.exchange(k_read_2000)); // then it waits for the next one, and is interrupted
        ::kill(-slave.pid(), SIGSTOP);
        int status = 0;
        ASSERT_EQ(slave.pid(), ::waitpid(slave.pid(), &status, WUNTRACED));
        ::kill(-slave.pid(), SIGCONT);
    }
}

TEST_F(Transport, ARefusedOptionEndsTheProcess) {
    s_reuse_is_refused = true;
    EXPECT_EXIT(ignore_result(tcp_port_init(1)), testing::ExitedWithCode(1),
                "tcp_port_init: can't listen on TCP port 1! SO_REUSEADDR: Cannot allocate memory");
    s_reuse_is_refused = false;
}

TEST_F(Transport, ASendIsTriedElevenTimes) {
    EXPECT_FALSE(tcp_port_send_response(k_zero.data(), 1)); // there is no client
    EXPECT_EQ(10, shared().short_waits);
}

TEST_F(Transport, AnswersPipelinedRequestsInOrder) {
    const slave_process slave;
    modbus_client client(slave.port());
    // Short of its values, which are then what the buffer held: zeros, not the request that came with it.
    octets requests = make_adu(0, {0x10, 0x07, 0xCF, 0x00, 1, 2});
    octets expected = make_adu(0, {0x10, 0x07, 0xCF, 0x00, 1});
    for (uint16_t i = 1; i <= 50; i++) { // more than fit in a buffer
        const octets request = make_adu(i, i % 10 == 0 ? octets{0x2B, 0x0E} : k_read_2000);
        const octets reply = make_adu(i, i % 10 == 0 ? octets{0xAB, 0x01} : k_zero);
        requests.insert(requests.end(), request.begin(), request.end());
        expected.insert(expected.end(), reply.begin(), reply.end());
    }
    ASSERT_TRUE(client.send(requests));
    EXPECT_EQ(expected, client.receive(expected.size()));
}

TEST_F(Transport, AnotherProtocolGetsNoReplyAndTheNextRequestDoes) {
    const slave_process slave;
    modbus_client client(slave.port());
    octets wrong = make_adu(1, k_read_2000);
    wrong[3] = 1;
    ASSERT_TRUE(client.send(wrong));
    wrong[3] = 0;
    wrong[2] = 1;
    ASSERT_TRUE(client.send(wrong));
    EXPECT_EQ(k_zero, client.exchange(k_read_2000));
}

TEST_F(Transport, LengthOneIsAnEmptyPduWhoseFunctionIsWhatTheBufferHolds) {
    const slave_process slave;
    modbus_client client(slave.port());
    ASSERT_TRUE(client.send(header(1)));
    EXPECT_EQ((octets{0, 7, 0, 0, 0, 3, 17, 0x80, 0x01}),
              client.receive(9)); // a fresh buffer: function code 0
    ASSERT_EQ((octets{0x11}), client.exchange({0x11}));
    ASSERT_TRUE(client.send(header(1)));
    EXPECT_EQ((octets{0, 7, 0, 0, 0, 2, 17, 0x11}), client.receive(8));
}

TEST_F(Transport, TheLongestAduIsServedAndALongerOneEndsTheConnection) {
    const slave_process slave;
    modbus_client client(slave.port());
    octets pdu(256, 0xEE);
    const octets write = {0x10, 0x07, 0xCF, 0x00, 120, 240};
    std::copy(write.begin(), write.end(), pdu.begin());
    EXPECT_EQ((octets{0x10, 0x07, 0xCF, 0x00, 120}), client.exchange(pdu));
    EXPECT_EQ(0xEEEE, client.read(3, 2119, 1).at(0));

    for (const uint16_t length : std::initializer_list<uint16_t>{258, 65535}) {
        modbus_client other(slave.port());
        EXPECT_EQ(0, other.read(3, 2119, 1).at(0)); // registers are their connection's own
        ASSERT_TRUE(other.send(header(length)));
        EXPECT_TRUE(other.is_closed_by_peer()) << length;
    }
    EXPECT_TRUE(ended_cleanly(2));
    EXPECT_TRUE(eventually([] { return counted_ends(mb_end::bad_frame, 2); }));
}

TEST_F(Transport, LengthZeroAbortsThatChildAlone) {
    slave_process slave;
    modbus_client bystander(slave.port());
    ASSERT_EQ(k_zero, bystander.exchange(k_read_2000));
    modbus_client client(slave.port());
    ASSERT_TRUE(client.send(header(0)));
    EXPECT_TRUE(client.is_closed_by_peer());
    EXPECT_EQ("porttcp:501: child_process: Assertion `usTCPBufPos <= (6 + usLength)' failed.",
              slave.read_error_line());
    EXPECT_TRUE(eventually([] { return shared().aborts == 1; }));
    EXPECT_TRUE(eventually([] { return counted_ends(mb_end::bad_frame, 1); })) << "the client's fault";
    EXPECT_EQ(k_zero, bystander.exchange(k_read_2000));
}

#ifndef __arm__ // run by qemu, which says of an abort on standard error too, and waits
TEST_F(Transport, AnAbortDoesNotWaitForItsMessageToBeRead) {
    const slave_process slave([] {
        ::fcntl(STDERR_FILENO, F_SETFL, O_NONBLOCK);
        while (::write(STDERR_FILENO, "", 1) == 1) {
        }
        ::fcntl(STDERR_FILENO, F_SETFL, 0);
    });
    modbus_client client(slave.port());
    ASSERT_TRUE(client.send(header(0)));
    EXPECT_TRUE(client.is_closed_by_peer()) << "or the place is lost";
}
#endif

TEST_F(Transport, TenClientsAreServedTheEleventhIsClosedUntilOneLeaves) {
    const slave_process slave;
    std::vector<std::unique_ptr<modbus_client>> clients;
    for (int i = 0; i < 10; i++) {
        clients.push_back(std::make_unique<modbus_client>(slave.port()));
        ASSERT_EQ(k_zero, clients.back()->exchange(k_read_2000)) << i;
    }
    for (int i = 0; i < 3; i++) {
        modbus_client refused(slave.port());
        EXPECT_TRUE(refused.is_closed_by_peer());
    }
    EXPECT_EQ(k_zero, clients.front()->exchange(k_read_2000));
    clients.pop_back();
    EXPECT_TRUE(ended_cleanly(1)); // reaped without a new client coming
    EXPECT_TRUE(eventually([] { return counted_ends(mb_end::peer, 1); }));
    EXPECT_EQ(3U, shared_count_get(mb_counters().refused));
    EXPECT_EQ(10U, shared_count_get(mb_counters().accepted));
    EXPECT_EQ(9U, shared_count_get(mb_counters().open));
    modbus_client next(slave.port());
    EXPECT_EQ(k_zero, next.exchange(k_read_2000));
}

TEST_F(Transport, ASecondPollThreadHarmsNoClientThatIsBeingAccepted) {
    const slave_process slave([] {
        s_before_fork = [] {
            eventually([] { return shared().sent.load(); });
            std::thread([] {
                EXPECT_EQ(k_mb_illegal_state, mb_enable());
                EXPECT_EQ(k_mb_ok, mb_disable());
            }).join();
        };
    });
    modbus_client client(slave.port());
    ASSERT_TRUE(client.send(make_adu(1, k_read_2000)));
    shared().sent = true;
    EXPECT_EQ(make_adu(1, k_zero), client.receive(make_adu(1, k_zero).size()));
    EXPECT_EQ(k_zero, client.exchange(k_read_2000));
}

TEST_F(Transport, SilenceEndsAChild) {
    const slave_process slave;
    modbus_client never(slave.port()); // never sends a byte
    modbus_client stops(slave.port()); // stops within an ADU
    ASSERT_TRUE(stops.send({0, 1, 0, 0, 0}));
    modbus_client idle(slave.port()); // goes quiet after a request
    ASSERT_EQ(k_zero, idle.exchange(k_read_2000));
    EXPECT_TRUE(never.is_closed_by_peer());
    EXPECT_TRUE(stops.is_closed_by_peer());
    EXPECT_TRUE(idle.is_closed_by_peer());
    EXPECT_TRUE(ended_cleanly(3));
    EXPECT_TRUE(eventually([] { return counted_ends(mb_end::silence, 3); }));
    EXPECT_EQ(300, shared().receive_limit_s);
    EXPECT_EQ(5, shared().listener_wait_s) << "in which it reaps";
    EXPECT_EQ(3, shared().undelayed);
}

TEST_F(Transport, AReplyThatIsTakenInPartsHasOneTimeLimit) {
    in_fresh_process([] {
        const int listener = ::dup(STDIN_FILENO); // the number that the listening socket gets
        ::close(listener);
        const uint16_t port = free_port();
        ASSERT_TRUE(tcp_port_init(port));
        const int little = 4096; // a reply does not fit into the two buffers: it is taken in parts
        ASSERT_EQ(0, ::setsockopt(listener, SOL_SOCKET, SO_SNDBUF, &little, sizeof little));
        modbus_client client(port);
        ASSERT_EQ(0, ::setsockopt(client.fd(), SOL_SOCKET, SO_RCVBUF, &little, sizeof little));
        ASSERT_TRUE(tcp_port_accept());
        octets reply(UINT16_MAX);
        std::iota(reply.begin(), reply.end(), uint8_t{0});
        std::thread([&] {
            size_t taken = 0;
            for (; shared().shorter_waits < 3 || taken < reply.size() / 2; taken++) {
                shared().wrong += client.receive(1) == octets{reply[taken % reply.size()]} ? 0 : 1;
            }
        }).detach();
        while (tcp_port_send_response(reply.data(), UINT16_MAX)) { // ends the process when its time is over
        }
        FAIL();
    });
    EXPECT_EQ(0, shared().wrong);
    EXPECT_EQ(300000, shared().longest_room_ms);
    EXPECT_GE(shared().shorter_waits, 3) << "what is left of the time";
}

TEST_F(Transport, ClosingItReleasesTheClient) {
    in_fresh_process([] {
        const uint16_t port = free_port();
        ASSERT_TRUE(tcp_port_init(port));
        modbus_client client(port);
        ASSERT_TRUE(tcp_port_accept());
        EXPECT_FALSE(tcp_port_accept());     // one is held
        ASSERT_TRUE(client.send(header(1))); // to be drained, or the release waits for it
        tcp_port_close();
        EXPECT_TRUE(client.is_closed_by_peer());
    });
}

TEST_F(Transport, AFailedAcceptForksNothing) {
    const slave_process slave([] {
        const rlimit none = {3, 64}; // only the standard descriptors
        ::setrlimit(RLIMIT_NOFILE, &none);
    });
    const modbus_client client(slave.port());
    const int before = shared().rounds;
    EXPECT_TRUE(eventually([&] { return shared().rounds >= before + 3; }));
    const rlimit enough = {64, 64};
    ASSERT_EQ(0, ::prlimit(slave.pid(), RLIMIT_NOFILE, &enough, nullptr));
    modbus_client next(slave.port());
    EXPECT_EQ(k_zero, next.exchange(k_read_2000));
    EXPECT_EQ(3, shared().forks) << "the slave's own, and one for each client";
}

TEST_F(Transport, ADescriptorThatSelectCannotWatchIsClosed) {
    in_fresh_process([] {
        const uint16_t port = free_port();
        ASSERT_TRUE(tcp_port_init(port));
        const rlimit limit = {FD_SETSIZE + 16, FD_SETSIZE + 16};
        ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
        const modbus_client low(port);
        while (::dup(STDOUT_FILENO) < FD_SETSIZE - 1) {
        }
        modbus_client high(port);
        EXPECT_FALSE(tcp_port_accept()); // `low`, whose descriptor here would be 1025
        EXPECT_FALSE(tcp_port_accept());
        EXPECT_TRUE(high.is_closed_by_peer());
    });
}
