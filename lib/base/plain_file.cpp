#include "lib/base/plain_file.h"

#include "lib/base/folder_handle.h"
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

constexpr std::string_view k_unfinished = ".XXXXXX"; // what a file's name has more until it is whole

bool write_to_disk(int fd, std::string_view text, mode_t mode) {
    return ::fchmod(fd, mode) == 0 &&
           (text.empty() || write_full(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size())) &&
           ::fsync(fd) == 0;
}

/// The folder that a file is in.
std::string folder_of(const char *path) {
    const char *const slash = std::strrchr(path, '/');
    return slash == nullptr ? "." : std::string(path, slash == path ? 1 : static_cast<size_t>(slash - path));
}

unique_fd open_folder(const char *path) {
    return unique_fd(::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Whether `name` is the file's, with what an unfinished one has more.
bool is_unfinished(std::string_view name, std::string_view file) {
    return name.size() == file.size() + k_unfinished.size() && name.substr(0, file.size()) == file &&
           name[file.size()] == k_unfinished.front();
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
    std::string made = std::string(path).append(k_unfinished);
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

void plain_file_remove_unfinished(const char *path) {
    const folder_handle folder(::opendir(folder_of(path).c_str()));
    const char *const slash = std::strrchr(path, '/');
    const std::string_view file = slash == nullptr ? path : slash + 1;
    while (const dirent *const entry = folder != nullptr ? ::readdir(folder.get()) : nullptr) {
        if (is_unfinished(entry->d_name, file)) {
            ignore_result(::unlinkat(::dirfd(folder.get()), entry->d_name, 0)); // a folder stays
        }
    }
}
