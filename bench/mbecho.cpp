#include "apps/mbshow/mbap.h"
#include "lib/base/bytes.h"
#include "lib/base/parse_number.h"
#include "lib/base/unique_fd.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

// The least that a server of one process a connection can do, to measure the daemon against: one recv and one
// send a request, no Modbus but a reply that its client takes for one.

namespace {

constexpr size_t k_reply_min = k_mbap_at_values + 2;
constexpr size_t k_at_byte_count = k_mbap_at_pdu + 1;

/// Answers with the request's own beginning, so that its identifiers and function come back, made up to
/// `size` bytes of zero registers.
[[noreturn]] void serve(int fd, size_t size) {
    std::array<uint8_t, k_mbap_adu_max> buffer = {};
    while (recv(fd, buffer.data(), buffer.size(), 0) == ssize_t{k_mbap_read_request_size}) {
        put_be16(&buffer[k_mbap_at_length], static_cast<uint16_t>(size - k_mbap_length_end));
        buffer[k_at_byte_count] = static_cast<uint8_t>(size - k_mbap_at_values);
        std::fill_n(&buffer[k_mbap_at_values], k_mbap_read_request_size - k_mbap_at_values, uint8_t{0});
        if (send(fd, buffer.data(), size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) {
            break;
        }
    }
    _exit(0);
}

int listen_on(uint16_t port) {
    unique_fd fd(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    if (!fd.valid() || setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(fd.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd.get(), SOMAXCONN) != 0) {
        std::perror("mbecho");
        std::exit(1);
    }
    return fd.release();
}

size_t number_in(const char *text, size_t min, size_t max) {
    size_t value = 0;
    if (!parse_number(text, min, max, &value)) {
        std::fprintf(stderr, "mbecho: not %zu to %zu: %s\n", min, max, text);
        std::exit(2);
    }
    return value;
}

} // namespace

int main(int argc, char **argv) {
    static constexpr option k_options[] = {{"port", required_argument, nullptr, 'p'},
                                           {"reply", required_argument, nullptr, 'r'},
                                           {nullptr, 0, nullptr, 0}};
    size_t port = 0;
    size_t reply = k_reply_min;
    for (int opt; (opt = getopt_long(argc, argv, "", k_options, nullptr)) != -1;) {
        if (opt == 'p') {
            port = number_in(optarg, 1, UINT16_MAX);
        } else if (opt == 'r') {
            reply = number_in(optarg, k_reply_min, k_mbap_adu_max);
        } else {
            port = 0;
            break;
        }
    }
    if (port == 0 || optind != argc) {
        std::fputs("usage: mbecho --port N [--reply BYTES]\n", stderr);
        return 2;
    }
    const int listener = listen_on(static_cast<uint16_t>(port));
    std::signal(SIGCHLD, SIG_IGN); // children are reaped by themselves
    for (;;) {
        const unique_fd client(accept(listener, nullptr, nullptr));
        const int on = 1;
        if (client.valid() && setsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0 &&
            fork() == 0) {
            ::close(listener);
            serve(client.get(), reply);
        }
    }
}
