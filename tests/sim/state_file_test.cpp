#include "sim/state_file.h"

#include "lib/base/unique_fd.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>

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
        sim_file file;
        const sim_file_result result = sim_file_open(path.c_str(), file);
        sim_file_close(file);
        return result;
    }
    void write_it(size_t size, mode_t mode) const {
        const unique_fd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600));
        ASSERT_EQ(0, ::ftruncate(fd.get(), static_cast<off_t>(size)));
        ASSERT_EQ(0, ::fchmod(fd.get(), mode));
    }

    std::string path;

private:
    std::array<char, 32> m_folder{"/tmp/state_file.XXXXXX"};
};

TEST_F(StateFile, LivesAsLongAsItsMakerAndIsReplacedAfterIt) {
    EXPECT_EQ(sim_file_result::missing, open_it());
    int made[2];
    ASSERT_EQ(0, ::pipe(made));
    const pid_t maker = ::fork();
    if (maker == 0) {
        sim_file file;
        const bool ok = sim_file_create(path.c_str(), file) == sim_file_result::ok;
        ::_exit(ok && ::write(made[1], "x", 1) == 1 && ::pause() == 0 ? 0 : 1);
    }
    ::close(made[1]);
    char byte = 0;
    ASSERT_EQ(1, ::read(made[0], &byte, 1));
    ::close(made[0]);
    EXPECT_EQ(sim_file_result::ok, open_it());
    sim_file file;
    EXPECT_EQ(sim_file_result::in_use, sim_file_create(path.c_str(), file));
    EXPECT_EQ(sim_file_result::ok, open_it());

    ::kill(maker, SIGKILL);
    ::waitpid(maker, nullptr, 0);
    EXPECT_EQ(sim_file_result::not_live, open_it());
    ASSERT_EQ(sim_file_result::ok, sim_file_create(path.c_str(), file));
    EXPECT_EQ(sim_file_result::ok, open_it());
    file.state->version++;
    EXPECT_EQ(sim_file_result::not_a_state, open_it());
    sim_file_remove(path.c_str(), file);
    EXPECT_EQ(sim_file_result::missing, open_it());
}

TEST_F(StateFile, ForeignFilesAreRefused) {
    write_it(sizeof(sim_state), 0600);
    EXPECT_EQ(sim_file_result::not_live, open_it());
    write_it(sizeof(sim_state), 0620);
    EXPECT_EQ(sim_file_result::not_private, open_it());
    sim_file file;
    EXPECT_EQ(sim_file_result::not_private, sim_file_create(path.c_str(), file));
    ::unlink(path.c_str());
    ASSERT_EQ(0, ::symlink("/dev/null", path.c_str()));
    EXPECT_EQ(sim_file_result::not_private, open_it());
    EXPECT_EQ(sim_file_result::not_private, sim_file_create(path.c_str(), file));
    // One that is locked, as a live one is, but cut short: it would end its reader with SIGBUS.
    ::unlink(path.c_str());
    ASSERT_EQ(sim_file_result::ok, sim_file_create(path.c_str(), file));
    ASSERT_EQ(0, ::truncate(path.c_str(), sizeof(sim_state) - 1));
    EXPECT_EQ(sim_file_result::not_a_state, open_it());
    sim_file_remove(path.c_str(), file);
}

} // namespace
