#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <libmnl/libmnl.h>
#include <optional>
#include <span>

// Attributes of netlink messages by their types. A message here begins at an address that is a multiple of
// four, and all nlmsg_len bytes of it can be read; nothing else about it is believed.

/// Whether a datagram is messages from its first byte to its last. libmnl alone takes a length of 2 GiB for
/// one below zero, and believes it.
inline bool netlink_is_whole(std::span<const uint8_t> datagram) {
    nlmsghdr head{};
    while (datagram.size() >= sizeof head) {
        std::memcpy(&head, datagram.data(), sizeof head);
        if (head.nlmsg_len < sizeof head || head.nlmsg_len > datagram.size()) {
            return false;
        }
        const size_t with_padding = (size_t{head.nlmsg_len} + 3) & ~size_t{3};
        datagram = datagram.subspan(std::min(with_padding, datagram.size()));
    }
    return datagram.empty();
}

/// The attributes of one level; of several of a type the last one. Types from `types` on are left out.
template<size_t types> struct netlink_attrs {
    std::array<const nlattr *, types> of{}; // null: not there
    const nlattr *operator[](size_t type) const { return of[type]; }
};

namespace netlink_detail {

template<size_t types> int note(const nlattr *attr, void *to) {
    if (const uint16_t type = mnl_attr_get_type(attr); type < types) {
        static_cast<netlink_attrs<types> *>(to)->of[type] = attr;
    }
    return MNL_CB_OK;
}

} // namespace netlink_detail

/// Those behind a message's header of type `header`, which is copied; none, and false, when it is too short.
template<size_t types, typename header>
[[nodiscard]] bool netlink_read(const nlmsghdr &message, header *head, netlink_attrs<types> *attrs) {
    if (message.nlmsg_len < NLMSG_HDRLEN + sizeof *head) {
        return false;
    }
    std::memcpy(head, mnl_nlmsg_get_payload(&message), sizeof *head);
    return mnl_attr_parse(&message, sizeof *head, netlink_detail::note<types>, attrs) >= 0;
}

/// Those within an attribute, which may be null.
template<size_t types> [[nodiscard]] netlink_attrs<types> netlink_nested(const nlattr *nest) {
    netlink_attrs<types> attrs;
    if (nest != nullptr && mnl_attr_parse_nested(nest, netlink_detail::note<types>, &attrs) < 0) {
        return {};
    }
    return attrs;
}

/// An attribute's bytes; none when it is null.
inline std::span<const uint8_t> netlink_bytes(const nlattr *attr) {
    if (attr == nullptr) {
        return {};
    }
    return {static_cast<const uint8_t *>(mnl_attr_get_payload(attr)), mnl_attr_get_payload_len(attr)};
}

/// A number that is the whole of an attribute, which may be null.
template<typename number> [[nodiscard]] std::optional<number> netlink_number(const nlattr *attr) {
    const std::span<const uint8_t> bytes = netlink_bytes(attr);
    if (bytes.size() != sizeof(number)) {
        return std::nullopt;
    }
    number value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

/// Copies a text that ends within the attribute and fits with its NUL. Returns false, and leaves `text`, when
/// there is none.
template<size_t size> [[nodiscard]] bool netlink_text(const nlattr *attr, std::array<char, size> *text) {
    const std::span<const uint8_t> bytes = netlink_bytes(attr);
    const size_t length =
        bytes.empty() ? 0 : ::strnlen(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    if (length == 0 || length == bytes.size() || length >= size) {
        return false;
    }
    text->fill(0);
    std::memcpy(text->data(), bytes.data(), length);
    return true;
}

/// Copies as many bytes as `to` has. Returns false, and leaves it, when the attribute has fewer.
[[nodiscard]] inline bool netlink_copy(const nlattr *attr, std::span<uint8_t> to) {
    const std::span<const uint8_t> bytes = netlink_bytes(attr);
    if (bytes.size() < to.size()) {
        return false;
    }
    std::memcpy(to.data(), bytes.data(), to.size());
    return true;
}
