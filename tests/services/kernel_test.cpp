#include "lib/services/kernel_neighbours.h"
#include "lib/services/services.h"
#include "tests/support/private_network.h"
#include "tests/support/private_scenario.h"

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/utsname.h>
#include <sys/wait.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr auto k_done = service_outcome::done;
constexpr auto k_refused = service_outcome::refused;
constexpr auto k_only_kept = service_outcome::not_supported;

using words = std::vector<std::string>;

/// A machine with a management interface and one of VLAN 5 that hang together, and a name of its own.
void on_own_machine(const std::function<void()> &scenario) {
    with_private({"/var/tmp"}, [&] {
        if (unshare(CLONE_NEWUTS) != 0 || sethostname("first", 5) != 0 || !with_private_network(true) ||
            std::system("/sbin/ip link add tap0 type veth peer name vlan5 2>/dev/null") != 0) {
            _exit(k_not_possible_here);
        }
        std::vector<kernel_neighbour> none;
        if (kernel_get_neighbours(&none) == EOPNOTSUPP) { // an emulator that does not know such messages
            _exit(k_not_possible_here);
        }
        scenario();
    });
}

service_answer apply(std::string_view setting, const words &arguments, std::string_view context = "") {
    return service_kernel.apply({setting, arguments, context});
}

service_outcome withdraw(std::string_view setting, const words &arguments, std::string_view context = "") {
    return service_kernel.withdraw({setting, arguments, context}).outcome;
}

/// As JSON: a row has its cells in order, and no blanks.
std::string shown(std::string_view what) {
    report made;
    EXPECT_EQ(k_done, service_kernel_state.show({what, {}, ""}, made).outcome);
    return report_json(made);
}

std::string host_name() {
    utsname names{};
    uname(&names);
    return names.nodename;
}

} // namespace

TEST(Kernel, HostNameIsALabelAndGoesBackToTheFirst) {
    on_own_machine([] {
        EXPECT_EQ(k_done, withdraw("hostname", {}));
        for (const char *const wrong : {"", "-a", "a-", "a.b", "a_b", "\xC3\xA4"}) {
            EXPECT_EQ(k_refused, apply("hostname", {wrong}).outcome) << wrong;
        }
        EXPECT_EQ("first", host_name());
        EXPECT_EQ(k_done, apply("hostname", {std::string(63, 'x')}).outcome);
        EXPECT_EQ(k_refused, apply("hostname", {std::string(64, 'x')}).outcome);
        EXPECT_EQ(k_done, apply("hostname", {"Hall-7"}).outcome);
        EXPECT_EQ("Hall-7", host_name());
        EXPECT_EQ(k_done, withdraw("hostname", {}));
        EXPECT_EQ("first", host_name());
    });
}

TEST(Kernel, AddressesReplaceEachOtherAndGo) {
    on_own_machine([] {
        const struct {
            const char *address;
            service_outcome outcome;
        } k_rows[] = {
            {"192.168.1.0/24", k_refused}, {"192.168.1.255/24", k_refused}, {"192.168.1.254/24", k_done},
            {"10.0.0.0/31", k_done},       {"10.0.0.3/30", k_refused},      {"0.1.2.3/8", k_refused},
            {"126.0.0.1/8", k_done},       {"127.0.0.2/8", k_refused},      {"223.255.255.254/4", k_done},
            {"224.0.0.1/4", k_refused},    {"10.0.0.1/0", k_refused},       {"dhcp", k_only_kept},
            {"10.1.2.5/30", k_done},       {"10.1.2.3/9", k_done}};
        for (const auto &row : k_rows) {
            EXPECT_EQ(row.outcome, apply("ip address", {row.address}, "interface eth0").outcome)
                << row.address;
        }
        EXPECT_EQ(k_only_kept, apply("ip address", {"10.9.9.9/8"}, "interface vlan 6").outcome);
        EXPECT_EQ(k_done, apply("ip address", {"10.200.0.1/16"}, "interface vlan 5").outcome);
        for (const char *const length : {"64", "65"}) {
            EXPECT_EQ(k_done,
                      apply("ip ipv6-address", {"fd00:0:0:1::::2", length}, "interface eth0").outcome);
        }
        EXPECT_EQ(k_refused,
                  apply("ip ipv6-address", {"ff02:0:0:0:0:0:0:1", "64"}, "interface eth0").outcome);
        EXPECT_THAT(shown("ip address"), AllOf(HasSubstr(R"("tap0","address":"10.1.2.3/9","state":"up")"),
                                               HasSubstr(R"("tap0","address":"fd00:0:0:1::2/65")"),
                                               Not(HasSubstr("::2/64")), Not(HasSubstr("126.0.0.1"))));
        EXPECT_THAT(shown("interface vlan"),
                    HasSubstr(R"({"vlan":5,"interface":"vlan5","address":"10.200.0.1/16")"));

        for (int32_t time = 0; time < 2; time++) {
            EXPECT_EQ(k_done, withdraw("ip address", {}, "interface eth0"));
            EXPECT_EQ(k_done, withdraw("ip ipv6-address", {"fd00:0:0:1:0:0:0:2"}, "interface eth0"));
        }
        EXPECT_THAT(shown("ip address"), AllOf(Not(HasSubstr("10.1.2.3")), Not(HasSubstr("fd00"))));
    });
}

TEST(Kernel, RoutesAndHostsComeWithTheNetworkAndOutliveItsAddress) {
    on_own_machine([] {
        // A saved configuration has the settings of the whole switch in front of those of interfaces.
        EXPECT_THAT(apply("ipv4 route", {"0.0.0.0/0", "10.1.0.1", "distance", "7"}).text,
                    HasSubstr("as soon as"));
        EXPECT_THAT(apply("ipv6 route", {"fd99:0:0:0:0:0:0:0", "16", "fd00:0:0:0:0:0:0:9"}).text,
                    HasSubstr("as soon as"));
        EXPECT_THAT(apply("ipv4 arp", {"10.1.0.77", "02:00:00:00:00:4d"}).text, HasSubstr("as soon as"));
        EXPECT_EQ(k_refused, apply("ipv4 route", {"10.2.0.1/24", "10.1.0.1"}).outcome) << "bits of a host";
        const std::string route =
            R"({"network":"0.0.0.0/0","router":"10.1.0.1","interface":"tap0","distance":7})";
        const std::string route6 =
            R"({"network":"fd99::/16","router":"fd00::9","interface":"tap0","distance":1})";
        const std::string host =
            R"({"address":"10.1.0.77","mac":"02:00:00:00:00:4d","interface":"tap0","state":"stands"})";

        for (const char *const address : {"10.1.0.2/24", "10.1.0.3/24", "10.1.0.3/16"}) {
            EXPECT_EQ(k_done, apply("ip address", {address}, "interface eth0").outcome);
            EXPECT_THAT(shown("ipv4 routes"), HasSubstr(route)) << address;
        }
        EXPECT_THAT(shown("ip hosts"), HasSubstr(host));
        EXPECT_EQ(k_done, apply("ip ipv6-address", {"fd00:0:0:0:0:0:0:1", "64"}, "interface eth0").outcome);
        EXPECT_THAT(shown("ipv6 routes"), AllOf(HasSubstr(route6), Not(HasSubstr("ff00"))));

        EXPECT_EQ(k_done, apply("ip address", {"10.3.0.2/24"}, "interface eth0").outcome);
        EXPECT_THAT(shown("ipv4 routes"), Not(HasSubstr("10.1.0.1")));
        EXPECT_EQ(k_done, apply("ipv4 route", {"0.0.0.0/0", "10.3.0.9"}).outcome)
            << "another router: beside it";
        EXPECT_EQ(k_done, apply("ip address", {"10.1.0.2/24"}, "interface eth0").outcome);
        EXPECT_THAT(shown("ipv4 routes"), AllOf(HasSubstr(route), Not(HasSubstr("10.3.0.9"))));

        EXPECT_EQ(k_done, apply("ipv4 route", {"0.0.0.0/0", "10.1.0.1", "distance", "255"}).outcome);
        EXPECT_THAT(shown("ipv4 routes"), AllOf(HasSubstr(":255}"), Not(HasSubstr(":7}"))));
        EXPECT_EQ(k_done, withdraw("ipv4 route", {"0.0.0.0/0", "10.1.0.1"}));
        EXPECT_EQ(k_done, withdraw("ipv6 route", {"fd99:0:0:0:0:0:0:0", "16", "fd00:0:0:0:0:0:0:9"}));
        EXPECT_EQ(k_done, withdraw("ipv4 arp", {"10.1.0.77"}));
        EXPECT_EQ(k_done, apply("ip address", {"10.1.0.3/24"}, "interface eth0").outcome);
        EXPECT_THAT(shown("ipv4 routes"), Not(HasSubstr("10.1.0.1")));
        EXPECT_THAT(shown("ipv6 routes"), Not(HasSubstr("fd99")));
        EXPECT_THAT(shown("ip hosts"), Not(HasSubstr("\"stands\"")));
    });
}

TEST(Kernel, HostsThatDoNotStandAreForgotten) {
    on_own_machine([] {
        EXPECT_EQ(k_done, apply("ip address", {"10.1.0.2/24"}, "interface eth0").outcome);
        EXPECT_EQ(k_done, apply("ip ipv6-address", {"fd00:0:0:0:0:0:0:1", "64"}, "interface eth0").outcome);
        EXPECT_EQ(k_done, apply("ipv4 arp", {"10.1.0.9", "02:00:00:00:00:09"}).outcome);
        EXPECT_EQ(0, std::system("/sbin/ip neigh add 10.1.0.8 lladdr 02:00:00:00:00:08 nud stale dev tap0 &&"
                                 "/sbin/ip neigh add fd00::8 lladdr 02:00:00:00:00:18 nud stale dev tap0"));
        EXPECT_THAT(
            shown("ip hosts"),
            AllOf(HasSubstr(R"("10.1.0.8","mac":"02:00:00:00:00:08","interface":"tap0","state":"silent")"),
                  HasSubstr(R"("fd00::8","mac":"02:00:00:00:00:18")")));
        EXPECT_EQ(k_done, service_kernel.act({"clear ip hosts", {}, ""}).outcome);
        EXPECT_THAT(shown("ip hosts"),
                    AllOf(HasSubstr("02:00:00:00:00:09"), Not(HasSubstr("02:00:00:00:00:08")),
                          Not(HasSubstr("02:00:00:00:00:18"))));
    });
}

TEST(Kernel, WhatAnInterfaceLosesIsNoticedOnce) {
    on_own_machine([] {
        EXPECT_EQ(k_done, apply("ip address", {"10.1.0.2/24"}, "interface eth0").outcome);
        uint32_t before = service_kernel.comings();
        EXPECT_EQ(k_done, apply("ip address", {"10.1.0.3/24"}, "interface eth0").outcome);
        EXPECT_EQ(before, service_kernel.comings()) << "an address is no loss";
        for (const char *const command :
             {"ip link set tap0 down; ip link set tap0 up", "ip link set vlan5 name vlan6;"
                                                            "ip link add vlan5 type bridge"}) {
            EXPECT_EQ(0, std::system((std::string("PATH=/sbin;") + command).c_str()));
            EXPECT_NE(before, service_kernel.comings()) << command;
            before = service_kernel.comings();
            EXPECT_EQ(before, service_kernel.comings());
        }
    });
}

TEST(Kernel, ForwardingIsSwitchedByProtocol) {
    on_own_machine([] {
        const auto forwards = [] {
            return kernel_read("/proc/sys/net/ipv4/ip_forward") +
                   kernel_read("/proc/sys/net/ipv6/conf/all/forwarding");
        };
        EXPECT_EQ(k_done, apply("ipv6 forwarding", {"enable"}).outcome);
        EXPECT_EQ("0\n1\n", forwards());
        EXPECT_EQ(k_done, apply("ipv4 forwarding", {"enable"}).outcome);
        EXPECT_EQ(k_done, apply("ipv6 forwarding", {"disable"}).outcome);
        EXPECT_EQ("1\n0\n", forwards());
    });
}

TEST(Kernel, ProcessNamesCannotForgeRowsOrMoveTheCursor) {
    in_fresh_process([] {
        // Another process: an emulator makes up what it tells of the own one.
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_NAME, "a) R\n\x1B[2J (");
            raise(SIGSTOP);
            _exit(0);
        }
        EXPECT_EQ(child, waitpid(child, nullptr, WUNTRACED));
        const std::string row =
            "{\"id\":" + std::to_string(child) + R"(,"name":"a) R??[2J (","state":"stopped","threads":)";
        EXPECT_THAT(shown("debug processes"), AllOf(HasSubstr(row), HasSubstr("\"memory_available_kib\":")));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    });
}

TEST(Kernel, ADeskIsLeftAlone) {
    in_fresh_process([] {
        EXPECT_EQ(geteuid() == 0, service_kernel.is_here());
        services_on_desk();
        EXPECT_FALSE(service_kernel.is_here());
        EXPECT_FALSE(service_units.is_here());
        EXPECT_EQ(&service_kernel_state, services_find("show ip address"));
        EXPECT_EQ(&service_kernel, services_find("ip address"));
    });
}
