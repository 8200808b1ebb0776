#include "lib/services/kernel_neighbours.h"

#include "lib/base/retry.h"
#include "lib/services/kernel_netlink.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace {

constexpr size_t k_neighbours_max = 4096;
constexpr uint32_t k_sequence = 1; // each request has a socket of its own

struct request {
    nlmsghdr header;
    ndmsg neighbour;
    std::array<uint8_t, 24> attributes; // room for an IPv6 address
};
static_assert(offsetof(request, attributes) == NLMSG_HDRLEN + sizeof(ndmsg));

int send_request(int fd, request *wanted, uint16_t type, uint16_t flags, size_t attributes) {
    wanted->header.nlmsg_len = static_cast<uint32_t>(offsetof(request, attributes) + attributes);
    wanted->header.nlmsg_type = type;
    wanted->header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    wanted->header.nlmsg_seq = k_sequence;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const ssize_t sent = retry_interrupted([&] {
        return ::sendto(fd, wanted, wanted->header.nlmsg_len, 0, reinterpret_cast<sockaddr *>(&kernel),
                        sizeof kernel);
    });
    return sent >= 0 ? 0 : errno;
}

/// The error that a message of type NLMSG_ERROR tells; 0 is an acknowledgement.
int error_in(const nlmsghdr &message) {
    nlmsgerr told{};
    if (message.nlmsg_len < NLMSG_LENGTH(sizeof told)) {
        return EPROTO;
    }
    std::memcpy(&told, reinterpret_cast<const uint8_t *>(&message) + NLMSG_HDRLEN, sizeof told);
    return -told.error;
}

/// Calls `take` with each attribute behind a fixed part of `fixed` bytes.
template<typename Take> void each_attribute(const nlmsghdr &message, size_t fixed, Take take) {
    const auto *const bytes = reinterpret_cast<const uint8_t *>(&message);
    for (size_t at = NLMSG_LENGTH(fixed); at + sizeof(rtattr) <= message.nlmsg_len;) {
        rtattr attribute{};
        std::memcpy(&attribute, bytes + at, sizeof attribute);
        if (attribute.rta_len < sizeof attribute || attribute.rta_len > message.nlmsg_len - at) {
            return;
        }
        take(attribute.rta_type, bytes + at + RTA_LENGTH(0), attribute.rta_len - RTA_LENGTH(0));
        at += RTA_ALIGN(attribute.rta_len);
    }
}

/// Takes a host out of a message; one that is none, or is not whole, is left out.
void take_neighbour(const nlmsghdr &message, std::vector<kernel_neighbour> *neighbours) {
    ndmsg head{};
    if (message.nlmsg_type != RTM_NEWNEIGH || message.nlmsg_len < NLMSG_LENGTH(sizeof head) ||
        neighbours->size() >= k_neighbours_max) {
        return;
    }
    std::memcpy(&head, reinterpret_cast<const uint8_t *>(&message) + NLMSG_HDRLEN, sizeof head);
    const size_t size = head.ndm_family == AF_INET ? 4 : head.ndm_family == AF_INET6 ? 16 : 0;
    kernel_neighbour found = {head.ndm_family, {}, static_cast<uint32_t>(head.ndm_ifindex),
                              head.ndm_state,  {}, {}};
    bool has_address = false;
    each_attribute(message, sizeof head, [&](uint16_t type, const uint8_t *value, size_t length) {
        if (type == NDA_DST && length == size && size > 0) {
            std::memcpy(&found.address, value, length);
            has_address = true;
        } else if (type == NDA_LLADDR && length == found.hardware.size()) {
            std::memcpy(found.hardware.data(), value, length);
            found.has_hardware = true;
        }
    });
    if (has_address && (head.ndm_state & NUD_NOARP) == 0) {
        neighbours->push_back(found);
    }
}

/// Takes the hosts of a piece of the answer. Returns whether more comes; the error, if there is one.
bool take_piece_of(const uint8_t *bytes, size_t length, std::vector<kernel_neighbour> *neighbours,
                   int *error) {
    while (length >= sizeof(nlmsghdr)) {
        const auto &message = *reinterpret_cast<const nlmsghdr *>(bytes);
        if (message.nlmsg_len < sizeof message || message.nlmsg_len > length) {
            *error = EPROTO;
            return false;
        }
        if (message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR) {
            *error = message.nlmsg_type == NLMSG_ERROR ? error_in(message) : 0;
            return false;
        }
        take_neighbour(message, neighbours);
        const size_t step = NLMSG_ALIGN(message.nlmsg_len);
        bytes += step < length ? step : length;
        length -= step < length ? step : length;
    }
    return true;
}

int forget(int fd, const kernel_neighbour &neighbour) {
    const size_t size = neighbour.family == AF_INET ? 4 : 16;
    request wanted{};
    wanted.neighbour.ndm_family = static_cast<uint8_t>(neighbour.family);
    wanted.neighbour.ndm_ifindex = static_cast<int32_t>(neighbour.interface);
    const rtattr attribute = {static_cast<uint16_t>(RTA_LENGTH(size)), NDA_DST};
    std::memcpy(wanted.attributes.data(), &attribute, sizeof attribute);
    std::memcpy(wanted.attributes.data() + RTA_LENGTH(0), &neighbour.address, size);
    const int error = send_request(fd, &wanted, RTM_DELNEIGH, NLM_F_ACK, RTA_LENGTH(size));
    alignas(nlmsghdr) std::array<uint8_t, 1024> answer{};
    const ssize_t length = error == 0 ? kernel_netlink_receive(fd, answer.data(), answer.size()) : -1;
    if (length < static_cast<ssize_t>(sizeof(nlmsghdr))) {
        return error != 0 ? error : length < 0 ? errno : EPROTO;
    }
    int told = EPROTO;
    std::vector<kernel_neighbour> none;
    take_piece_of(answer.data(), static_cast<size_t>(length), &none, &told);
    return told == ENOENT ? 0 : told; // it has gone by itself
}

} // namespace

int kernel_get_neighbours(std::vector<kernel_neighbour> *neighbours) {
    neighbours->clear();
    const unique_fd fd = kernel_netlink_open(0);
    request wanted{};
    int error = fd.valid() ? send_request(fd.get(), &wanted, RTM_GETNEIGH, NLM_F_DUMP, 0) : errno;
    alignas(nlmsghdr) std::array<uint8_t, 32768> answer{};
    for (bool more = error == 0; more;) {
        const ssize_t length = kernel_netlink_receive(fd.get(), answer.data(), answer.size());
        if (length < 0) {
            return errno;
        }
        more = take_piece_of(answer.data(), static_cast<size_t>(length), neighbours, &error);
    }
    return error;
}

int kernel_forget_neighbours() {
    std::vector<kernel_neighbour> neighbours;
    int error = kernel_get_neighbours(&neighbours);
    const unique_fd fd = kernel_netlink_open(0);
    for (const kernel_neighbour &neighbour : neighbours) {
        const int failed = (neighbour.state & NUD_PERMANENT) != 0 ? 0 : forget(fd.get(), neighbour);
        if (failed == EAGAIN) { // no answer came: the next one would be taken for another's
            return failed;
        }
        error = failed != 0 ? failed : error;
    }
    return error;
}
