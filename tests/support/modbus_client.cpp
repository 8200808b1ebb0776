#include "tests/support/modbus_client.h"

#include "lib/base/bytes.h"
#include "tests/support/eventually.h"

#include <algorithm>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr uint8_t k_unit = 17;
constexpr size_t k_header_size = 7;
constexpr time_t k_patience_s = 10;

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int try_connect(uint16_t port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        return fd;
    }
    ::close(fd);
    return -1;
}

} // namespace

modbus_client::modbus_client(uint16_t port) {
    eventually([&] { return (m_fd = try_connect(port)) >= 0; });
    const timeval patience = {k_patience_s, 0};
    ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

modbus_client::~modbus_client() { ::close(m_fd); }

bool modbus_client::send(const octets &data) {
    return ::send(m_fd, data.data(), data.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(data.size());
}

octets modbus_client::receive(size_t count) {
    octets data(count);
    size_t held = 0;
    while (held < count) {
        const ssize_t got = ::recv(m_fd, data.data() + held, count - held, 0);
        if (got <= 0) {
            break;
        }
        held += static_cast<size_t>(got);
    }
    data.resize(held);
    return data;
}

bool modbus_client::is_closed_by_peer() {
    uint8_t byte = 0;
    const ssize_t got = ::recv(m_fd, &byte, 1, 0);
    return got == 0 || (got < 0 && errno == ECONNRESET);
}

octets modbus_client::exchange(const octets &pdu) {
    send(make_adu(++m_transaction, pdu));
    const octets header = receive(k_header_size);
    if (header.size() != k_header_size || get_be16(&header[0]) != m_transaction ||
        get_be16(&header[2]) != 0 || get_be16(&header[4]) < 2 || header[6] != k_unit) {
        return {};
    }
    return receive(get_be16(&header[4]) - size_t{1});
}

std::vector<uint16_t> modbus_client::read(uint8_t function, uint16_t number, uint16_t count) {
    octets pdu = {function, 0, 0, 0, 0};
    put_be16(&pdu[1], static_cast<uint16_t>(number - 1));
    put_be16(&pdu[3], count);
    const octets reply = exchange(pdu);
    std::vector<uint16_t> values;
    for (size_t at = 2; reply.size() == 2 + size_t{2} * count && at < reply.size(); at += 2) {
        values.push_back(get_be16(&reply[at]));
    }
    return values;
}

octets make_adu(uint16_t transaction, const octets &pdu) {
    octets adu(k_header_size + pdu.size());
    put_be16(&adu[0], transaction);
    put_be16(&adu[4], static_cast<uint16_t>(pdu.size() + 1));
    adu[6] = k_unit;
    std::copy(pdu.begin(), pdu.end(), adu.begin() + k_header_size);
    return adu;
}

uint16_t free_port() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&address), size) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size) != 0) {
        address.sin_port = 0;
    }
    ::close(fd);
    return ntohs(address.sin_port);
}
