// A bridge of the kernel's own, in a network of the test's own.

#include "lib/base/unique_fd.h"
#include "lib/linux_switch/linux_source.h"
#include "tests/support/eventually.h"
#include "tests/support/private_network.h"
#include "tests/support/private_scenario.h"

#include <arpa/inet.h>
#include <atomic>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <thread>

namespace {

linux_name name_of(std::string_view text) {
    linux_name name{};
    EXPECT_TRUE(linux_name_of(text, &name));
    return name;
}

#ifdef TEST_EMULATED
constexpr bool k_emulated = true; // the emulator passes no question about cables on
#else
constexpr bool k_emulated = false;
#endif

bool ip(const std::string &arguments) {
    return std::system(("/sbin/ip " + arguments + " 2>/dev/null").c_str()) == 0;
}

/// A network with cables eth1 to eth3, whose other ends are far1 to far3, and where bridges can be made.
void in_own_network(const std::function<void()> &scenario) {
    with_private({"/var/tmp"}, [&] {
        if (!with_private_network(true) || !ip("link add try type bridge") || !ip("link del try")) {
            _exit(k_not_possible_here);
        }
        for (const char *number : {"1", "2", "3"}) {
            ASSERT_TRUE(
                ip(std::string("link add eth").append(number).append(" type veth peer name far") + number));
            ASSERT_TRUE(ip(std::string("link set far").append(number) + " up"));
        }
        scenario();
    });
}

void make_bridge() {
    ASSERT_TRUE(ip("link add br0 address 02:00:00:00:00:07 type bridge"));
    ASSERT_TRUE(ip("link set br0 up"));
    for (const char *port : {"eth1", "eth2"}) {
        ASSERT_TRUE(ip(std::string("link set ").append(port) + " master br0 up"));
    }
}

struct follower {
    linux_switch_handle handle;
    linux_source source{nullptr};

    explicit follower(const std::vector<std::string> &ports = {}, const linux_config &config = {}) {
        linux_switch_settings settings{.bridge = name_of("br0"), .ports = {}, .config = config};
        for (const std::string &port : ports) {
            settings.ports.push_back(name_of(port));
        }
        int32_t error = 0;
        handle = linux_switch_start(std::move(settings), &error);
        EXPECT_EQ(0, error);
        source.followed = handle.get();
    }

    /// Whether a request is answered; when the follower had no processor for seconds it knows nothing at
    /// first.
    template<typename Request> [[nodiscard]] static bool answers(const Request &request) {
        return eventually([&] { return request() == 0; });
    }

    /// The links of the first ports: "10" when the first is up and the second is not.
    [[nodiscard]] std::string links(int32_t count) const {
        std::string all;
        for (int32_t port = 1; port <= count; port++) {
            std::array<uint32_t, 5> words{};
            EXPECT_TRUE(answers([&] { return source.port_state(port, words); }));
            all += words[4] != 0 ? '1' : '0';
        }
        return all;
    }

    [[nodiscard]] bool come(const std::string &links_then) const {
        return eventually([&] { return links(static_cast<int32_t>(links_then.size())) == links_then; });
    }

    [[nodiscard]] uint32_t counter(int32_t port, size_t which) const {
        uint32_t value = 0;
        EXPECT_TRUE(answers([&] { return source.counter(port, which, value); }));
        return value;
    }

    [[nodiscard]] uint32_t word(sasi_ip_word which) const {
        uint32_t value = 0;
        EXPECT_TRUE(answers([&] { return source.ip_word(which, value); }));
        return value;
    }

    [[nodiscard]] uint32_t alarm() const {
        sasi_alarms alarms{};
        EXPECT_TRUE(answers([&] { return source.alarms(alarms); }));
        return alarms.alarm;
    }
};

void send_datagrams(const char *to, int32_t count) {
    const unique_fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(9);
    ASSERT_EQ(1, inet_pton(AF_INET, to, &address.sin_addr));
    for (int32_t i = 0; i < count; i++) {
        EXPECT_EQ(1, sendto(fd.get(), "x", 1, 0, reinterpret_cast<sockaddr *>(&address), sizeof address));
    }
}

uint64_t kernel_counter(const std::string &interface, const std::string &counter) {
    // Not "/sys", which shows the network that it was mounted in.
    std::ifstream table("/proc/thread-self/net/dev");
    const std::map<std::string, size_t> places = {{"rx_packets", 2}, {"tx_packets", 10}};
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        uint64_t value = 0;
        for (size_t i = 1; name == interface + ":" && i <= places.at(counter); i++) {
            words >> value;
        }
        if (name == interface + ":") {
            return value;
        }
    }
    return UINT64_MAX;
}

/// How many messages found no room in a socket of this network.
uint64_t lost_messages() {
    std::ifstream sockets("/proc/thread-self/net/netlink");
    uint64_t lost = 0;
    std::string line;
    for (std::getline(sockets, line); std::getline(sockets, line);) {
        std::istringstream words(line);
        std::string word;
        for (int32_t i = 0; i < 8; i++) {
            words >> word;
        }
        uint64_t drops = 0;
        words >> drops;
        lost += drops;
    }
    return lost;
}

TEST(LinuxSwitch, FollowsABridgeThatComesChangesAndGoes) {
    in_own_network([] {
        const follower of;
        EXPECT_EQ("000", of.links(3)) << "there is no bridge";
        make_bridge();
        EXPECT_TRUE(of.come("110"));
        EXPECT_TRUE(ip("link set far1 down"));
        EXPECT_TRUE(of.come("010"));
        EXPECT_TRUE(ip("link set far1 up"));
        EXPECT_TRUE(of.come("110"));
        EXPECT_TRUE(ip("link set eth1 nomaster"));
        EXPECT_TRUE(ip("link set eth3 master br0 up"));
        EXPECT_TRUE(of.come("011")) << "a new one does not take its number";
        EXPECT_TRUE(ip("link set eth2 down") && ip("link set eth2 name lan") && ip("link set lan up"));
        EXPECT_TRUE(ip("link set eth1 master br0"));
        EXPECT_TRUE(of.come("111")) << "renamed";
        EXPECT_TRUE(ip("link del eth3"));
        EXPECT_TRUE(of.come("110"));
        EXPECT_TRUE(ip("link del br0"));
        EXPECT_TRUE(of.come("000"));
        EXPECT_TRUE(ip("link add br0 type bridge") && ip("link set lan master br0"));
        EXPECT_TRUE(of.come("010"));
        EXPECT_TRUE(ip("link del br0") && ip("link add br0 type veth peer name end"));
        EXPECT_TRUE(of.come("000")) << "something else of its name";
    });
}

TEST(LinuxSwitch, CountsAndTellsAsTheKernelDoes) {
    in_own_network([] {
        make_bridge();
        const follower of({"eth2", "eth3", "eth1"});
        EXPECT_TRUE(of.come("101")) << "numbers of the list";
        std::array<uint32_t, 5> words{};
        uint32_t media = 99;
        EXPECT_EQ(0, of.source.port_state(1, words));
        if (!k_emulated) {
            EXPECT_THAT(words, testing::ElementsAre(1, 10000, 2, 0, 1));
            EXPECT_EQ(0, of.source.port_media(1, media));
            EXPECT_EQ(k_media_copper, media);
        }
        EXPECT_EQ(k_sasi_not_known, of.source.port_media(2, media)) << "not there";

        EXPECT_TRUE(ip("addr add 192.0.2.1/25 dev br0") && ip("route add default via 192.0.2.100"));
        EXPECT_TRUE(ip("addr add 198.51.100.1/24 dev far1"));
        EXPECT_TRUE(ip("neigh add 192.0.2.9 lladdr 02:00:00:00:00:99 dev br0"));
        EXPECT_TRUE(ip("neigh add 198.51.100.2 lladdr 02:00:00:00:00:98 dev far1"));
        send_datagrams("192.0.2.9", 40);   // out of every port, for nobody knows where that is
        send_datagrams("198.51.100.2", 7); // into port 3
        EXPECT_TRUE(eventually([&] {
            return kernel_counter("eth1", "tx_packets") >= 40 && kernel_counter("eth1", "rx_packets") >= 7 &&
                   of.counter(3, 3) == static_cast<uint32_t>(kernel_counter("eth1", "tx_packets")) &&
                   of.counter(3, 0) + of.counter(3, 1) ==
                       static_cast<uint32_t>(kernel_counter("eth1", "rx_packets"));
        }));
        EXPECT_TRUE(eventually([&] { return of.word(sasi_ip_word::route) == 0xC0000264; }));
        EXPECT_EQ(0xC0000201, of.word(sasi_ip_word::address));
        EXPECT_EQ(0xFFFFFF80, of.word(sasi_ip_word::netmask));
        EXPECT_TRUE(ip("route replace default dev br0"));
        EXPECT_TRUE(eventually([&] { return of.word(sasi_ip_word::route) == 0xC0000201; }))
            << "reached directly";
        EXPECT_TRUE(ip("addr flush dev br0"));
        EXPECT_TRUE(eventually([&] { return of.word(sasi_ip_word::address) == 0; }));
        EXPECT_EQ(0U, of.word(sasi_ip_word::route));
    });
}

TEST(LinuxSwitch, TellsSpanningTreeAndAlarms) {
    in_own_network([] {
        make_bridge();
        linux_config config;
        config.watched = {name_of("eth1"), name_of("eth3")};
        const follower of({"eth1", "eth2", "eth3"}, config);
        sasi_mst mst{};
        sasi_bridge bridge{};
        EXPECT_EQ(0, of.source.mst_instance(0, mst));
        EXPECT_EQ(0x020000000007U, mst.address);
        EXPECT_EQ(0, of.source.bridge(bridge));
        EXPECT_EQ(0, bridge.enabled);
        EXPECT_TRUE(ip("link set br0 type bridge stp_state 1"));
        EXPECT_TRUE(eventually([&] { return of.source.bridge(bridge) == 0 && bridge.enabled == 1; }));
        const auto state_of_first = [&] {
            std::array<sasi_mst_port, k_switch_ports> ports{};
            EXPECT_EQ(0, of.source.mst_ports(0, ports));
            return ports[0].state;
        };
        EXPECT_TRUE(ip("link set eth1 down") && ip("link set eth1 up"));
        EXPECT_TRUE(eventually([&] { return state_of_first() == 1; })) << "listens";
        EXPECT_TRUE(eventually([&] { return of.alarm() == uint32_t{1} << 9; })) << "one that is not there";
        EXPECT_TRUE(ip("link set eth1 down") && ip("link set eth2 down"));
        EXPECT_TRUE(eventually([&] { return of.alarm() == (uint32_t{1} << 7 | uint32_t{1} << 9); }));
        EXPECT_EQ(0, state_of_first());
        sasi_alarms alarms{};
        EXPECT_EQ(k_sasi_not_known, follower().source.alarms(alarms)) << "nothing is watched";
    });
}

TEST(LinuxSwitch, MissesNothingAfterMoreChangesThanItHears) {
    in_own_network([] {
        make_bridge();
        const follower of;
        std::ofstream changes("/var/tmp/changes");
        for (int32_t i = 0; i < 1000; i++) {
            changes << "link set eth3 mtu " << 1000 + i % 400 << "\nlink set far1 "
                    << (i % 2 == 0 ? "down" : "up") << "\n";
        }
        changes << "link set far2 down\n";
        changes.close();
        std::atomic<bool> done = false;
        std::thread reader([&] { // asks meanwhile, as the device's clients do
            while (!done) {
                EXPECT_EQ(0U, of.counter(k_switch_ports, 0));
            }
        });
        // This process stands still meanwhile, so that the kernel has nowhere to put them.
        EXPECT_EQ(0, std::system("kill -STOP $PPID; /sbin/ip -batch /var/tmp/changes; kill -CONT $PPID"));
        EXPECT_GT(lost_messages(), 0U) << "or this tries nothing";
        EXPECT_TRUE(of.come("10"));
        done = true;
        reader.join();
    });
}

} // namespace
