#include "modbus/mbident.h"

#include "lib/sasi/sasi.h"
#include "tests/support/private_scenario.h"
#include "tests/support/sim_switch.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

constexpr const char *k_serial_file = "/var/tmp/ethaddr.txt";

class Identity : public own_var_tmp {
protected:
    struct printed {
        std::string out;
        std::string err;
    };
    static printed init() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(0, mb_init());
        return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
    }
    static std::string serial() {
        const auto &bytes = mb_get_identity().serial_number;
        return {bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t{0})};
    }
    sim_switch m_switch;
};

} // namespace

TEST_F(Identity, EachSourceThatFailsIsReportedAndLeftZero) {
    m_switch->identity.tailer_a[0] = 0xABCD;
    m_switch->identity.header_b[15] = 0x1234;
    m_switch->faults.tailer_size = 111;
    m_switch->faults.header_size = 151;
    printed text = init();
    EXPECT_EQ("mb_init: can't get u-boot tailer!\r\nmb_init: can't get FW header!\r\n", text.err);
    EXPECT_EQ("", text.out);
    EXPECT_EQ(0, mb_get_identity().tailer_words_a[0]);
    EXPECT_EQ(0, mb_get_identity().firmware_words_b[15]);

    sasiClose();
    m_switch->faults.tailer_size = 112;
    m_switch->faults.header_size = k_sim_flash_missing;
    m_switch->faults.device_missing = 1;
    text = init();
    EXPECT_EQ("mb_init: can't get FW header!\r\n", text.err);
    EXPECT_EQ("sasiOpen() ERROR!!\n", text.out);
    EXPECT_EQ(0xABCD, mb_get_identity().tailer_words_a[0]);

    m_switch->faults.header_size = 152;
    m_switch->faults.device_missing = 0;
    text = init();
    EXPECT_EQ("", text.out + text.err);
    EXPECT_EQ(0x1234, mb_get_identity().firmware_words_b[15]);
}

TEST_F(Identity, SerialNumberIsTheRestOfTheLineUpTo14Characters) {
    struct {
        const char *value;
        const char *expected;
    } const k_cases[] = {
        {"1", "1"},
        {"123456789012345", "12345678901234"},
        {"12345678901234567890", "12345678901234"},
    };
    for (const auto &c : k_cases) {
        m_switch.set_serial(c.value);
        init();
        EXPECT_EQ("", serial());
        mb_fetch_serial_number();
        EXPECT_EQ(c.expected, serial());
        EXPECT_FALSE(std::filesystem::exists(k_serial_file));
    }
    m_switch->faults.serial_missing = 1;
    mb_fetch_serial_number();
    EXPECT_EQ("12345678901234", serial()); // as it was
}

TEST_F(Identity, APlantedSerialFileIsNotFollowed) {
    const std::string victim = "/var/tmp/victim";
    std::ofstream(victim) << "serial#=EVIL";
    std::filesystem::create_symlink(victim, k_serial_file);
    m_switch.set_serial("GOOD");
    init();
    mb_fetch_serial_number();
    EXPECT_EQ("GOOD", serial());
    std::string kept;
    std::ifstream(victim) >> kept;
    EXPECT_EQ("serial#=EVIL", kept);
    std::filesystem::remove(victim);
}

TEST_F(Identity, ChildrenThatFetchAtTheSameTimeAllGetIt) {
    m_switch.set_serial("SN-12345");
    init();
    for (const auto &descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closed; // the iterator's own
        const std::string file = std::filesystem::read_symlink(descriptor, closed).string();
        EXPECT_FALSE(file.starts_with("/var/tmp/serial")) << "their lock keeps the file system busy";
    }
    std::vector<pid_t> children;
    for (int i = 0; i < 8; i++) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            mb_fetch_serial_number();
            ::_exit(serial() == "SN-12345" ? 0 : 1);
        }
        children.push_back(pid);
    }
    for (const pid_t pid : children) {
        int status = -1;
        ::waitpid(pid, &status, 0);
        EXPECT_EQ(0, status);
    }
}

TEST_F(Identity, MacIsZeroWithoutTheInterfaceAndWithoutASocket) {
    m_switch->identity.tap0 = sim_switch::address({2, 1, 2, 3, 4, 5});
    std::array<uint8_t, 6> mac;
    mb_framer_get_eth0_mac(mac);
    EXPECT_EQ((std::array<uint8_t, 6>{2, 1, 2, 3, 4, 5}), mac);
    m_switch->faults.tap0_absent = 1;
    mb_framer_get_eth0_mac(mac);
    EXPECT_EQ((std::array<uint8_t, 6>{}), mac);

    m_switch->faults.tap0_absent = 0;
    mac.fill(9);
    testing::internal::CaptureStdout();
    rlimit before;
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    mb_framer_get_eth0_mac(mac);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ("mb_framer_get_eth0_mac: socket error!!\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ((std::array<uint8_t, 6>{}), mac);
}
