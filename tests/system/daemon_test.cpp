// The daemon as it is, on a simulated switch, over real sockets.

#include "tests/support/daemon_on_switch.h"
#include "tests/support/eventually.h"
#include "tests/support/modbus_client.h"
#include "tests/support/private_scenario.h"

#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using values = std::vector<uint16_t>;
using Daemon = own_var_tmp;

const values k_device_type = {0xD8ED};

octets with_size(octets pdu, size_t size) {
    pdu.resize(size);
    return pdu;
}

} // namespace

TEST_F(Daemon, EveryFunctionKeepsItsLimits) {
    const daemon_on_switch daemon;
    modbus_client client(daemon.port());
    octets absent_ports(2 + 248, 0xFF);
    absent_ports[0] = 0x04;
    absent_ports[1] = 248;
    const struct {
        octets request;
        octets reply;
    } k_cases[] = {
        {{0x01, 0, 0, 1999 >> 8, 1999 & 0xFF}, {0x81, 2}},
        {{0x01, 0, 0, 2000 >> 8, 2000 & 0xFF}, {0x81, 3}},
        {{0x01, 0, 0, 0, 0}, {0x81, 3}},
        {{0x01, 0, 0, 0, 1, 0}, {0x81, 3}},
        {{0x02, 0, 0, 1999 >> 8, 1999 & 0xFF}, {0x82, 2}},
        {{0x02, 0, 0, 2000 >> 8, 2000 & 0xFF}, {0x82, 3}},
        {{0x02, 0, 0, 0}, {0x82, 3}},
        {{0x03, 0x07, 0xCF, 0, 125}, with_size({0x03, 250}, 252)},
        {{0x03, 0x07, 0xCF, 0, 126}, {0x83, 3}},
        {{0x03, 0x07, 0xCF, 1, 2}, {0x03, 4, 0, 0, 0, 0}}, // the count is the low byte alone
        {{0x03, 0x07, 0xCF, 1, 0}, {0x83, 3}},
        {{0x03, 0x07, 0xCF, 0, 1, 0}, {0x83, 3}},
        {{0x03, 0x07, 0xCF, 0}, {0x83, 3}},
        {{0x03, 0x07, 0xCE, 0, 1}, {0x83, 2}},
        {{0x03, 0xFF, 0xFF, 0, 1}, {0x83, 2}},
        {{0x04, 0x03, 0xE8, 0, 1}, {0x04, 2, 0xD8, 0xED}},
        {{0x04, 0x05, 0x2B, 0, 124}, absent_ports},
        {{0x04, 0x03, 0xE8, 0, 125}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 0, 1, 0}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 0}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 1, 1}, {0x84, 3}},
        {{0x04, 0x03, 0xE8, 0, 0}, {0x84, 3}},
        {{0x04, 0x03, 0xE7, 0, 1}, {0x84, 2}},
        {{0x05, 0, 0, 0xFF, 0x00}, {0x85, 2}},
        {{0x05, 0, 0, 0x00, 0x00}, {0x85, 2}},
        {{0x05, 0, 0, 0x00, 0xFF}, {0x85, 3}},
        {{0x05, 0, 0, 0x12, 0x00}, {0x85, 3}},
        {{0x05, 0, 0, 0xFF}, {0x85, 3}},
        {{0x05, 0, 0, 0xFF, 0x00, 0}, {0x85, 3}},
        {{0x06, 0x08, 0x50, 0xAB, 0xCD}, {0x06, 0x08, 0x50, 0xAB, 0xCD}}, // 2129, the last one
        {{0x06, 0x08, 0x51, 0xAB, 0xCD}, {0x86, 2}},
        {{0x06, 0x08, 0x50, 0xAB}, {0x86, 3}},
        {{0x06, 0x08, 0x50, 0xAB, 0xCD, 0}, {0x86, 3}},
        {{0x0F, 0, 0, 1968 >> 8, 1968 & 0xFF, 246}, {0x8F, 2}},
        {{0x0F, 0, 0, 1969 >> 8, 1969 & 0xFF, 247}, {0x8F, 3}},
        {{0x0F, 0, 0, 0, 9, 1, 0xFF}, {0x8F, 3}},
        {{0x0F, 0, 0, 0, 9, 2, 0xFF, 0xFF}, {0x8F, 2}},
        {{0x0F, 0, 0, 0, 9}, {0x8F, 3}},
        {{0x0F, 0, 0, 0, 0, 0}, {0x8F, 3}},
        {{0x10, 0x07, 0xCF, 0, 2, 4, 1, 2, 3, 4}, {0x10, 0x07, 0xCF, 0, 2}},
        {{0x10, 0x07, 0xCF, 0, 2, 5, 1, 2, 3, 4, 5}, {0x90, 3}},
        {with_size({0x10, 0x07, 0xCF, 0, 120, 240}, 246), {0x10, 0x07, 0xCF, 0, 120}},
        {with_size({0x10, 0x07, 0xCF, 0, 121, 242}, 248), {0x90, 3}},
        {{0x10, 0x07, 0xCF, 0, 0, 0}, {0x90, 3}},
        {{0x10, 0x07, 0xCF, 0, 1}, {0x90, 3}},
        {{0x10, 0x07, 0xCF, 0, 1, 2}, {0x10, 0x07, 0xCF, 0, 1}}, // the values are what the buffer held
        {{0x10, 0x08, 0x50, 0, 2, 4, 1, 2, 3, 4}, {0x90, 2}},
        {{0x11}, {0x11}},
        {{0x17, 0x07, 0xCF, 0, 2, 0x07, 0xD0, 0, 1, 2, 0xBE, 0xEF},
         {0x17, 4, 0, 0, 0xBE, 0xEF}}, // write, then read
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1},
         {0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1}},                           // 9 bytes: echoed
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1, 2}, {0x17, 2, 0xBE, 0xEF}}, // served with what was left
        {{0x17, 0x07, 0xCF, 0, 0, 0x07, 0xCF, 0, 1, 2, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 0, 0, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 126, 0x07, 0xCF, 0, 1, 2, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCF, 0, 1, 3, 0, 0}, {0x97, 3}},
        {{0x17, 0x07, 0xCF, 0, 1, 0x07, 0xCE, 0, 1, 2, 0, 0}, {0x97, 2}},
        {{0x17, 0x07, 0xCE, 0, 1, 0x07, 0xCF, 0, 1, 2, 0x77, 0x77}, {0x97, 2}},
        {{0x03, 0x07, 0xCF, 0, 1}, {0x03, 2, 0x77, 0x77}}, // the write before the refused read was done
        {with_size({0x17, 0x07, 0xCF, 0, 125, 0x07, 0xCF, 0, 121, 242}, 252), with_size({0x17, 250}, 252)},
        {with_size({0x17, 0x07, 0xCF, 0, 125, 0x07, 0xCF, 0, 122, 244}, 254), {0x97, 3}},
        {{0x2B, 0x0E, 1, 0}, {0xAB, 1}},
        {{0x00}, {0x80, 1}},
        {{0x83, 1}, {0x83, 1}},
    };
    for (const auto &c : k_cases) {
        EXPECT_EQ(c.reply, client.exchange(c.request)) << testing::PrintToString(c.request);
    }
}

TEST_F(Daemon, ServesWithAnyStandardInput) {
    std::array<int, 2> idle_pipe = {};
    std::array<int, 2> full_pipe = {};
    std::array<int, 2> sockets = {};
    ASSERT_EQ(0, ::pipe2(idle_pipe.data(), O_CLOEXEC));
    ASSERT_EQ(0, ::pipe2(full_pipe.data(), O_CLOEXEC));
    ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()));
    ASSERT_EQ(4, ::write(full_pipe[1], "text", 4));
    ASSERT_EQ(4, ::write(sockets[1], "text", 4));
    for (const int fd : {-1, idle_pipe[0], full_pipe[0], sockets[0]}) {
        const daemon_on_switch daemon({}, fd);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(k_device_type, modbus_client(daemon.port()).read(4, 1001, 1)) << fd;
        }
    }
    for (const auto &ends : {idle_pipe, full_pipe, sockets}) {
        ::close(ends[0]);
        ::close(ends[1]);
    }
}

TEST_F(Daemon, ServesWhateverItWasStartedWithout) {
    // Without standard streams a socket would become one, and without SIGCHLD the ten places would not come
    // back.
    daemon_on_switch daemon({"fault.device missing"}, -1, 0,
                            R"(exec env --ignore-signal=CHLD "$@" >&- 2>&-)");
    int served = 0;
    EXPECT_TRUE(eventually([&] { // one is refused, perhaps, while those that have left are not reaped
        served += modbus_client(daemon.port()).read(4, 1001, 1) == k_device_type ? 1 : 0;
        return served == 12;
    })) << served;
    modbus_client aborting(daemon.port());
    ASSERT_TRUE(aborting.send({0, 1, 0, 0, 0, 0, 17}));
    EXPECT_TRUE(aborting.is_closed_by_peer()) << "instead of being told of it";
}

TEST_F(Daemon, StartUpMessagesComeOnceWhateverForks) {
    daemon_on_switch daemon({"fault.device missing", "fault.mtd1 missing", "fault.mtd4 short"});
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ((values{0xD8ED, 0}), modbus_client(daemon.port()).read(4, 1001, 2));
    }
    const std::string once =
        "mb_init: can't get u-boot tailer!\r\nmb_init: can't get FW header!\r\nsasiOpen() ERROR!!\n";
    const std::string text = daemon.end();
    EXPECT_EQ(once, text.substr(0, once.size()));
    EXPECT_EQ(std::string::npos, text.find('!', once.size())) << text; // a sanitizer may have said more
}

TEST_F(Daemon, ATakenPortEndsItWithStatusOne) {
    const daemon_on_switch first;
    const switchsim_in_folder other;
    const command_result second = run_command(other.daemon_command({"fault.mtd1 missing"}, first.port()));
    EXPECT_EQ(1, second.status);
    EXPECT_EQ("tcp_port_init: can't listen on TCP port 502! bind: Address already in use\r\n",
              second.output); // not even the identity was looked at
}

TEST_F(Daemon, StartsAgainBesideClientsOfTheLastOne) {
    const uint16_t port = free_port();
    daemon_on_switch first({}, -1, port);
    modbus_client held(port);
    ASSERT_EQ(k_device_type, held.read(4, 1001, 1));
    first.end(); // switchsim ends the child too; its connection lingers in the kernel
    const daemon_on_switch second({}, -1, port);
    EXPECT_EQ(k_device_type, modbus_client(port).read(4, 1001, 1));
}

TEST_F(Daemon, AFailedForkCostsThatClientOnly) {
    const daemon_on_switch daemon;
    ASSERT_EQ(0, daemon.run("fault", {"fork", "1"}).status);
    EXPECT_TRUE(modbus_client(daemon.port()).is_closed_by_peer());
    // The client count stays raised: nine more are served.
    std::vector<std::unique_ptr<modbus_client>> clients;
    for (int i = 0; i < 9; i++) {
        clients.push_back(std::make_unique<modbus_client>(daemon.port()));
        ASSERT_EQ(k_device_type, clients.back()->read(4, 1001, 1)) << i;
    }
    EXPECT_TRUE(modbus_client(daemon.port()).is_closed_by_peer());
}

TEST_F(Daemon, AnIndependentClientReadsAndWrites) {
    const daemon_on_switch daemon;
    const auto mbpoll = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"mbpoll", "-m", "tcp", "-p", std::to_string(daemon.port()), "-1", "-q"});
        return run_command(words);
    };
    const command_result input = mbpoll({"-t", "3:hex", "-r", "1001", "-c", "1", "127.0.0.1"});
    EXPECT_EQ(0, input.status) << input.output;
    EXPECT_NE(std::string::npos, input.output.find("0xD8ED")) << input.output;
    const command_result write = mbpoll({"-t", "4", "-r", "2000", "127.0.0.1", "11", "22", "33"});
    EXPECT_EQ(0, write.status) << write.output;
    EXPECT_NE(std::string::npos, write.output.find("Written 3 references")) << write.output;
    const command_result outside = mbpoll({"-t", "3", "-r", "1146", "-c", "1", "127.0.0.1"});
    EXPECT_NE(std::string::npos, outside.output.find("Illegal data address")) << outside.output;
}
