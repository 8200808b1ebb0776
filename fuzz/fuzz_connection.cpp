// One connection's byte stream through the whole slave, with a device that answers anything. The system calls
// are the target's own: recv hands out the input, cut where the input says, and the end of the process ends
// the run.

#include "lib/base/bytes.h"
#include "lib/base/invariant.h"
#include "lib/sasi/sasi.h"
#include "modbus/mb.h"
#include "modbus/mbevent.h"
#include "modbus/mbident.h"
#include "modbus/porttcp.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>

namespace {

constexpr int k_listen_fd = 101;
constexpr int k_client_fd = 102;
constexpr int k_device_fd = 103;

const uint8_t *s_input = nullptr;
size_t s_left = 0;
uint32_t s_device_state = 0; // of the generator the device answers from
jmp_buf s_end;               // where the end of the child goes
bool s_running = false;      // else the fuzzer itself calls, which is linked in and wants the real thing

uint32_t next_random() {
    s_device_state = s_device_state * 1664525U + 1013904223U;
    return s_device_state >> 8;
}

/// Random bytes, and small ones, to answer with: a search for a ring makes 255 requests of 4 KiB.
struct byte_pool {
    std::array<uint8_t, 2 * k_sasi_payload_size> any;
    std::array<uint8_t, 2 * k_sasi_payload_size> small;
};

const byte_pool &pool() {
    static const byte_pool s_pool = [] {
        byte_pool filled;
        std::generate(filled.any.begin(), filled.any.end(),
                      [] { return static_cast<uint8_t>(next_random()); });
        std::generate(filled.small.begin(), filled.small.end(),
                      [] { return static_cast<uint8_t>(next_random() % 5); });
        return filled;
    }();
    return s_pool;
}

/// Answers with anything: random bytes, mostly small ones, in the payload from a random place on, or fails.
int answer_device(sasi_block *block) {
    const uint32_t choice = next_random() % 8;
    if (choice == 0) {
        return -1;
    }
    block->return_code = choice == 1 ? static_cast<int32_t>(next_random()) : 0;
    const size_t from = next_random() % sizeof block->payload;
    const size_t pool_from = next_random() % sizeof block->payload;
    std::memcpy(block->payload + from, (choice < 5 ? pool().small : pool().any).data() + pool_from,
                sizeof block->payload - from);
    return 0;
}

void check_reply(const uint8_t *adu, size_t length) {
    // Without a PDU when the request had none and what lay there from before was a function that echoes short
    // requests.
    if (length < k_mbap_size || length > k_mb_adu_size ||
        get_be16(adu + k_mbap_at_length) + k_mbap_length_end != length) {
        std::abort();
    }
}

} // namespace

extern "C" {

int __wrap_socket(int, int, int) { return k_listen_fd; }
int __wrap_setsockopt(int, int, int, const void *, socklen_t) { return 0; }
int __wrap_bind(int, const sockaddr *, socklen_t) { return 0; }
int __wrap_listen(int, int) { return 0; }
int __wrap_accept4(int, sockaddr *, socklen_t *, int) { return k_client_fd; }
int __wrap_fork() { return 0; }
int __wrap_select(int, fd_set *, fd_set *, fd_set *, timeval *) { return 1; } // the listener's
int __wrap_usleep(unsigned) { return 0; }

int __real_open(const char *, int, ...);
int __wrap_open(const char *path, int flags, ...) {
    if (!s_running) {
        return __real_open(path, flags, 0600);
    }
    return std::string_view(path) == "/dev/sasi-dev" ? k_device_fd : -1;
}

int __real_system(const char *); // the fuzzer's own, when it merges
int __wrap_system(const char *command) { return s_running ? 0 : __real_system(command); }

int __real_close(int);
int __wrap_close(int fd) { return s_running ? 0 : __real_close(fd); }

int __real_unlink(const char *);
int __wrap_unlink(const char *path) { return s_running ? 0 : __real_unlink(path); }

int __wrap_ioctl(int fd, unsigned long request, void *argument) {
    if (fd == k_device_fd) {
        return answer_device(static_cast<sasi_block *>(argument));
    }
    if (request == SIOCGIFHWADDR) {
        auto *query = static_cast<ifreq *>(argument);
        std::memset(query->ifr_hwaddr.sa_data, static_cast<int>(next_random() & 0xFF), 6);
        return 0;
    }
    errno = EINVAL;
    return -1;
}

/// The byte in front of every piece says how long it is.
ssize_t __wrap_recv(int, void *buffer, size_t size, int) {
    if (s_left < 2) {
        return 0;
    }
    const size_t piece = std::min({size, s_left - 1, size_t{*s_input} + 1});
    std::memcpy(buffer, s_input + 1, piece);
    s_input += piece + 1;
    s_left -= piece + 1;
    return static_cast<ssize_t>(piece);
}

ssize_t __wrap_send(int, const void *data, size_t size, int) {
    check_reply(static_cast<const uint8_t *>(data), size);
    return static_cast<ssize_t>(size);
}

[[noreturn]] void __real_exit(int);
[[noreturn]] void __wrap_exit(int status) {
    if (!s_running) {
        __real_exit(status);
    }
    std::longjmp(s_end, 1);
}

// An announced length of 0 aborts the child on purpose.
[[noreturn]] void __wrap__Z16invariant_failedRK14invariant_site(const invariant_site &site) {
    if (std::string_view(site.source) != "porttcp") {
        std::abort();
    }
    std::longjmp(s_end, 1);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) {
        return 0;
    }
    s_device_state = get_be32(data);
    s_input = data + 4;
    s_left = size - 4;
    s_running = true;
    if (setjmp(s_end) != 0) {
        s_running = false;
        return 0;
    }
    static const bool s_started = mb_tcp_init(0) == k_mb_ok && mb_init() == 0 && mb_enable() == k_mb_ok;
    tcp_port_release(); // drops what the run before left behind
    mb_event_init();
    while (s_started && mb_poll() == k_mb_ok) {
    }
    std::abort(); // the end of the input ends the child, and nothing else ends the loop
}

} // extern "C"
