#include "tests/support/private_network.h"

#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

bool with_private_network(bool address) {
    if (::unshare(CLONE_NEWNET) != 0) {
        return false;
    }
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP; // gives it 127.0.0.1
    bool done = ::ioctl(fd, SIOCSIFFLAGS, &loopback) == 0;
    if (!address) {
        loopback.ifr_addr = {};
        loopback.ifr_addr.sa_family = AF_INET; // 0.0.0.0 takes it away
        done = done && ::ioctl(fd, SIOCSIFADDR, &loopback) == 0;
    }
    ::close(fd);
    return done;
}
