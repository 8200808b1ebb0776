// What sasid decides without a device: its command line, what a request copies, what it gives up.

#include "apps/sasid/exchange.h"
#include "apps/sasid/options.h"
#include "apps/sasid/privileges.h"
#include "apps/sasid/source.h"
#include "lib/base/bytes.h"
#include "lib/base/unique_fd.h"
#include "lib/sasi/sasi_engine.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

/// The status to leave with; what is said goes to `said`.
int parse(std::vector<std::string> words, sasid_options &wanted, std::string &said) {
    words.insert(words.begin(), "sasid");
    std::vector<char *> arguments(words.size() + 1, nullptr);
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](std::string &word) { return word.data(); });
    testing::internal::CaptureStderr();
    const int status = sasid_parse_options(static_cast<int>(words.size()), arguments.data(), wanted);
    said = testing::internal::GetCapturedStderr();
    return status;
}

TEST(SasidOptions, WrongCommandLinesAreToldInOneLine) {
    struct {
        std::vector<std::string> words;
        const char *said;
    } const k_wrong[] = {
        {{}, "no source"},
        {{"--device", "x"}, "no source"},
        {{"--none", "--none"}, "one source only"},
        {{"--none", "br0"}, "not an option: br0"},
        {{"--none", "--device", ""}, "not the name of a device"},
        {{"--none", "--device", "../sda"}, "not the name of a device: ../sda"},
        {{"--none", "--device", "a b"}, "not the name of a device"},
        {{"--none", "--device", ".."}, "not the name of a device"},
        {{"--none", "--device", std::string(65, 'a')}, "not the name of a device"},
        {{"--none", "--user", ""}, "name of a user"},
        {{"--none", "--fast"}, "--fast"},
        {{"--none", "--user"}, "--user"},
#ifdef ZOP_HAS_SIMULATOR
        {{"--none", "--simulated"}, "one source only"},
        {{"--none", "--state", "x"}, "--state goes with --simulated"},
        {{"--simulated", "--state", ""}, "--state wants"},
#endif
#ifdef ZOP_HAS_LINUX_SWITCH
        {{"--none", "--linux", "br0"}, "one source only"},
        {{"--none", "--ports", "a"}, "--ports and --config go with --linux"},
        {{"--none", "--config", "a"}, "--ports and --config go with --linux"},
        {{"--linux", "br0", "--ports", ""}, "--ports wants"},
#endif
    };
    for (const auto &wrong : k_wrong) {
        sasid_options wanted;
        std::string said;
        EXPECT_EQ(2, parse(wrong.words, wanted, said));
        EXPECT_NE(std::string::npos, said.find(wrong.said)) << said;
        EXPECT_EQ(1, std::count(said.begin(), said.end(), '\n')) << said;
    }
}

#ifdef ZOP_HAS_LINUX_SWITCH
TEST(SasidLinux, WrongNamesAndFilesAreToldInOneLine) {
    char folder[] = "/tmp/sasid-XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(folder));
    const std::string good = std::string(folder) + "/good";
    const std::string bad = std::string(folder) + "/bad";
    std::ofstream(good) << "alarm.link-down eth2\n";
    std::ofstream(bad) << "# no key\nalarm 1\n";
    struct {
        sasid_bridge bridge;
        std::string said;
    } const k_cases[] = {
        {{"br0", "1,2,3,4,5,6,7,8,9,10,11,12", ""}, ""},
        {{"br0", "eth1,eth2", good}, ""},
        {{"br0", "", good}, ""},
        {{"a/b", "", ""}, "sasid: a/b: no name of an interface\n"},
        {{"br0", "eth1,,eth2", ""}, "sasid: eth1,,eth2: no name of an interface\n"},
        {{"br0", "eth1,eth1", ""}, "sasid: eth1,eth1: one port is named twice\n"},
        {{"br0", "1,2,3,4,5,6,7,8,9,10,11,12,13", ""},
         "sasid: 1,2,3,4,5,6,7,8,9,10,11,12,13: more ports than the switch has\n"},
        {{"br0", "eth1", good}, "sasid: eth2: watched, but not among --ports\n"},
        {{"br0", "", bad}, "sasid: " + bad + ":2: 'alarm' is no key\n"},
        {{"br0", "", bad + "er"}, "sasid: cannot read " + bad + "er: No such file or directory\n"},
    };
    for (const auto &one : k_cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(one.said.empty(), sasid_linux_source(one.bridge) != nullptr) << one.bridge.ports;
        EXPECT_EQ(one.said, testing::internal::GetCapturedStderr());
    }
    ::unlink(good.c_str());
    ::unlink(bad.c_str());
    ::rmdir(folder);
}
#endif

TEST(SasidOptions, RightOnesAreTaken) {
    sasid_options wanted;
    std::string said;
    EXPECT_EQ(-1, parse({"--none", "--device", std::string(64, 'a'), "--user=nobody", "--foreground"}, wanted,
                        said));
    EXPECT_EQ(std::string(64, 'a'), wanted.device);
    EXPECT_EQ("nobody", wanted.user);
    EXPECT_EQ("", said);
#ifdef ZOP_HAS_SIMULATOR
    wanted = {};
    EXPECT_EQ(-1, parse({"--simulated", "--state", "here/state"}, wanted, said));
    EXPECT_EQ(sasid_source_kind::simulated, wanted.source);
    EXPECT_EQ("sasi-dev", wanted.device);
    char folder[PATH_MAX];
    ASSERT_NE(nullptr, ::getcwd(folder, sizeof folder));
    EXPECT_EQ(std::string(folder) + "/here/state", wanted.state);
    EXPECT_EQ(-1, parse({"--simulated", "--state", "/there"}, wanted, said));
    EXPECT_EQ("/there", wanted.state);
#endif
}

/// Knows everything, and gives nothing that is zero.
struct full_source {
    static int32_t counter(int32_t /*port*/, size_t which, uint32_t &value) {
        value = 0x01010101 + static_cast<uint32_t>(which);
        return 0;
    }
    static int32_t ring(int32_t /*id*/, sasi_ring &ring) {
        ring = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
        return 0;
    }
    static void ring_name(int32_t /*id*/, std::span<uint8_t, ring_at::k_name_size> name) {
        std::fill(name.begin(), name.end(), uint8_t{'n'});
    }
    static int32_t alarms(sasi_alarms &alarms) {
        alarms = {1, 2};
        return 0;
    }
    static int32_t port_state(int32_t /*port*/, std::span<uint32_t> words) {
        std::fill(words.begin(), words.end(), 3U);
        return 0;
    }
    static int32_t port_media(int32_t /*port*/, uint32_t &media) {
        media = 2;
        return 0;
    }
    static int32_t bridge(sasi_bridge &bridge) {
        bridge = {1, 2};
        return 0;
    }
    static int32_t mst_instance(int32_t /*instance*/, sasi_mst &mst) {
        mst = {0x010203040506, 7};
        return 0;
    }
    static int32_t mst_ports(int32_t /*instance*/, std::span<sasi_mst_port> ports) {
        std::fill(ports.begin(), ports.end(), sasi_mst_port{1, 2, 3, 4, 5, 6});
        return 0;
    }
    static int32_t redundant_ring(int32_t /*number*/, sasi_redundant_ring &ring) {
        ring = {0x010203040506, 1, 2, 3, 4, 5, 6, 7};
        return 0;
    }
    static int32_t ip_word(sasi_ip_word /*which*/, uint32_t &word) {
        word = 0x0A000001;
        return 0;
    }
};

std::vector<uint8_t> bytes_of(const sasi_block &block) {
    const auto *first = reinterpret_cast<const uint8_t *>(&block);
    return {first, first + sizeof block};
}

/// What a client's block is after a request, when only the bytes of the exchange come and go.
std::vector<uint8_t> exchanged(uint32_t number, const sasi_block &client) {
    sasi_block block = {};
    std::vector<uint8_t> result = bytes_of(client);
    std::copy_n(result.begin(), sasid_exchange_size(number), reinterpret_cast<uint8_t *>(&block));
    sasi_answer(full_source{}, sasi_kind_of(number, block), block);
    const auto first = static_cast<ptrdiff_t>(k_exchange_written);
    std::copy_n(bytes_of(block).begin() + first, sasid_exchange_written(number, block.return_code),
                result.begin() + first);
    return result;
}

TEST(SasidExchange, GivesAClientWhatTheWholeBlockWouldHaveGiven) {
    for (const sasi_request_row &row : k_sasi_requests) {
        for (const int32_t index : {1, 12, 0, 13}) { // the last two are refused
            sasi_block client;
            std::memset(&client, 0xA5, sizeof client);
            client.request = row.request;
            client.sub_code = row.sub_code;
            client.index = index;
            auto *bytes = reinterpret_cast<uint8_t *>(&client);
            if (row.question == sasi_question::redundant_ring) {
                store_native<int32_t>(bytes + k_at_redundant_ring, index / 12);
                store_native<uint16_t>(bytes + k_at_redundant_one, index > 0 ? 1 : 0);
                store_native<uint16_t>(bytes + k_at_redundant_zero1, 0);
            } else {
                store_native<int32_t>(bytes + k_at_ring_id, index);
                std::fill_n(bytes + k_at_mst_record + 1, k_mst_ports_preset, uint8_t{1});
            }
            sasi_block whole = client;
            sasi_answer(full_source{}, sasi_kind_of(row.request, whole), whole);
            EXPECT_EQ(bytes_of(whole), exchanged(row.request, client)) << row.meaning << ' ' << index;
        }
    }
}

TEST(SasidExchange, OneThatIsUnknownGetsItsReturnCodeAlone) {
    sasi_block client = {};
    client.request = k_sasi_port + 1;
    EXPECT_EQ(28U, sasid_exchange_size(client.request));
    sasi_block whole = client;
    whole.return_code = k_sasi_unknown_request;
    EXPECT_EQ(bytes_of(whole), exchanged(client.request, client));
}

TEST(SasidNoSource, KnowsNothing) {
    sasi_block block = {};
    block.request = k_sasi_alarm;
    block.sub_code = k_sub_alarm_status;
    uint32_t delay_ms = 0;
    EXPECT_EQ(0, k_sasid_no_source.answer(k_sasi_alarm, block, &delay_ms));
    EXPECT_EQ(k_sasi_not_known, block.return_code);
    EXPECT_EQ(0, k_sasid_no_source.answer(k_sasi_alarm + 1, block, &delay_ms));
    EXPECT_EQ(k_sasi_unknown_request, block.return_code);
    EXPECT_EQ(0U, delay_ms);
}

/// Lines of the process's own status that tell its rights.
std::string rights() {
    std::string text;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("Uid") || line.starts_with("CapEff") || line.starts_with("CapPrm") ||
            line.starts_with("NoNewPrivs") || line.starts_with("Groups")) {
            text += line + ' ';
        }
    }
    return text;
}

void drop_and_tell(const char *user) {
    std::string error;
    if (!sasid_drop_privileges(user, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::_Exit(1);
    }
    std::fprintf(stderr, "%s\n", rights().c_str());
    std::_Exit(0);
}

TEST(SasidPrivilegesDeathTest, NothingIsLeft) {
    EXPECT_EXIT(drop_and_tell(""), testing::ExitedWithCode(0),
                "CapPrm:\t0000000000000000 CapEff:\t0000000000000000 NoNewPrivs:\t1");
    EXPECT_EXIT(drop_and_tell("no-such-user"), testing::ExitedWithCode(1),
                "no-such-user: there is no such user");
    if (::geteuid() == 0) {
        EXPECT_EXIT(drop_and_tell("daemon"), testing::ExitedWithCode(0),
                    "Uid:\t1\t1\t1\t1 Groups:\t1  CapPrm:\t0000000000000000 CapEff:\t0000000000000000 "
                    "NoNewPrivs:\t1");
    } else {
        EXPECT_EXIT(drop_and_tell("daemon"), testing::ExitedWithCode(1), "becoming user daemon");
    }
}

/// What a service manager at `address` is told, or "".
std::string told(const sockaddr_un &address, socklen_t length, const std::string &name) {
    const unique_fd manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(0, ::bind(manager.get(), reinterpret_cast<const sockaddr *>(&address), length));
    ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
    sasid_tell_ready();
    ::unsetenv("NOTIFY_SOCKET");
    char text[64];
    const ssize_t size = ::recv(manager.get(), text, sizeof text, MSG_DONTWAIT);
    return {text, size < 0 ? 0 : static_cast<size_t>(size)};
}

TEST(SasidReady, IsToldToTheManagerThatAsks) {
    char folder[] = "/tmp/sasid_test.XXXXXX";
    ASSERT_NE(nullptr, ::mkdtemp(folder));
    const std::string path = std::string(folder) + "/notify";
    sockaddr_un address = {AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ("READY=1", told(address, sizeof address, path));
    ::unlink(path.c_str());
    ::rmdir(folder);
    const std::string name = "@sasid_test." + std::to_string(::getpid());
    address = {AF_UNIX, {}};
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    address.sun_path[0] = '\0';
    EXPECT_EQ("READY=1",
              told(address, static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size()), name));
    for (const char *nobody :
         {"", "relative", "/nonexistent/notify"}) { // is told nothing, and nothing is waited for
        ::setenv("NOTIFY_SOCKET", nobody, 1);
        sasid_tell_ready();
    }
    ::unsetenv("NOTIFY_SOCKET");
    sasid_tell_ready();
}

} // namespace
