#include "tests/support/private_mounts.h"

#include "lib/base/unique_fd.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
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

/// Mounts an empty file system; the build's folder, which holds "bin" with this program, stays where it is.
bool empty_directory(const std::string &directory) {
    std::error_code error;
    const std::string build =
        std::filesystem::read_symlink("/proc/self/exe", error).parent_path().parent_path();
    const unique_fd before(::open(build.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (::mount("tmpfs", directory.c_str(), "tmpfs", 0, nullptr) != 0) {
        return false;
    }
    if (!build.starts_with(directory + "/")) {
        return true;
    }
    std::filesystem::create_directories(build, error); // what fails here fails in the mount
    const std::string seen = "/proc/self/fd/" + std::to_string(before.get());
    return ::mount(seen.c_str(), build.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

} // namespace

bool with_empty_directories(std::initializer_list<const char *> directories) {
    if ((::geteuid() != 0 && !become_root()) || ::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return false;
    }
    return std::all_of(directories.begin(), directories.end(), empty_directory);
}
