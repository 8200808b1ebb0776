#include "lib/base/plain_file.h"

#include "lib/base/io.h"
#include "lib/base/result.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace {

bool write_to_disk(int fd, std::string_view text, mode_t mode) {
    return ::fchmod(fd, mode) == 0 &&
           (text.empty() || write_full(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size())) &&
           ::fsync(fd) == 0;
}

/// Opens the folder that a file is in.
unique_fd open_folder(const char *path) {
    const char *const slash = std::strrchr(path, '/');
    const std::string folder =
        slash == nullptr ? "." : std::string(path, slash == path ? 1 : static_cast<size_t>(slash - path));
    return unique_fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Writes out that a name has changed. Some file systems do so by themselves, and refuse.
bool sync_folder(const unique_fd &folder) { return ::fsync(folder.get()) == 0 || errno == EINVAL; }

} // namespace

plain_file plain_file_open(const char *path, int flags, mode_t mode) {
    plain_file file = {unique_fd(::open(path, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode))};
    struct stat info {};
    if (!file.fd.valid() || ::fstat(file.fd.get(), &info) != 0) {
        return {};
    }
    if (!S_ISREG(info.st_mode) || info.st_nlink != 1) {
        errno = EPERM;
        return {};
    }
    file.owner = info.st_uid;
    return file;
}

bool plain_file_replace(const char *path, std::string_view text, mode_t mode) {
    std::string made = std::string(path) + ".XXXXXX";
    const unique_fd folder = open_folder(path);
    const unique_fd file(folder.valid() ? ::mkostemp(made.data(), O_CLOEXEC) : -1);
    if (!file.valid()) {
        return false;
    }
    if (write_to_disk(file.get(), text, mode) && ::rename(made.c_str(), path) == 0) {
        return sync_folder(folder);
    }
    const int error = errno;
    ignore_result(::unlink(made.c_str()));
    errno = error;
    return false;
}
