// The management process among users who mean it ill, and with nobody to read what it says.

#include "lib/base/local_socket.h"
#include "tests/support/child_process.h"
#include "tests/support/eventually.h"
#include "tests/support/private_scenario.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

const std::array<std::string, 3> k_places = {"/tmp/csh_serv", "/tmp/ipc_zop_serv_addr",
                                             "/tmp/ipc_web_gui_addr"};

void await_socket(const std::string &path) {
    struct stat status {};
    EXPECT_TRUE(eventually([&] {
        return ::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) &&
               status.st_uid == ::geteuid();
    })) << path;
}

/// Somebody's socket, alive as long as its process.
template<int Type> void listen_at(const std::string &path) {
    const int fd = ::socket(AF_UNIX, Type, 0);
    ASSERT_EQ(0, local_bind(fd, path.c_str(), k_no_group));
    EXPECT_TRUE(Type == SOCK_DGRAM || ::listen(fd, 0) == 0);
}

void leave_file(const std::string &path) { std::ofstream(path) << "kept"; }
void leave_directory(const std::string &path) {
    fs::create_directory(path);
    leave_file(path + "/file");
}
void leave_link(const std::string &path) { fs::create_symlink("/tmp/victim", path); }

/// How much lies at the places, or was moved from them.
size_t count_at_places() {
    const fs::directory_iterator all("/tmp"); // which may hold the build's folder as well
    return static_cast<size_t>(std::count_if(begin(all), end(all), [](const fs::directory_entry &entry) {
        return std::any_of(k_places.begin(), k_places.end(), [&](const std::string &place) {
            return entry.path().string().starts_with(place);
        });
    }));
}

void start_among_planted_things() {
    ::umask(0);
    std::ofstream("/tmp/victim") << "kept";
    ::chmod("/tmp/victim", 0600);
    const struct {
        void (*plant)(const std::string &path);
        const char *group;
        unsigned mode;
        unsigned gid;
    } rows[] = {{listen_at<SOCK_DGRAM>, "root", 0660, 0},
                {listen_at<SOCK_STREAM>, nullptr, 0600, 0},
                {leave_file, "nogroup", 0660, k_nobody},
                {leave_directory, nullptr, 0600, 0},
                {leave_link, "nogroup", 0660, k_nobody}};
    for (const auto &row : rows) {
        bystander(false, [&] { std::for_each(k_places.begin(), k_places.end(), row.plant); });
        std::vector<std::string> arguments = {"--desk"};
        if (row.group != nullptr) {
            arguments.insert(arguments.end(), {"--group", row.group});
        }
        child_process server(own_program("zop_serv", arguments), -1);
        await_socket(k_places[0]);
        EXPECT_EQ(0, run_command(own_program("zopsh", {"-c", "show version"})).status);
        for (const std::string &place : k_places) {
            struct stat status {};
            EXPECT_EQ(0, ::lstat(place.c_str(), &status));
            EXPECT_EQ(S_IFSOCK | row.mode, status.st_mode) << place;
            EXPECT_EQ(0U, status.st_uid) << place;
            EXPECT_EQ(row.gid, status.st_gid) << place;
        }
        server.terminate();
        EXPECT_EQ(128 + SIGTERM, server.wait());
        EXPECT_FALSE(
            std::any_of(k_places.begin(), k_places.end(), [](const auto &p) { return fs::exists(p); }));
    }
    EXPECT_EQ(std::size(rows) * k_places.size(), count_at_places()) << "nothing is lost";
    EXPECT_EQ(fs::perms(0600), fs::status("/tmp/victim").permissions());
}

void meet_what_cannot_be_moved() {
    for (const std::string &place : k_places) {
        fs::create_directory(place);
        ASSERT_EQ(0, ::mount("tmpfs", place.c_str(), "tmpfs", 0, nullptr));
        const command_result result = run_command(own_program("zop_serv", {"--desk"}));
        EXPECT_EQ(1, result.status) << place;
        EXPECT_NE(std::string::npos, result.output.find(place + ": cannot be had: ")) << result.output;
        EXPECT_NE(std::string::npos, result.output.find("zop_serv: cannot start the ")) << result.output;
        ASSERT_EQ(0, ::umount(place.c_str()));
        fs::remove(place);
        EXPECT_EQ(0U, count_at_places()) << "what it had started";
    }
    EXPECT_EQ(2, run_command(own_program("zop_serv", {"--group", "no such group"})).status);
}

void refuse_a_strangers_server() {
    bystander(false, [] { listen_at<SOCK_DGRAM>(k_places[0]); });
    const command_result result = run_command(own_program("zopsh", {"-c", "show version"}));
    EXPECT_EQ(2, result.status);
    EXPECT_EQ("zopsh: the shell's server belongs to neither root nor this user; nothing is sent to it\n",
              result.output);
}

/// Makes the server complain, more than its own pipe holds.
void make_it_talk() {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const timeval patience = {20, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    ASSERT_EQ(0, local_connect(fd, k_places[0].c_str()));
    for (int i = 0; i < 4000; i++) {
        ASSERT_EQ(3, ::send(fd, "abc", 3, 0)) << i;
    }
    ::close(fd);
}

void talk_to_nobody() {
    ASSERT_EQ(0, ::mkfifo("/tmp/console", 0600));
    const int filler = ::open("/tmp/console", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string text(4096, 'x');
    while (::write(filler, text.data(), text.size()) > 0) {
    }
    constexpr int k_output = 9;
    const int output = ::open("/tmp/console", O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(k_output, ::dup2(output, k_output));
    child_process server({"sh", "-c", "exec " + own_program("zop_serv").front() + " --desk >&9 2>&9 9>&-"},
                         -1);
    await_socket(k_places[0]);
    make_it_talk();
    EXPECT_EQ(0, run_command(own_program("zopsh", {"-c", "show version"})).status);
    EXPECT_EQ(0, ::fcntl(k_output, F_GETFL) & O_NONBLOCK) << "the caller's terminal, perhaps";
    server.terminate();
    EXPECT_EQ(128 + SIGTERM, server.wait());
}

TEST(ZopServ, WhatStrangersPutAtItsSocketsIsMovedAndTheSocketsAreItsOwn) {
    with_private({"/tmp", "/var"}, start_among_planted_things);
}
TEST(ZopServ, EndsWhenThereIsNoPlaceForASocket) { with_private({"/tmp", "/var"}, meet_what_cannot_be_moved); }
TEST(ZopServ, OutputThatNobodyReadsStopsNothing) { with_private({"/tmp", "/var"}, talk_to_nobody); }
TEST(Zopsh, AStrangersServerIsToldNothing) { with_private({"/tmp"}, refuse_a_strangers_server); }

} // namespace
