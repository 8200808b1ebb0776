#include "lib/base/result.h"
#include "lib/sasi/sasi.h"
#include "tests/support/sim_switch.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace {

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

#ifdef TEST_BARE_MACHINE // an emulator and a sanitizer make system calls of their own
/// From here on the kernel ends this process at any system call but two: the clock, which is none on some
/// machines, and the thread's exit. Returns false where the kernel has no such filters.
bool refuse_system_calls() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clock_gettime, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL),
    };
    const sock_fprog program{static_cast<uint16_t>(std::size(rules)), rules};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(Preload, RequestsMakeNoSystemCall) {
    constexpr int k_no_filters = 77;
    const sim_switch sw;
    ASSERT_GT(sasiOpen(), 0);
    const int status = status_of_child([] {
        if (!refuse_system_calls()) {
            return k_no_filters;
        }
        sasi_block block{};
        for (const sim_request &request : k_sim_requests) {
            block.index = 1;
            block.sub_code = request.sub_code;
            block.request = request.request;
            sasiRequest(request.request, &block);
        }
        ::syscall(SYS_exit, 0);
        return 1;
    });
    if (status == k_no_filters) {
        GTEST_SKIP() << "this kernel has no system call filters";
    }
    EXPECT_EQ(0, status);
    for (const sim_request &request : k_sim_requests) {
        EXPECT_EQ(1U, sw.requests(request.request, request.sub_code));
    }
    sasiClose();
}
#endif

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
