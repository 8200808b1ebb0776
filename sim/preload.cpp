// The preloaded library: the calls through which a program meets the board, each answered by the simulated
// switch when it is the board that is meant and passed on otherwise.
//
// Assembler names rather than C names: on 32-bit machines the C library's headers redirect several of these
// to other symbols, and with fortification they are inline functions already.

#include "lib/base/mbap.h"
#include "lib/base/parse_number.h"
#include "lib/base/result.h"
#include "lib/base/unique_fd.h"
#include "lib/time/sntp_record.h"
#include "sim/attach.h"
#include "sim/date_command.h"
#include "sim/device.h"
#include "sim/shell.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/rtc.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>

#define INTERPOSE(symbol) __asm__(symbol) __attribute__((visibility("default")))

extern "C" {
int interposed_open(const char *path, int flags, ...) INTERPOSE("open");
int interposed_open64(const char *path, int flags, ...) INTERPOSE("open64");
int interposed_open_2(const char *path, int flags) INTERPOSE("__open_2");
int interposed_open64_2(const char *path, int flags) INTERPOSE("__open64_2");
int interposed_close(int fd) INTERPOSE("close");
// Its callers pass the argument as they would to a function with three of them.
int interposed_ioctl(int fd, unsigned long request, void *argument) INTERPOSE("ioctl");
#if __SIZEOF_POINTER__ == 4
int interposed_ioctl_time64(int fd, unsigned long request, void *argument) INTERPOSE("__ioctl_time64");
#endif
int interposed_system(const char *command) INTERPOSE("system");
pid_t interposed_fork() INTERPOSE("fork");
int interposed_bind(int fd, const sockaddr *address, socklen_t size) INTERPOSE("bind");
int interposed_listen(int fd, int backlog) INTERPOSE("listen");
ssize_t interposed_sendto(int fd, const void *bytes, size_t size, int flags, const sockaddr *address,
                          socklen_t address_size) INTERPOSE("sendto");
}

namespace {

using open_fn = int (*)(const char *, int, ...);
using close_fn = int (*)(int);
using ioctl_fn = int (*)(int, unsigned long, ...);
using system_fn = int (*)(const char *);
using fork_fn = pid_t (*)();
using bind_fn = int (*)(int, const sockaddr *, socklen_t);
using listen_fn = int (*)(int, int);
using sendto_fn = ssize_t (*)(int, const void *, size_t, int, const sockaddr *, socklen_t);

constexpr int k_descriptors = 1024;
constexpr unsigned long k_hardware_address_query = SIOCGIFHWADDR;

// The next definition of each symbol, looked up at load or, when a call comes earlier, at that call. Written
// by whoever looks up first, with the same value by all.
std::atomic<void *> s_open, s_open64, s_close, s_ioctl, s_fork, s_system, s_bind, s_listen, s_sendto;

/// What a descriptor stands for.
enum class device : uint8_t { none, sasi, rtc };

std::atomic<device> s_device[k_descriptors];
std::atomic<int> s_port_socket = -1; // the socket whose port was overridden; -1: none yet

template<typename F> F next(std::atomic<void *> &slot, const char *symbol) {
    void *found = slot.load(std::memory_order_relaxed);
    if (found == nullptr) {
        found = ::dlsym(RTLD_NEXT, symbol);
        slot.store(found, std::memory_order_relaxed);
    }
    return reinterpret_cast<F>(found);
}

int next_open(const char *path, int flags, mode_t mode) {
    return next<open_fn>(s_open, "open")(path, flags, mode);
}

int next_open64(const char *path, int flags, mode_t mode) {
    return next<open_fn>(s_open64, "open64")(path, flags, mode);
}

// A dlsym in a forked child could wait for ever on a lock that another thread held, so all is looked up
// early.
__attribute__((constructor)) void look_up() {
    next<open_fn>(s_open, "open");
    next<open_fn>(s_open64, "open64");
    next<close_fn>(s_close, "close");
    next<ioctl_fn>(s_ioctl, "ioctl");
    next<fork_fn>(s_fork, "fork");
    next<system_fn>(s_system, "system");
    next<bind_fn>(s_bind, "bind");
    next<listen_fn>(s_listen, "listen");
    next<sendto_fn>(s_sendto, "sendto");
}

int fail(int error) {
    errno = error;
    return -1;
}

int open_device(device kind, uint32_t missing, int flags) {
    if (missing != 0) {
        return fail(ENOENT);
    }
    const int fd = next_open("/dev/null", flags, 0);
    if (fd >= k_descriptors) {
        next<close_fn>(s_close, "close")(fd);
        return fail(EMFILE);
    }
    if (fd >= 0) {
        s_device[fd] = kind;
    }
    return fd;
}

using flash_fn = int32_t (*)(const sim_state &, std::span<uint8_t, k_sim_flash_size>);

int open_flash(flash_fn fill, int flags) {
    uint8_t bytes[k_sim_flash_size];
    const int32_t size = fill(sim_attach(), std::span(bytes));
    if (size < 0) {
        return fail(ENOENT);
    }
    unique_fd fd(::memfd_create("switchsim-flash", (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0));
    if (!fd.valid() || ::pwrite(fd.get(), bytes, static_cast<size_t>(size), 0) != size) {
        return -1;
    }
    return fd.release();
}

/// Opens what is the board's; false when `path` is not.
bool open_of_board(const char *path, int flags, int &fd) {
    if (std::strcmp(path, "/dev/sasi-dev") == 0) {
        fd = open_device(device::sasi, sim_load(sim_attach().faults.device_missing), flags);
    } else if (std::strcmp(path, "/dev/rtc-dev") == 0) {
        fd = open_device(device::rtc, sim_load(sim_attach().faults.rtc_missing), flags);
    } else if (std::strcmp(path, "/dev/mtd1") == 0) {
        fd = open_flash(sim_tailer_flash, flags);
    } else if (std::strcmp(path, "/dev/mtd4") == 0) {
        fd = open_flash(sim_header_flash, flags);
    } else {
        return false;
    }
    return true;
}

device device_of(int fd) {
    return fd >= 0 && fd < k_descriptors ? s_device[fd].load(std::memory_order_relaxed) : device::none;
}

int device_control(unsigned long request, void *argument) {
    if (!sasi_takes(request)) {
        return fail(ENOTTY);
    }
    if (argument == nullptr) {
        return fail(EFAULT);
    }
    const int32_t error = sim_device_call(*sim_attached(), static_cast<uint32_t>(request),
                                          *static_cast<sasi_block *>(argument));
    return error == 0 ? 0 : fail(error);
}

/// Takes what is written to the hardware clock, whatever it says.
int clock_control(unsigned long request, const void *argument) {
    sim_state &state = *sim_attached();
    if (request != RTC_SET_TIME) {
        return fail(ENOTTY);
    }
    if (argument == nullptr) {
        return fail(EFAULT);
    }
    if (sim_load(state.faults.rtc_failing) != 0) {
        return fail(EIO);
    }
    rtc_time time;
    std::memcpy(&time, argument, sizeof time);
    sim_store(state.clocks.second, int32_t{time.tm_sec});
    sim_store(state.clocks.minute, int32_t{time.tm_min});
    sim_store(state.clocks.hour, int32_t{time.tm_hour});
    sim_store(state.clocks.day, int32_t{time.tm_mday});
    sim_store(state.clocks.month, int32_t{time.tm_mon});
    sim_store(state.clocks.year, int32_t{time.tm_year});
    __atomic_fetch_add(&state.clocks.writes, 1, __ATOMIC_RELAXED);
    return 0;
}

/// The hardware address of tap0 into `query`, whatever the machine at hand has under that name.
int tap0_address(ifreq &query) {
    const sim_state &state = sim_attach();
    if (sim_load(state.faults.tap0_absent) != 0) {
        return fail(ENODEV);
    }
    const uint64_t address = sim_load(state.identity.tap0);
    query.ifr_hwaddr.sa_family = ARPHRD_ETHER;
    for (int i = 0; i < 6; i++) {
        query.ifr_hwaddr.sa_data[i] = static_cast<char>(address >> (8 * (5 - i)));
    }
    return 0;
}

int control(int fd, unsigned long request, void *argument) {
    switch (device_of(fd)) {
    case device::sasi:
        return device_control(request, argument);
    case device::rtc:
        return clock_control(request, argument);
    case device::none:
        break;
    }
    const int error = errno;
    const int result = next<ioctl_fn>(s_ioctl, "ioctl")(fd, request, argument);
    // A descriptor that is no socket has failed already, and is no business of ours.
    const bool asked = request == k_hardware_address_query && argument != nullptr &&
                       (result == 0 || (errno != EBADF && errno != ENOTTY));
    auto *query = static_cast<ifreq *>(argument);
    if (!asked || std::strncmp(query->ifr_name, "tap0", IFNAMSIZ) != 0) {
        return result;
    }
    errno = error;
    return tap0_address(*query);
}

/// Takes one of the forks that are to fail.
bool fork_is_to_fail(sim_state &state) {
    uint32_t left = sim_load(state.faults.fork_failures);
    while (left != 0) {
        if (left == k_sim_forks_all ||
            __atomic_compare_exchange_n(&state.faults.fork_failures, &left, left - 1, false, __ATOMIC_RELAXED,
                                        __ATOMIC_RELAXED)) {
            return true;
        }
    }
    return false;
}

/// The port that stands in for 502, from SWITCHSIM_PORT; -1 when there is none. What is no port ends the
/// program: it would listen where nobody looks.
int32_t port_override() {
    const char *text = std::getenv("SWITCHSIM_PORT");
    if (text == nullptr || *text == '\0') {
        return -1;
    }
    uint16_t port = 0;
    if (!parse_number(text, &port)) {
        constexpr char k_complaint[] = "switchsim: SWITCHSIM_PORT is not a port number 0..65535\n";
        ignore_result(::write(STDERR_FILENO, k_complaint, sizeof k_complaint - 1));
        ::_exit(1);
    }
    return port;
}

} // namespace

// The mode is read whether it was passed or not, as the C library itself does when it passes one on.

int interposed_open(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, unsigned));
    va_end(arguments);
    int fd = -1;
    return open_of_board(path, flags, fd) ? fd : next_open(path, flags, mode);
}

int interposed_open64(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, unsigned));
    va_end(arguments);
    int fd = -1;
    return open_of_board(path, flags, fd) ? fd : next_open64(path, flags, mode);
}

int interposed_open_2(const char *path, int flags) {
    int fd = -1;
    return open_of_board(path, flags, fd) ? fd : next_open(path, flags, 0);
}

int interposed_open64_2(const char *path, int flags) {
    int fd = -1;
    return open_of_board(path, flags, fd) ? fd : next_open64(path, flags, 0);
}

int interposed_close(int fd) {
    if (device_of(fd) != device::none) {
        s_device[fd] = device::none;
    }
    return next<close_fn>(s_close, "close")(fd);
}

int interposed_ioctl(int fd, unsigned long request, void *argument) { return control(fd, request, argument); }

#if __SIZEOF_POINTER__ == 4
// The calls that are passed on have no time in them that would differ between the two, or are sockets' time
// stamps, which no program of this system asks for.
int interposed_ioctl_time64(int fd, unsigned long request, void *argument) {
    return control(fd, request, argument);
}
#endif

int interposed_system(const char *command) {
    if (command == nullptr) {
        return next<system_fn>(s_system, "system")(command);
    }
    if (sim_date_wants(command)) {
        return sim_date_run(sim_attach(), command);
    }
    return sim_shell_wants_printenv(command) ? sim_shell_printenv(sim_attach(), command)
                                             : sim_shell_run(command);
}

pid_t interposed_fork() {
    sim_state *state = sim_attach_quietly();
    if (state != nullptr && fork_is_to_fail(*state)) {
        return fail(EAGAIN);
    }
    return next<fork_fn>(s_fork, "fork")();
}

int interposed_bind(int fd, const sockaddr *address, socklen_t size) {
    const auto next_bind = next<bind_fn>(s_bind, "bind");
    sockaddr_in wanted{};
    if (address == nullptr || size < sizeof wanted || address->sa_family != AF_INET) {
        return next_bind(fd, address, size);
    }
    std::memcpy(&wanted, address, sizeof wanted);
    const int32_t port = port_override();
    if (port < 0 || wanted.sin_port != htons(k_modbus_port)) {
        return next_bind(fd, address, size);
    }
    ignore_result(sim_attach()); // so that a missing switch is reported here and not at the first connection
    wanted.sin_port = htons(static_cast<uint16_t>(port));
    const int result = next_bind(fd, reinterpret_cast<const sockaddr *>(&wanted), sizeof wanted);
    if (result == 0) {
        s_port_socket = fd;
    }
    return result;
}

// The port is told when it can be connected to, so that whoever waits for it need not try again.
int interposed_listen(int fd, int backlog) {
    const int result = next<listen_fn>(s_listen, "listen")(fd, backlog);
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    if (result == 0 && fd == s_port_socket.load() && sim_attached() != nullptr &&
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&bound), &size) == 0) {
        sim_store(sim_attached()->port_in_use, uint32_t{ntohs(bound.sin_port)});
    }
    return result;
}

// When several switches are simulated, only one of them has the time service's own port.
ssize_t interposed_sendto(int fd, const void *bytes, size_t size, int flags, const sockaddr *address,
                          socklen_t address_size) {
    const auto next_sendto = next<sendto_fn>(s_sendto, "sendto");
    sockaddr_in wanted{};
    if (address == nullptr || address_size < sizeof wanted || address->sa_family != AF_INET) {
        return next_sendto(fd, bytes, size, flags, address, address_size);
    }
    std::memcpy(&wanted, address, sizeof wanted);
    const bool is_service =
        wanted.sin_port == htons(k_sntp_port) && wanted.sin_addr.s_addr == htonl(INADDR_LOOPBACK);
    const sim_state *state = is_service ? sim_attach_quietly() : nullptr;
    const uint32_t port = state != nullptr ? sim_load(state->time.port) : 0;
    if (port != 0) {
        wanted.sin_port = htons(static_cast<uint16_t>(port));
    }
    return next_sendto(fd, bytes, size, flags, reinterpret_cast<const sockaddr *>(&wanted), sizeof wanted);
}
