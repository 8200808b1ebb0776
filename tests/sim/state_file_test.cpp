#include "sim/state_file.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class StateFile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(nullptr, ::mkdtemp(m_folder.data()));
        path = std::string(m_folder.data()) + "/state";
    }
    void TearDown() override {
        ::unlink(path.c_str());
        // Nothing else may be left in it.
        EXPECT_EQ(0, ::rmdir(m_folder.data()));
    }

    sim_file_result open_it() const {
        sim_file opened;
        const sim_file_result result = sim_file_open(path.c_str(), opened);
        sim_file_close(opened);
        return result;
    }

    std::string path;
    sim_file file;  // of the maker
    sim_file other; // of another one

private:
    std::array<char, 32> m_folder{"/tmp/state_file.XXXXXX"};
};

TEST_F(StateFile, LivesAsLongAsItsMakerAndIsReplacedAfterIt) {
    EXPECT_EQ(sim_file_result::missing, open_it());
    ASSERT_EQ(sim_file_result::ok, sim_file_create(path.c_str(), file));
    EXPECT_EQ(sim_file_result::in_use, sim_file_create(path.c_str(), other));
    EXPECT_EQ(sim_file_result::ok, open_it());
    ::close(file.lock_fd); // as the end of the maker does
    file.lock_fd = -1;
    sim_file_close(file);
    EXPECT_EQ(sim_file_result::not_live, open_it());

    ASSERT_EQ(sim_file_result::ok, sim_file_create(path.c_str(), file));
    EXPECT_EQ(sim_file_result::ok, open_it());
    file.state->version++;
    EXPECT_EQ(sim_file_result::not_a_state, open_it());
    sim_file_remove(path.c_str(), file);
    EXPECT_EQ(sim_file_result::missing, open_it());
}

TEST_F(StateFile, ForeignFilesAreRefused) {
    ASSERT_EQ(0, ::symlink("/dev/null", path.c_str()));
    EXPECT_EQ(sim_file_result::not_private, open_it());
    EXPECT_EQ(sim_file_result::not_private, sim_file_create(path.c_str(), file));
    ::unlink(path.c_str());
    ASSERT_EQ(sim_file_result::ok, sim_file_create(path.c_str(), file));
    ASSERT_EQ(0, ::chmod(path.c_str(), 0620));
    EXPECT_EQ(sim_file_result::not_private, open_it());
    EXPECT_EQ(sim_file_result::not_private, sim_file_create(path.c_str(), other));
    // One that is locked, as a live one is, but cut short would end its reader with SIGBUS.
    ASSERT_EQ(0, ::chmod(path.c_str(), 0600));
    ASSERT_EQ(0, ::truncate(path.c_str(), sizeof(sim_state) - 1));
    EXPECT_EQ(sim_file_result::not_a_state, open_it());
    sim_file_remove(path.c_str(), file);
}

} // namespace
