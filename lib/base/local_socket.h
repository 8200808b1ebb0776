#pragma once

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

// Local sockets at paths in directories where anybody may put something, "/tmp" above all. What lies at such
// a path is told by the owner of the file: the kernel makes a socket's file the user's who binds it, and
// keeps credentials of the other end for stream sockets only.

/// Stands for no group where one may be given access.
constexpr gid_t k_no_group = static_cast<gid_t>(-1);

struct local_address {
    sockaddr_un name;
    socklen_t length; // family and path, without the path's NUL
};

/// Makes the address of a path. Returns false with ENAMETOOLONG, for a path is never cut, when it has more
/// than the 107 characters that an address holds.
[[nodiscard]] bool local_address_of(const char *path, local_address *address);

/// Renames what lies at `path` to a name beside it that nobody can guess, and tells standard error. Returns
/// whether the path is free then; errno says why not.
[[nodiscard]] bool local_move_aside(const char *path);

/// Binds `fd` to `path`. From its first moment the socket's file is open to this user alone (0600); with a
/// group, its members are let in then (0660). The umask does not matter.
///
/// A socket there that somebody has bound still, root or this user, is left alone: EADDRINUSE. One of theirs
/// that nobody has any more is removed. Anything else there is moved aside. Standard error is told why there
/// is no room.
///
/// Returns 0, or -1 with errno set; then no socket of this call is left at the path. From one thread.
[[nodiscard]] int local_bind(int fd, const char *path, gid_t group);

/// Removes the files of the sockets that this process has bound, where they lie still. From any thread, and
/// from a signal handler.
void local_remove_bound();

/// Whether root or this user has a socket bound at `path`, of whatever type.
[[nodiscard]] bool local_is_served(const char *path);

/// Connects `fd` to the socket at `path`, if that belongs to root or to this user. Returns 0, -1 with errno
/// set, or -2 when what lies there belongs to somebody else.
[[nodiscard]] int local_connect(int fd, const char *path);
