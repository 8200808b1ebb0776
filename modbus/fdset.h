#pragma once

#include <sys/select.h>

/// A select() set and its highest descriptor. Descriptors that the fixed 1024-bit set cannot hold, negative
/// ones among them, are ignored: a stray one must not write outside the set.
struct descriptor_set {
    fd_set bits;
    int highest;
};

constexpr bool fdset_can_hold(int fd) { return fd >= 0 && fd < FD_SETSIZE; }

/// Empties the set; the highest descriptor is then -1.
inline void fdset_clear(descriptor_set &set) {
    FD_ZERO(&set.bits);
    set.highest = -1;
}

/// Adds a descriptor and raises the highest one to it.
inline void fdset_add(descriptor_set &set, int fd) {
    if (fdset_can_hold(fd)) {
        FD_SET(fd, &set.bits);
        set.highest = fd > set.highest ? fd : set.highest;
    }
}

/// Removes a descriptor; the highest one stays as it is.
inline void fdset_remove(descriptor_set &set, int fd) {
    if (fdset_can_hold(fd)) {
        FD_CLR(fd, &set.bits);
    }
}

inline bool fdset_has(const descriptor_set &set, int fd) {
    return fdset_can_hold(fd) && FD_ISSET(fd, &set.bits);
}
