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

int lowest_free_descriptor() {
    const int fd = ::dup(STDOUT_FILENO);
    ::close(fd);
    return fd;
}

class Identity : public own_var_tmp {
protected:
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
    const struct {
        uint32_t tailer_size, header_size, device_missing;
        const char *err;
        uint16_t tailer_word, header_word;
    } k_cases[] = {
        {111, 151, 0, "mb_init: can't get u-boot tailer!\r\nmb_init: can't get FW header!\r\n", 0, 0},
        {112, k_sim_flash_missing, 1, "mb_init: can't get FW header!\r\n", 0xABCD, 0},
        {112, 152, 0, "", 0xABCD, 0x1234},
    };
    for (const auto &c : k_cases) {
        sasiClose();
        m_switch->faults.tailer_size = c.tailer_size;
        m_switch->faults.header_size = c.header_size;
        m_switch->faults.device_missing = c.device_missing;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(0, mb_init());
        EXPECT_EQ(c.device_missing != 0 ? "sasiOpen() ERROR!!\n" : "",
                  testing::internal::GetCapturedStdout());
        EXPECT_EQ(c.err, testing::internal::GetCapturedStderr());
        EXPECT_EQ(c.tailer_word, mb_get_identity().tailer_words_a[0]);
        EXPECT_EQ(c.header_word, mb_get_identity().firmware_words_b[15]);
    }
}

TEST_F(Identity, SerialNumberIsTheRestOfTheLineUpTo14Characters) {
    const std::string value = "12345678901234567890";
    std::ofstream("/var/tmp/victim") << "kept";
    for (const unsigned length : {1U, 15U, 20U}) {
        std::filesystem::create_symlink("/var/tmp/victim", k_serial_file); // planted, and not followed
        m_switch.set_serial(value.substr(0, length));
        mb_init();
        EXPECT_EQ("", serial());
        mb_fetch_serial_number();
        EXPECT_EQ(value.substr(0, std::min(length, 14U)), serial());
        EXPECT_FALSE(std::filesystem::exists(k_serial_file));
    }
    EXPECT_EQ(4U, std::filesystem::file_size("/var/tmp/victim"));
    m_switch->faults.serial_missing = 1;
    const int before = lowest_free_descriptor();
    mb_fetch_serial_number();
    EXPECT_EQ("12345678901234", serial()); // as it was
    EXPECT_EQ(before, lowest_free_descriptor());
}

TEST_F(Identity, ChildrenThatFetchAtTheSameTimeAllGetIt) {
    m_switch.set_serial("FIRST");
    mb_init();
    for (const auto &descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closed; // the iterator's own
        const std::string file = std::filesystem::read_symlink(descriptor, closed).string();
        EXPECT_FALSE(file.starts_with("/var/tmp/serial")) << "their lock keeps the file system busy";
    }
    mb_fetch_serial_number(); // the turn ends with the fetch, not with the process
    m_switch.set_serial("SN-12345");
    std::vector<pid_t> children;
    for (int i = 0; i < 8; i++) {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::alarm(20); // ends the child if its turn never comes
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
    m_switch->identity.tap0 = 0x020102030405;
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
