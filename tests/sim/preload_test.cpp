#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "tests/support/sim_switch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <linux/seccomp.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <vector>

namespace {

std::vector<uint8_t> read_file(const char *path, off_t from, int whence) {
    std::vector<uint8_t> bytes(8192);
    const int fd = ::open(path, O_RDONLY);
    if (fd < 0 || ::lseek(fd, from, whence) < 0) {
        bytes.clear();
    }
    const ssize_t count = ::read(fd, bytes.data(), bytes.size());
    bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
    ::close(fd);
    return bytes;
}

int query_address(const char *name, ifreq &query) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    query = {};
    std::strncpy(query.ifr_name, name, IFNAMSIZ - 1);
    const int result = ::ioctl(fd, SIOCGIFHWADDR, &query);
    const int error = errno;
    ::close(fd);
    errno = error;
    return result;
}

std::string first_line(const std::string &path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

/// Runs `body` in a forked child; its result is the exit status.
template<typename F> int status_of_child(F body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Every field of every record, read back through the accessors that the daemon uses.

TEST(Preload, PortsReadBack) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    for (uint32_t port = 1; port <= k_switch_ports; port++) {
        sw.port(port).media = 0x10000 + port;
        for (uint32_t i = 0; i < 5; i++) {
            sw.port(port).words[i] = 0xA0000000 + 16 * port + i;
        }
        for (const uint32_t sub : k_counter_subs) {
            sw.set_counter(port, sub, 1000 * port + sub);
        }
    }
    for (uint32_t port = 1; port <= k_switch_ports; port++) {
        const auto number = static_cast<int32_t>(port);
        uint32_t value = 0;
        EXPECT_EQ(0, sasi_get_port_media(number, &value));
        EXPECT_EQ(0x10000 + port, value);
        std::array<uint32_t, 5> words{};
        EXPECT_EQ(0, sasi_get_port_state(number, words));
        for (uint32_t i = 0; i < 5; i++) {
            EXPECT_EQ(0xA0000000 + 16 * port + i, words[i]);
        }
        for (const uint32_t sub : k_counter_subs) {
            EXPECT_EQ(0, sasi_get_counter(sub, number, &value));
            EXPECT_EQ(1000 * port + sub, value);
        }
    }
    uint32_t value = 77;
    EXPECT_NE(0, sasi_get_port_media(0, &value));
    EXPECT_NE(0, sasi_get_port_media(13, &value));
    EXPECT_NE(0, sasi_get_counter(5, 1, &value));
    sasiClose();
}

TEST(Preload, RingRecordsReadBack) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    std::array<uint8_t, k_ring_record_size> record{};
    for (const int32_t id : {1, 2, 255}) {
        sim_ring &ring = sw.ring(static_cast<size_t>(id));
        const auto base = static_cast<uint32_t>(id);
        ring = {0x01000000 + base, 2, 0x0304, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, {}};
        sw.set_ring_name(static_cast<size_t>(id), "abcdefghijklmnopqrstuvwxyz0123456");
        ASSERT_EQ(0, sasi_get_ring(id, record));
        const uint8_t *bytes = record.data();
        EXPECT_EQ(0x01000000 + base, load_native<uint32_t>(bytes));
        EXPECT_EQ(2U, load_native<uint32_t>(bytes + 24));
        EXPECT_EQ(0x0304, load_native<uint16_t>(bytes + 28));
        EXPECT_EQ(5, bytes[52]);
        EXPECT_EQ(8, bytes[64]);
        const std::pair<size_t, uint32_t> words[] = {{56, 6},   {60, 7},   {68, 9},  {72, 10},
                                                     {129, 11}, {133, 12}, {141, 14}};
        for (const auto &[place, word] : words) {
            EXPECT_EQ(word, load_native<uint32_t>(bytes + place)) << place;
        }
        EXPECT_EQ("abcdefghijklmnopqrstuvwxyz0123456", std::string(bytes + 96, bytes + 129));
        EXPECT_EQ(13, bytes[137]);
        EXPECT_EQ(record.end(),
                  std::find_if(record.begin() + 145, record.end(), [](uint8_t b) { return b != 0; }));
    }
    EXPECT_NE(0, sasi_get_ring(0, record));
    EXPECT_NE(0, sasi_get_ring(256, record));
    sasiClose();
}

TEST(Preload, RedundantRingsAndBridgeReadBack) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    const uint64_t address = sim_switch::address({1, 2, 3, 4, 5, 6});
    sw.redundant_ring(1) = {address, 7, 14, 18, 22, 26, 30, 34, 0};
    std::array<uint8_t, k_redundant_record_size> record{};
    ASSERT_EQ(0, sasi_get_redundant_ring(1, record));
    const std::pair<size_t, uint32_t> words[] = {{0, 7}, {14, 14}, {18, 18}, {26, 26}, {34, 34}};
    for (const auto &[place, word] : words) {
        EXPECT_EQ(word, load_native<uint32_t>(record.data() + place)) << place;
    }
    EXPECT_EQ(0x01020304U, get_be32(record.data() + 4));
    EXPECT_EQ(0x0506, get_be16(record.data() + 8));
    EXPECT_EQ(22, record[22]);
    EXPECT_EQ(30, record[30]);
    ASSERT_EQ(0, sasi_get_redundant_ring(0, record));
    EXPECT_EQ(0, record[22]);
    EXPECT_NE(0, sasi_get_redundant_ring(2, record));

    sw->bridge_enabled = 1;
    sw->bridge_mode = 3;
    std::array<uint8_t, k_bridge_record_size> bridge{};
    ASSERT_EQ(0, sasi_get_bridge(bridge));
    EXPECT_EQ(1, bridge[0]);
    EXPECT_EQ(3, bridge[1]);
    sasiClose();
}

TEST(Preload, ManagementAddressReadsBack) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    sw->ip = {0xC0A80101, 0xFFFFFF00, 1, 0};
    uint32_t address = 0;
    uint32_t netmask = 0;
    uint32_t route = 0;
    EXPECT_EQ(0, sasi_get_ip_address(&address));
    EXPECT_EQ(0, sasi_get_ip_netmask(&netmask));
    EXPECT_EQ(0, sasi_get_ip_route(&route));
    EXPECT_EQ((std::array{0xC0A80101U, 0xFFFFFF00U, 1U}), (std::array{address, netmask, route}));
    for (const uint32_t sub_code : {40U, 27U, 5U}) {
        EXPECT_EQ(1U, sw.requests(24251, sub_code)) << sub_code;
    }
    sw.fault(24251, 40) = {k_sim_fault_fail, 0, 0};
    sw->ip.address = 7;
    EXPECT_EQ(0, sasi_get_ip_address(&address));
    EXPECT_EQ(0xC0A80101U, address) << "the last answer";
    sasiClose();
}

TEST(Preload, MstInstancesReadBack) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    for (const int32_t instance : {0, 63}) {
        const auto place = static_cast<size_t>(instance);
        sw.mst(place).byte1 = 100 + static_cast<uint32_t>(instance);
        sw.mst(place).address = sim_switch::address({9, 8, 7, 6, 5, 4});
        for (uint8_t port = 1; port <= k_switch_ports; port++) {
            sw.mst_port(place, port) = {port, 21, 24, 25, 28, 29, {}};
        }
        std::array<uint8_t, k_mst_record_size> record{};
        ASSERT_EQ(0, sasi_get_mst_instance(instance, record));
        EXPECT_EQ(100 + instance, record[1]);
        EXPECT_EQ(0x09080706U, get_be32(record.data() + 2));
        EXPECT_EQ(0x0504, get_be16(record.data() + 6));
        std::array<uint8_t, k_mst_ports_size> table{};
        ASSERT_EQ(0, sasi_get_mst_ports(instance, table));
        for (uint8_t port = 1; port <= k_switch_ports; port++) {
            const uint8_t *entry = table.data() + 16 + 31 * port;
            const std::array<int, 6> bytes{entry[0], entry[1], entry[4], entry[5], entry[8], entry[9]};
            EXPECT_EQ((std::array<int, 6>{port, 21, 24, 25, 28, 29}), bytes);
        }
    }
    std::array<uint8_t, k_mst_record_size> record{};
    EXPECT_NE(0, sasi_get_mst_instance(64, record));
    EXPECT_NE(0, sasi_get_mst_instance(-1, record));
    sasiClose();
}

TEST(Preload, AlarmWordFollowsLinksThatAreAlarmed) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    uint32_t first = 0;
    uint32_t alarm = 1;
    sw->alarm_first = 5;
    EXPECT_EQ(0, sasi_get_alarm(&first, &alarm));
    EXPECT_EQ(5U, first);
    EXPECT_EQ(0U, alarm);
    sw->alarm_word = 1U << alarm_bit::k_main_no_input;
    sw.set_link(1, false);
    sw.set_link(11, false);
    sw.set_link(12, false);
    sw.port(11).alarmed = 0;
    EXPECT_EQ(0, sasi_get_alarm(&first, &alarm));
    EXPECT_EQ((1U << 21) | (1U << 7) | (1U << 18), alarm);
    sasiClose();
}

TEST(Preload, RequestMadeToFailLeavesResultsAndCodeMadeToAnswerIsAnswered) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    sw.port(3).media = 2;
    uint32_t media = 0;
    ASSERT_EQ(0, sasi_get_port_media(3, &media));
    sw.port(3).media = 1;
    sim_request_fault &fault = sw.fault(k_sasi_port, k_sub_port_media);
    fault = {k_sim_fault_fail, 0, 0};
    EXPECT_EQ(0, sasi_get_port_media(3, &media));
    EXPECT_EQ(2U, media);
    fault = {k_sim_fault_code, 9, 0};
    EXPECT_EQ(9, sasi_get_port_media(3, &media));
    EXPECT_EQ(2U, media);
    fault = {};
    EXPECT_EQ(0, sasi_get_port_media(3, &media));
    EXPECT_EQ(1U, media);
    EXPECT_EQ(4U, sw.requests(k_sasi_port, k_sub_port_media));
    sasiClose();
}

TEST(Preload, DeviceLeavesForeignControlCallsAlone) {
    const sim_switch sw;
    const int fd = sasiOpen();
    ASSERT_GT(fd, 0);
    int pending = 77;
    EXPECT_EQ(-1, ::ioctl(fd, FIONREAD, &pending));
    EXPECT_EQ(ENOTTY, errno);
    EXPECT_EQ(77, pending);
    sasi_block block{};
    EXPECT_EQ(-1, sasiRequest(k_sasi_alarm, nullptr));
    EXPECT_EQ(0, sasiRequest(k_sasi_alarm + 1, &block));
    EXPECT_NE(0, block.return_code);
    sasiClose();
    // The number is a plain descriptor's again.
    const int reused = ::open("/dev/null", O_RDWR);
    EXPECT_EQ(fd, reused);
    EXPECT_EQ(-1, ::ioctl(reused, k_sasi_alarm, &block));
    ::close(reused);
    sw->faults.device_missing = 1;
    EXPECT_EQ(-1, sasiOpen());
}

TEST(Preload, ChangeIsSeenByForkedChild) {
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    int ready[2];
    ASSERT_EQ(0, ::pipe(ready));
    const pid_t child = ::fork();
    if (child == 0) {
        char byte = 0;
        uint32_t media = 0;
        const bool told = ::read(ready[0], &byte, 1) == 1;
        ::_exit(told && sasi_get_port_media(1, &media) == 0 ? static_cast<int>(media) : 99);
    }
    sim_store(sw.port(1).media, uint32_t{42});
    ASSERT_EQ(1, ::write(ready[1], "x", 1));
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(42, WEXITSTATUS(status));
    ::close(ready[0]);
    ::close(ready[1]);
    sasiClose();
}

#ifdef TEST_BARE_MACHINE // an emulator and a sanitizer make system calls of their own
TEST(Preload, RequestsMakeNoSystemCall) {
    // In this mode the kernel kills a process at any call but read, write and exit.
    const auto without_calls = [](const std::function<void()> &body) {
        return status_of_child([&] {
            ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
            body();
            ::syscall(SYS_exit, 0);
            return 1;
        });
    };
    if (without_calls([] { sim_now_ns(); }) != 0) {
        GTEST_SKIP() << "this machine's clock takes a system call";
    }
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    EXPECT_EQ(0, without_calls([] {
                  sasi_block block{};
                  for (const sim_request &request : k_sim_requests) {
                      block.index = 1;
                      block.sub_code = request.sub_code;
                      block.request = request.request;
                      sasiRequest(request.request, &block);
                  }
              }));
    for (const sim_request &request : k_sim_requests) {
        EXPECT_EQ(1U, sw.requests(request.request, request.sub_code));
    }
    sasiClose();
}
#endif

TEST(Preload, FlashHoldsTheIdentityWordsAtTheirPlaces) {
    const sim_switch sw;
    sw->identity.tailer_a[0] = 0x0102;
    sw->identity.tailer_b[15] = 0x0304;
    sw->identity.header_a[0] = 0x0506;
    sw->identity.header_b[15] = 0x0708;
    const std::vector<uint8_t> tailer = read_file("/dev/mtd1", -112, SEEK_END);
    ASSERT_EQ(112U, tailer.size());
    EXPECT_EQ(0xFF, tailer[23]);
    EXPECT_EQ(0x0102, get_be16(&tailer[24]));
    EXPECT_EQ(0x0304, get_be16(&tailer[86]));
    EXPECT_EQ(0xFF, tailer[88]);
    const std::vector<uint8_t> header = read_file("/dev/mtd4", 0, SEEK_SET);
    ASSERT_GE(header.size(), 152U);
    EXPECT_EQ(0x0506, get_be16(&header[84]));
    EXPECT_EQ(0x0708, get_be16(&header[138]));
    EXPECT_EQ(0xFF, header[140]);

    sw->faults.tailer_size = 111;
    sw->faults.header_size = k_sim_flash_missing;
    EXPECT_TRUE(read_file("/dev/mtd1", -112, SEEK_END).empty());
    EXPECT_EQ(-1, ::open("/dev/mtd4", O_RDONLY));
    EXPECT_EQ(ENOENT, errno);
}

TEST(Preload, SerialNumberComesThroughTheShell) {
    const sim_switch sw;
    const std::string file = sw.path() + ".serial";
    const std::string command = "/usr/sbin/fw_printenv serial# > " + file;
    for (const char *serial : {"A1B2C3", "", "it's $HOME; `id` \"%s\\n", "12345678901234567890123456"}) {
        sw.set_serial(serial);
        EXPECT_EQ(0, std::system(command.c_str()));
        EXPECT_EQ(std::string("serial#=") + serial, first_line(file));
    }
    sw->faults.serial_missing = 1;
    EXPECT_NE(0, std::system((command + " 2>&1").c_str()));
    EXPECT_EQ("## Error: \"serial#\" not defined", first_line(file));
    ::setenv("SIM_TEST_FILE", file.c_str(), 1);
    EXPECT_EQ(3 << 8, std::system("test -z \"$LD_PRELOAD\" && rm -f \"$SIM_TEST_FILE\" && exit 3"));
    EXPECT_NE(0, ::access(file.c_str(), F_OK));
    EXPECT_EQ(std::getenv("LD_PRELOAD") != nullptr, true);
}

TEST(Preload, HardwareAddressOfTap0Only) {
    const sim_switch sw;
    sw->identity.tap0 = sim_switch::address({0x00, 0x1B, 0xFE, 0x80, 0x7F, 0x06});
    ifreq query{};
    ASSERT_EQ(0, query_address("tap0", query));
    const uint8_t expected[] = {0x00, 0x1B, 0xFE, 0x80, 0x7F, 0x06};
    EXPECT_EQ(0, std::memcmp(expected, query.ifr_hwaddr.sa_data, 6));
    EXPECT_EQ(-1, query_address("tap00", query));
    sw->faults.tap0_absent = 1;
    EXPECT_EQ(-1, query_address("tap0", query));
    EXPECT_EQ(ENODEV, errno);
}

TEST(Preload, ForksFailAsOftenAsAsked) {
    const sim_switch sw;
    sw->faults.fork_failures = 2;
    EXPECT_EQ(-1, ::fork());
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(-1, ::fork());
    EXPECT_EQ(5, status_of_child([] { return 5; }));
}

TEST(Preload, ListenerOn502GetsTheOverridingPort) {
    const sim_switch sw;
    ::setenv("SWITCHSIM_PORT", "0", 1);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    any.sin_port = htons(502);
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(0, ::bind(fd, reinterpret_cast<const sockaddr *>(&any), sizeof any));
    EXPECT_EQ(0U, sw->port_in_use);
    ASSERT_EQ(0, ::listen(fd, 1));
    EXPECT_NE(0U, sw->port_in_use);
    EXPECT_NE(502U, sw->port_in_use);
    const int client = ::socket(AF_INET, SOCK_STREAM, 0);
    any.sin_port = htons(static_cast<uint16_t>(sw->port_in_use));
    EXPECT_EQ(0, ::connect(client, reinterpret_cast<const sockaddr *>(&any), sizeof any));
    ::close(client);
    for (const char *wrong : {"65536", "-1", "5o2"}) {
        ::setenv("SWITCHSIM_PORT", wrong, 1);
        any.sin_port = htons(502);
        EXPECT_EXIT(ignore_result(::bind(fd, reinterpret_cast<const sockaddr *>(&any), sizeof any)),
                    testing::ExitedWithCode(1), "not a port number");
    }
    ::close(fd);
    ::unsetenv("SWITCHSIM_PORT");
}

TEST(PreloadDeathTest, WithoutALiveSwitchTheProgramEndsWithAMessage) {
    ::unsetenv("SWITCHSIM_STATE");
    EXPECT_EXIT(sasiOpen(), testing::ExitedWithCode(1), "no simulated switch to answer.*no path");
    ::setenv("SWITCHSIM_STATE", "/nonexistent/state", 1);
    EXPECT_EXIT(sasiOpen(), testing::ExitedWithCode(1), "/nonexistent/state: there is no such file");
    std::string path;
    {
        const sim_switch sw;
        path = sw.path() + ".left";
        ASSERT_EQ(0, ::link(sw.path().c_str(), path.c_str()));
    }
    ::setenv("SWITCHSIM_STATE", path.c_str(), 1);
    EXPECT_EXIT(sasiOpen(), testing::ExitedWithCode(1), "the simulated switch has ended");
    ::unlink(path.c_str());
    ::rmdir(path.substr(0, path.rfind('/')).c_str());
    ::unsetenv("SWITCHSIM_STATE");
}

} // namespace
