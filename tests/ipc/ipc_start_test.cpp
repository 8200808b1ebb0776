// How the servers start: who the process is for it, and what cannot be had. Its user and groups are only
// played: the calls that set them are answered here.

#include "lib/ipc/internal/ipc_privs.h"
#include "tests/ipc/ipc_peer.h"

#include <cerrno>
#include <filesystem>
#include <grp.h>
#include <pwd.h>
#include <sys/mount.h>

namespace {

std::string s_calls;       // of those that set an id
std::string s_failing;     // the call that fails
uid_t s_user = ::getuid(); // the effective one
bool s_no_thread = false;  // the next one cannot be had

int played(const std::string &name, unsigned first, unsigned second) {
    s_calls += name + " " + std::to_string(int(first)) + " " + std::to_string(int(second)) + "\n";
    errno = EPERM;
    return s_failing == s_calls || s_failing == name ? -1 : 0;
}

} // namespace

extern "C" {
int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
int __wrap_pthread_create(pthread_t *id, const pthread_attr_t *attributes, void *(*run)(void *), void *arg) {
    return std::exchange(s_no_thread, false) ? EAGAIN : __real_pthread_create(id, attributes, run, arg);
}
uid_t geteuid() noexcept { return s_user; }
int seteuid(uid_t uid) noexcept {
    const int result = played("seteuid", uid, 0);
    s_user = result == 0 ? uid : s_user;
    return result;
}
int setreuid(uid_t ruid, uid_t euid) noexcept {
    const int result = played("setreuid", ruid, euid);
    s_user = result == 0 ? euid : s_user;
    return result;
}
int setregid(gid_t rgid, gid_t egid) noexcept { return played("setregid", rgid, egid); }
int setgroups(size_t n, const gid_t *groups) noexcept { return played("setgroups", unsigned(n), *groups); }
}

TEST(IpcPrivs, UserAndGroupsAreTakenAndTheUserIsRaisedAndLowered) {
    const uid_t own = s_user;
    const uid_t nobody = ::getpwnam("nobody")->pw_uid;
    const std::string user = std::to_string(nobody);
    const std::string group = std::to_string(::getgrnam("nogroup")->gr_gid);
    const ipc_privs_settings all = {"nobody", "nogroup", "root", 0};
    iprivs_init(&all);
    EXPECT_EQ("setgroups 1 0\nsetregid " + group + " " + group + "\nsetreuid -1 " + user + "\n", s_calls);
    EXPECT_EQ(k_ipc_privs_lowered, iprivs_current());
    EXPECT_TRUE(iprivs_change(k_ipc_privs_raise) == 0 && s_user == own);
    EXPECT_EQ(k_ipc_privs_raised, iprivs_current());
    EXPECT_TRUE(iprivs_change(k_ipc_privs_lower) == 0 && s_user == nobody);
    EXPECT_EQ(-1, iprivs_change(2));
    s_failing = "seteuid";
    EXPECT_EQ(-1, iprivs_change(k_ipc_privs_raise));
    EXPECT_EQ(-1, iprivs_change(k_ipc_privs_lower));
}

TEST(IpcPrivs, WithoutAUserTheUserStays) {
    const std::string stays = "seteuid " + std::to_string(s_user) + " 0\n";
    const std::pair<ipc_privs_settings, std::string> k_cases[] = {
        {{nullptr, nullptr, "root", 0}, ""}, // a vty group alone is none
        {{nullptr, nullptr, nullptr, 1}, stays},
        {{nullptr, "root", nullptr, 0}, "setregid 0 0\n" + stays},
    };
    for (const auto &[settings, calls] : k_cases) {
        s_calls = "";
        iprivs_init(&settings);
        EXPECT_EQ(0, iprivs_change(k_ipc_privs_raise));
        EXPECT_EQ(calls, s_calls);
        EXPECT_EQ(k_ipc_privs_lowered, iprivs_current());
    }
}

TEST(IpcPrivs, WhatCannotBeTakenEndsTheProcess) {
    const std::string refused = "Operation not permitted\n";
    const std::tuple<ipc_privs_settings, const char *, std::string> k_cases[] = {
        {{"nosuch", nullptr, nullptr, 0}, "", "privs_init: could not lookup user nosuch\n"},
        {{"root", nullptr, "nosuch", 0}, "", "privs_init: could not lookup vty group nosuch\n"},
        {{nullptr, "nosuch", nullptr, 0}, "", "privs_init: could not lookup group nosuch\n"},
        {{"root", "root", "root", 0}, "setgroups", "privs_init: could not setgroups, " + refused},
        {{"root", "root", "root", 0}, "setregid", "iprivs_init: could not setregid, " + refused},
        {{"root", "root", "root", 0}, "setreuid", "privs_init .uid.: could not setreuid, " + refused},
    };
    for (const auto &[settings, failing, text] : k_cases) {
        s_failing = failing;
        EXPECT_EXIT(iprivs_init(&settings), testing::ExitedWithCode(1), "^" + text + "$");
    }
    EXPECT_EXIT(iprivs_init(nullptr), testing::ExitedWithCode(1), "^iprivs_init: called with NULL arg!\n$");
}

class IpcStart : public testing::Test {
protected:
    IpcStart() {
        EXPECT_TRUE(with_empty_directories({"/tmp"}));
        ipc_get_settings().privs = &k_settings;
    }
    static constexpr ipc_privs_settings k_settings = {"nobody", nullptr, nullptr, 0};
    const std::string m_up = "seteuid " + std::to_string(s_user) + " 0\n";
    const std::string m_user = std::to_string(::getpwnam("nobody")->pw_uid);
    const std::string m_init = "setreuid -1 " + m_user + "\n";
    const std::string m_down = "seteuid " + m_user + " 0\n";
};

TEST_F(IpcStart, BothServersRaiseToTheUserFromBeforeTheFirst) {
    EXPECT_EQ(0, ipc_serv_start());
    EXPECT_EQ(0, ipc_web_start());
    EXPECT_EQ(m_init + m_up + m_down + m_up + m_down, s_calls);
}

TEST_F(IpcStart, AServerThatCannotBeRaisedOrLoweredDoesNotStart) {
    s_failing = m_init + m_up;
    EXPECT_EQ(-1, ipc_serv_start());
    EXPECT_TRUE(logged("3 Unable to raise previleges on unix socket binding.. "));
    EXPECT_FALSE(std::filesystem::exists(k_ipc_serv_path));
    s_failing = m_init + m_up + m_up + m_down;
    EXPECT_EQ(-1, ipc_web_start());
    EXPECT_TRUE(logged("3 Unable to make previleges low on unix socket binding.. "));
    s_user = ::getuid();
    EXPECT_TRUE(local_is_served(k_ipc_web_path)) << "it stays bound";
    ipc_header header = {5, 300, k_ipc_kind_one_way, 42};
    protoipc_send_request(&header, nullptr, 0, nullptr, 0); // returns: there is no server
}

TEST_F(IpcStart, AFailedStartLeavesNothingAndIsNotTriedAgain) {
    ASSERT_TRUE(std::filesystem::create_directory(k_ipc_web_path));
    ASSERT_EQ(0, ::mount("tmpfs", k_ipc_web_path, "tmpfs", 0, nullptr)); // it cannot be moved
    EXPECT_EQ(-1, ipc_web_start());
    EXPECT_TRUE(logged("4 Can't bind to stream socket: "));
    EXPECT_TRUE(logged("4 proto_ipc can't provice full functionality due to above error"));
    EXPECT_EQ(m_init + m_up + m_down, s_calls) << "lowered again";
    EXPECT_EQ(0, ipc_web_start());
    s_no_thread = true;
    EXPECT_EQ(-1, ipc_serv_start());
    EXPECT_TRUE(logged("3 Failure: protocol IPC thread creation error. "));
    s_user = ::getuid();
    EXPECT_FALSE(local_is_served(k_ipc_serv_path));
}
