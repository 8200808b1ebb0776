#include "apps/mbshow/client.h"

#include "apps/common/text_append.h"
#include "apps/mbshow/mbap.h"
#include "lib/base/bytes.h"
#include "lib/base/invariant.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

int64_t now_ms() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

bool fail(mb_client &client, const char *text) {
    client.error = text;
    client.socket.reset();
    return false;
}

/// Waits for `events` until the deadline. Returns 0, or the errno value that the wait ended with.
int wait_for(int fd, short events, int64_t deadline_ms) {
    pollfd entry = {fd, events, 0};
    for (;;) {
        const int64_t left = deadline_ms - now_ms();
        if (left <= 0) {
            return ETIMEDOUT;
        }
        const int result = poll(&entry, 1, static_cast<int>(left));
        if (result > 0) {
            return 0;
        }
        if (result < 0 && errno != EINTR) {
            return errno;
        }
    }
}

/// Connects within the deadline. Returns 0 or an errno value.
int connect_within(int fd, const addrinfo &address, int64_t deadline_ms) {
    if (connect(fd, address.ai_addr, address.ai_addrlen) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS && errno != EINTR) {
        return errno;
    }
    const int waited = wait_for(fd, POLLOUT, deadline_ms);
    if (waited != 0) {
        return waited;
    }
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

/// What an error of the socket means; 0 is the end of the connection. A server that has as many clients as it
/// takes closes before it answers anything.
bool lost(mb_client &client, int error) {
    if (error == ETIMEDOUT) {
        return fail(client, "no answer in time");
    }
    if (error != 0 && error != ECONNRESET && error != EPIPE) {
        return fail(client, std::strerror(error));
    }
    return fail(client, client.transaction == 1
                            ? "the server closed the connection without an answer; it may "
                              "have as many clients as it takes"
                            : "the server closed the connection");
}

bool send_request(mb_client &client, std::span<const uint8_t> data, int64_t deadline_ms) {
    while (!data.empty()) {
        const ssize_t sent = send(client.socket.get(), data.data(), data.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            data = data.subspan(static_cast<size_t>(sent));
            continue;
        }
        const int error = errno == EAGAIN ? wait_for(client.socket.get(), POLLOUT, deadline_ms) : errno;
        if (error != 0 && error != EINTR) {
            return lost(client, error);
        }
    }
    return true;
}

bool receive_exactly(mb_client &client, std::span<uint8_t> data, int64_t deadline_ms) {
    while (!data.empty()) {
        const int waited = wait_for(client.socket.get(), POLLIN, deadline_ms);
        if (waited != 0) {
            return lost(client, waited);
        }
        const ssize_t received = recv(client.socket.get(), data.data(), data.size(), 0);
        if (received > 0) {
            data = data.subspan(static_cast<size_t>(received));
        } else if (received == 0 || (errno != EINTR && errno != EAGAIN)) {
            return lost(client, received == 0 ? 0 : errno);
        }
    }
    return true;
}

/// Why a reply does not do, with the registers it was asked for.
bool refuse(mb_client &client, const mbap_read &read, mbap_verdict verdict, std::span<const uint8_t> adu) {
    std::string text;
    if (verdict == mbap_verdict::exception) {
        text_append(text, "the server answered registers %u..%u with exception %u", unsigned{read.number},
                    read.number + read.count - 1U, unsigned{adu[k_mbap_at_exception]});
    } else {
        text_append(text, "the reply for registers %u..%u %s", unsigned{read.number},
                    read.number + read.count - 1U, mbap_verdict_text(verdict));
    }
    return fail(client, text.c_str());
}

} // namespace

bool mb_client_connect(mb_client &client, const char *host, uint16_t port) {
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    const int found = getaddrinfo(host, std::to_string(port).c_str(), &hints, &list);
    if (found != 0) {
        return fail(client, found == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(found));
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(list, freeaddrinfo);
    int error = EADDRNOTAVAIL;
    for (const addrinfo *address = list; address != nullptr; address = address->ai_next) {
        unique_fd fd(::socket(address->ai_family, address->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        error = fd.valid() ? connect_within(fd.get(), *address, now_ms() + client.timeout_ms) : errno;
        if (error == 0) {
            client.socket = std::move(fd);
            client.transaction = 0;
            return true;
        }
    }
    return fail(client, std::strerror(error));
}

bool mb_client_read_input(mb_client &client, uint16_t number, std::span<uint16_t> values) {
    const mbap_read read = {++client.transaction, k_mbap_read_input, number,
                            static_cast<uint16_t>(values.size())};
    const int64_t deadline = now_ms() + client.timeout_ms;
    std::array<uint8_t, k_mbap_adu_max> adu;
    const auto header = std::span(adu).first<k_mbap_size>();
    if (!send_request(client, mbap_put_read(read), deadline) || !receive_exactly(client, header, deadline)) {
        return false;
    }
    const size_t size = mbap_reply_size(header);
    if (size == 0) {
        return refuse(client, read, mbap_verdict::wrong_length, adu);
    }
    if (!receive_exactly(client, std::span(adu).first(size).subspan(header.size()), deadline)) {
        return false;
    }
    const mbap_verdict verdict = mbap_check_reply(read, std::span(adu).first(size));
    if (verdict != mbap_verdict::good) {
        return refuse(client, read, verdict, adu);
    }
    for (size_t i = 0; i < values.size(); i++) {
        values[i] = get_be16(&adu[k_mbap_at_values + 2 * i]);
    }
    return true;
}
