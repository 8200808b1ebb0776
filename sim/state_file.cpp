#include "sim/state_file.h"

#include "lib/base/result.h"
#include "lib/base/unique_fd.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace {

using enum sim_file_result;

// Locks of an open file description: they end with the last descriptor, and unlike a process's locks are not
// lost when the same process opens and closes the file elsewhere.
flock whole_file(short type) {
    flock lock{};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool take_lock(int fd) {
    flock lock = whole_file(F_WRLCK);
    return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

bool is_locked(int fd) {
    flock lock = whole_file(F_WRLCK);
    return ::fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool is_private(const struct stat &info) {
    return S_ISREG(info.st_mode) && info.st_uid == ::geteuid() && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

sim_file_result map_state(int fd, sim_file &file) {
    void *bytes = ::mmap(nullptr, sizeof(sim_state), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (bytes == MAP_FAILED) {
        return failed;
    }
    file.state = static_cast<sim_state *>(bytes);
    return ok;
}

/// Locks what is at `path` now, live or not, so that of several makers only one goes on.
sim_file_result claim(const char *path, unique_fd &claimed) {
    for (;;) {
        claimed.reset(::open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!claimed.valid()) {
            return errno == ELOOP ? not_private : failed;
        }
        struct stat held {};
        struct stat named {};
        if (::fstat(claimed.get(), &held) != 0) {
            return failed;
        }
        if (!is_private(held)) {
            return not_private;
        }
        if (!take_lock(claimed.get())) {
            return errno == EAGAIN || errno == EACCES ? in_use : failed;
        }
        // Another maker may have put its own file there between the open and the lock.
        if (::lstat(path, &named) == 0 && named.st_ino == held.st_ino && named.st_dev == held.st_dev) {
            return ok;
        }
    }
}

/// Maps a new file of the right size under a name of this process, locked.
sim_file_result make_new(const char *name, sim_file &file) {
    ::unlink(name);
    unique_fd fd(::open(name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd.valid() || !take_lock(fd.get()) || ::ftruncate(fd.get(), sizeof(sim_state)) != 0) {
        return failed;
    }
    const sim_file_result result = map_state(fd.get(), file);
    if (result == ok) {
        sim_state_reset(*file.state);
        file.lock_fd = fd.release();
    }
    return result;
}

} // namespace

const char *sim_file_text(sim_file_result result) {
    switch (result) {
    case ok:
        return "a simulated switch";
    case missing:
        return "there is no such file";
    case not_private:
        return "not a regular file of this user that only this user can write";
    case not_a_state:
        return "the file holds no simulated switch of this version";
    case not_live:
        return "the simulated switch has ended";
    case in_use:
        return "another simulated switch is running there";
    case failed:
        break;
    }
    return std::strerror(errno);
}

sim_file_result sim_file_create(const char *path, sim_file &file) {
    file = {nullptr, -1};
    char name[PATH_MAX];
    const int length = std::snprintf(name, sizeof name, "%s.%d", path, static_cast<int>(::getpid()));
    if (length < 0 || static_cast<size_t>(length) >= sizeof name) {
        errno = ENAMETOOLONG;
        return failed;
    }
    unique_fd claimed;
    sim_file_result result = claim(path, claimed);
    if (result == ok) {
        result = make_new(name, file);
    }
    if (result == ok && ::rename(name, path) != 0) {
        result = failed;
    }
    if (result != ok) {
        const int error = errno;
        sim_file_remove(name, file);
        errno = error;
    }
    return result;
}

sim_file_result sim_file_open(const char *path, sim_file &file) {
    file = {nullptr, -1};
    const unique_fd fd(::open(path, O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.valid()) {
        return errno == ENOENT || errno == ENOTDIR ? missing : errno == ELOOP ? not_private : failed;
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0) {
        return failed;
    }
    if (!is_private(info)) {
        return not_private;
    }
    if (!is_locked(fd.get())) {
        return not_live;
    }
    if (info.st_size != static_cast<off_t>(sizeof(sim_state))) {
        return not_a_state;
    }
    const sim_file_result result = map_state(fd.get(), file);
    if (result != ok) {
        return result;
    }
    const sim_state &state = *file.state;
    if (state.magic != k_sim_magic || state.version != k_sim_version || state.size != sizeof state) {
        sim_file_close(file);
        return not_a_state;
    }
    return ok;
}

void sim_file_close(sim_file &file) {
    if (file.state != nullptr) {
        ::munmap(file.state, sizeof *file.state);
        file.state = nullptr;
    }
}

void sim_file_remove(const char *path, sim_file &file) {
    // Nothing can be done about a file that is gone already.
    ignore_result(::unlink(path));
    sim_file_close(file);
    unique_fd(file.lock_fd).reset();
    file.lock_fd = -1;
}
