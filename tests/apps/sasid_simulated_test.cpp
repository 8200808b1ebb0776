#include "apps/sasid/source.h"

#include "lib/base/bytes.h"
#include "sim/state_file.h"
#include "tests/support/eventually.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace {

/// A folder with room for a simulated switch, and the source that looks there.
class SasidSimulated : public testing::Test {
protected:
    SasidSimulated() {
        EXPECT_NE(nullptr, ::mkdtemp(m_folder));
        m_path = std::string(m_folder) + "/state";
        // As --user has it: where the file is is found out when the server starts, not before.
        m_source = &sasid_simulated_source("");
        ::setenv("SWITCHSIM_STATE", m_path.c_str(), 1);
        std::string error;
        EXPECT_TRUE(m_source->start(error));
    }
    ~SasidSimulated() override {
        end_switch();
        ::rmdir(m_folder);
        ::unsetenv("SWITCHSIM_STATE");
    }
    void make_switch(uint32_t alarm) {
        ASSERT_EQ(sim_file_result::ok, sim_file_create(m_path.c_str(), m_file));
        sim_store(m_file.state->alarm_word, alarm);
    }
    void end_switch() {
        if (m_file.state != nullptr) {
            sim_file_remove(m_path.c_str(), m_file);
            m_file.state = nullptr;
        }
    }
    /// The alarm word, or a negative number: the errno number with which the call failed.
    int64_t alarm() const {
        sasi_block block = {};
        block.request = k_sasi_alarm;
        block.sub_code = k_sub_alarm_status;
        uint32_t delay_ms = 0;
        const int32_t error = m_source->answer(k_sasi_alarm, block, &delay_ms);
        if (error != 0) {
            return -error;
        }
        return load_native<uint32_t>(reinterpret_cast<uint8_t *>(&block) + k_at_alarm_word);
    }

    char m_folder[32] = "/tmp/sasid_test.XXXXXX";
    std::string m_path;
    sim_file m_file = {nullptr, -1};
    const sasid_source *m_source = nullptr;
};

TEST_F(SasidSimulated, ASwitchMayComeAndGoAndAnotherComes) {
    EXPECT_EQ(-EIO, alarm());
    make_switch(1);
    EXPECT_EQ(1, alarm());
    sim_store(m_file.state->alarm_word, uint32_t{2});
    EXPECT_EQ(2, alarm());
    end_switch();
    EXPECT_TRUE(eventually([&] { return alarm() == -EIO; }));
    make_switch(3);
    EXPECT_EQ(3, alarm());
    // One that is replaced while requests go on.
    end_switch();
    make_switch(4);
    EXPECT_TRUE(eventually([&] { return alarm() == 4; }));
}

TEST_F(SasidSimulated, FaultsAreThoseOfTheSwitch) {
    make_switch(0);
    sim_request_fault &fault =
        m_file.state->faults.requests[sasi_request_kind(k_sasi_port, k_sub_port_media)];
    const uint32_t *const count =
        &m_file.state->request_counts[sasi_request_kind(k_sasi_port, k_sub_port_media)];
    fault = {k_sim_fault_fail, 0, 1500};
    sasi_block block = {};
    block.request = k_sasi_port;
    block.sub_code = k_sub_port_media;
    block.index = 1;
    block.return_code = 99;
    uint32_t delay_ms = 0;
    EXPECT_EQ(0, m_source->answer(k_sasi_port, block, &delay_ms));
    EXPECT_EQ(1500U, delay_ms);
    EXPECT_EQ(99, block.return_code); // not answered yet
    EXPECT_EQ(0U, *count);
    EXPECT_EQ(EIO, m_source->answer(k_sasi_port, block, nullptr)); // when the time is over, without waiting
    EXPECT_EQ(1U, *count);
    EXPECT_EQ(0, m_source->refusal());
    sim_store(m_file.state->faults.device_missing, uint32_t{1});
    EXPECT_EQ(ENOENT, m_source->refusal());
}

} // namespace
