#include "lib/base/local_socket.h"

#include "lib/base/unique_fd.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t k_owner_only = S_IRUSR | S_IWUSR;
constexpr mode_t k_owner_and_group = k_owner_only | S_IRGRP | S_IWGRP;

// Somebody who puts things there as fast as they are moved away wins some of the races, but not all.
constexpr int k_bind_tries = 200;

struct bound_socket {
    std::array<char, sizeof(sockaddr_un::sun_path)> path;
    dev_t device;
    ino_t inode;
};

std::array<bound_socket, 4> s_bound = {}; // a place is written before the count makes it known
std::atomic<size_t> s_bound_count = 0;

/// What lies at a path, held so that nobody can put something else in its place.
struct found_file {
    unique_fd fd; // invalid: nothing, or it cannot be looked at (errno)
    struct stat status;
};

found_file find(const char *path) {
    found_file found = {unique_fd(::open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC)), {}};
    if (found.fd.valid() && ::fstat(found.fd.get(), &found.status) != 0) {
        found.fd.reset();
    }
    return found;
}

/// A name for calls that take none but a path.
struct descriptor_path {
    explicit descriptor_path(const found_file &found) {
        std::snprintf(text, sizeof text, "/proc/self/fd/%d", found.fd.get());
    }
    char text[32];
};

/// A further name would make it a socket that was meant for other things.
bool is_ours(const found_file &found) {
    return (found.status.st_uid == 0 || found.status.st_uid == ::geteuid()) && found.status.st_nlink == 1;
}

int connect_to(int fd, const found_file &found) {
    local_address address;
    return local_address_of(descriptor_path(found).text, &address)
               ? ::connect(fd, reinterpret_cast<const sockaddr *>(&address.name), address.length)
               : -1;
}

/// Only the kernel's word that nobody has it counts: a socket of another type, or one that does not let this
/// user in, is somebody's.
bool is_bound(const found_file &found) {
    const unique_fd probe(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return S_ISSOCK(found.status.st_mode) && (connect_to(probe.get(), found) == 0 || errno != ECONNREFUSED);
}

uint64_t unguessable() {
    uint64_t number = 0;
    if (::getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number) { // too early after the boot
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        number = static_cast<uint64_t>(now.tv_nsec);
    }
    return number;
}

/// Makes room at a path. Returns false with errno set when it cannot, EADDRINUSE for a socket to be left
/// alone.
bool make_room(const char *path) {
    const found_file found = find(path);
    if (!found.fd.valid()) {
        return errno == ENOENT; // gone by now
    }
    if (!S_ISSOCK(found.status.st_mode) || !is_ours(found)) {
        return local_move_aside(path);
    }
    if (is_bound(found)) {
        errno = EADDRINUSE;
        return false;
    }
    return ::unlink(path) == 0 || errno == ENOENT;
}

int bind_with_room(int fd, const char *path, const local_address &address) {
    for (int tries = 0; ::bind(fd, reinterpret_cast<const sockaddr *>(&address.name), address.length) != 0;
         tries++) {
        if (errno != EADDRINUSE || tries == k_bind_tries) {
            return -1;
        }
        if (!make_room(path)) {
            const int error = errno;
            std::fprintf(stderr, "%s: cannot be had: %s\n", path, std::strerror(error));
            errno = error;
            return -1;
        }
    }
    return 0;
}

/// Gives the file its group, and then its mode, which the umask may have made less.
bool open_to(const found_file &own, gid_t group) {
    const descriptor_path path(own);
    return (group == k_no_group || ::chown(path.text, static_cast<uid_t>(-1), group) == 0) &&
           ::chmod(path.text, group == k_no_group ? k_owner_only : k_owner_and_group) == 0;
}

void remember(const char *path, const struct stat &status) {
    const size_t place = s_bound_count;
    if (place < s_bound.size()) {
        std::snprintf(s_bound[place].path.data(), s_bound[place].path.size(), "%s", path);
        s_bound[place].device = status.st_dev;
        s_bound[place].inode = status.st_ino;
        s_bound_count = place + 1;
    }
}

} // namespace

bool local_address_of(const char *path, local_address *address) {
    const size_t length = std::strlen(path);
    if (length >= sizeof address->name.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    *address = {};
    address->name.sun_family = AF_UNIX;
    std::memcpy(address->name.sun_path, path, length);
    address->length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    return true;
}

bool local_move_aside(const char *path) {
    char aside[sizeof(sockaddr_un::sun_path) + 32];
    std::snprintf(aside, sizeof aside, "%s.moved-%016" PRIx64, path, unguessable());
    if (::rename(path, aside) != 0) {
        return errno == ENOENT;
    }
    std::fprintf(stderr, "%s: what lay there is %s now\n", path, aside);
    return true;
}

int local_bind(int fd, const char *path, gid_t group) {
    local_address address;
    // The file gets the mode of the socket itself, less the umask.
    if (!local_address_of(path, &address) || ::fchmod(fd, k_owner_only) != 0 ||
        bind_with_room(fd, path, address) != 0) {
        return -1;
    }
    const found_file own = find(path);
    if (own.fd.valid() && is_ours(own) && open_to(own, group)) {
        remember(path, own.status);
        return 0;
    }
    const int error = own.fd.valid() && !is_ours(own) ? EPERM : errno;
    ::unlink(path);
    errno = error;
    return -1;
}

void local_remove_bound() {
    const size_t count = s_bound_count;
    for (size_t i = 0; i < count; i++) {
        struct stat status {};
        if (::lstat(s_bound[i].path.data(), &status) == 0 && status.st_dev == s_bound[i].device &&
            status.st_ino == s_bound[i].inode) {
            ::unlink(s_bound[i].path.data());
        }
    }
}

bool local_is_served(const char *path) {
    const found_file found = find(path);
    return found.fd.valid() && is_ours(found) && is_bound(found);
}

int local_connect(int fd, const char *path) {
    const found_file found = find(path);
    if (!found.fd.valid()) {
        return -1;
    }
    return is_ours(found) ? connect_to(fd, found) : -2;
}
