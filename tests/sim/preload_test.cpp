#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "tests/support/sim_switch.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

TEST(Preload, DeviceLeavesForeignControlCallsAlone) {
    const sim_switch sw;
    const int fd = sasiOpen();
    ASSERT_GT(fd, 0);
    int pending = 0;
    EXPECT_EQ(-1, ::ioctl(fd, FIONREAD, &pending));
    EXPECT_EQ(ENOTTY, errno);
    sasi_block block{};
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

TEST(PreloadDeathTest, APortThatIsNoneEndsTheProgram) {
    const sim_switch sw;
    sockaddr_in any = {AF_INET, htons(502), {}, {}};
    for (const char *wrong : {"65536", "-1", "5o2"}) {
        ::setenv("SWITCHSIM_PORT", wrong, 1);
        EXPECT_EXIT(ignore_result(::bind(-1, reinterpret_cast<const sockaddr *>(&any), sizeof any)),
                    testing::ExitedWithCode(1), "not a port number");
    }
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
