#include "tests/support/private_mounts.h"

#include <algorithm>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace {

bool write_file(const char *path, const std::string &text) {
    return static_cast<bool>(std::ofstream(path) << text << std::flush);
}

/// In a user namespace of this process's own, it is root; nobody else is anybody.
bool become_root() {
    const std::string user = "0 " + std::to_string(::geteuid()) + " 1";
    const std::string group = "0 " + std::to_string(::getegid()) + " 1";
    return ::unshare(CLONE_NEWUSER) == 0 && write_file("/proc/self/setgroups", "deny") &&
           write_file("/proc/self/uid_map", user) && write_file("/proc/self/gid_map", group);
}

} // namespace

bool with_empty_directories(std::initializer_list<const char *> directories) {
    if ((::geteuid() != 0 && !become_root()) || ::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return false;
    }
    return std::all_of(directories.begin(), directories.end(), [](const char *directory) {
        return ::mount("tmpfs", directory, "tmpfs", 0, nullptr) == 0;
    });
}
