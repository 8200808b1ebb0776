// What generic netlink messages tell: the number of a family, and of ethtool's the kind and the speed of
// ports.

#include "lib/linux_switch/linux_facts.h"
#include "lib/linux_switch/netlink_attrs.h"

#include <algorithm>
#include <iterator>
#include <linux/ethtool.h>
#include <linux/ethtool_netlink.h>
#include <linux/genetlink.h>

namespace {

/// What makes a port with a socket for twisted pairs one of a gigabit: it can do one of these.
constexpr uint32_t k_gigabit_modes[] = {
    ETHTOOL_LINK_MODE_1000baseT_Half_BIT,  ETHTOOL_LINK_MODE_1000baseT_Full_BIT,
    ETHTOOL_LINK_MODE_2500baseT_Full_BIT,  ETHTOOL_LINK_MODE_5000baseT_Full_BIT,
    ETHTOOL_LINK_MODE_10000baseT_Full_BIT, ETHTOOL_LINK_MODE_1000baseT1_Full_BIT,
};

template<size_t types>
bool read_reply(const nlmsghdr &message, uint8_t command, netlink_attrs<types> *attrs) {
    genlmsghdr head{};
    return message.nlmsg_type >= NLMSG_MIN_TYPE && netlink_read(message, &head, attrs) && head.cmd == command;
}

/// Whether a bit is set in a mask, which is words in the machine's order.
bool has_bit(std::span<const uint8_t> mask, uint32_t bit) {
    const size_t word_at = bit / 32 * sizeof(uint32_t);
    if (word_at + sizeof(uint32_t) > mask.size()) {
        return false;
    }
    uint32_t word = 0;
    std::memcpy(&word, &mask[word_at], sizeof word);
    return (word >> (bit % 32) & 1U) != 0;
}

std::optional<bool> gigabit_of(std::span<const uint8_t> can_do, uint32_t speed) {
    if (speed == 0 && std::all_of(can_do.begin(), can_do.end(), [](uint8_t byte) { return byte == 0; })) {
        return std::nullopt;
    }
    return speed >= SPEED_1000 || std::any_of(std::begin(k_gigabit_modes), std::end(k_gigabit_modes),
                                              [&](uint32_t mode) { return has_bit(can_do, mode); });
}

linux_duplex duplex_of(const nlattr *attr) {
    switch (netlink_number<uint8_t>(attr).value_or(DUPLEX_UNKNOWN)) {
    case DUPLEX_HALF:
        return linux_duplex::half;
    case DUPLEX_FULL:
        return linux_duplex::full;
    default:
        return linux_duplex::unknown;
    }
}

} // namespace

bool linux_read_family(const nlmsghdr &message, uint16_t *family) {
    netlink_attrs<CTRL_ATTR_FAMILY_ID + 1> attrs;
    if (message.nlmsg_type != GENL_ID_CTRL || !read_reply(message, CTRL_CMD_NEWFAMILY, &attrs)) {
        return false;
    }
    const auto number = netlink_number<uint16_t>(attrs[CTRL_ATTR_FAMILY_ID]);
    *family = number.value_or(0);
    return number.has_value();
}

bool linux_read_port_type(const nlmsghdr &message, linux_port_type *type) {
    netlink_attrs<ETHTOOL_A_LINKINFO_PORT + 1> attrs;
    if (!read_reply(message, ETHTOOL_MSG_LINKINFO_GET_REPLY, &attrs)) {
        return false;
    }
    switch (netlink_number<uint8_t>(attrs[ETHTOOL_A_LINKINFO_PORT]).value_or(PORT_NONE)) {
    case PORT_TP:
        *type = linux_port_type::twisted_pair;
        break;
    case PORT_FIBRE:
    case PORT_DA: // a cable with modules at its ends takes the place of a fibre
        *type = linux_port_type::fibre;
        break;
    case PORT_NONE:
        *type = linux_port_type::unknown;
        break;
    default:
        *type = linux_port_type::other;
    }
    return true;
}

bool linux_read_line(const nlmsghdr &message, linux_line *line) {
    netlink_attrs<ETHTOOL_A_LINKMODES_DUPLEX + 1> attrs;
    if (!read_reply(message, ETHTOOL_MSG_LINKMODES_GET_REPLY, &attrs)) {
        return false;
    }
    const auto ours = netlink_nested<ETHTOOL_A_BITSET_MASK + 1>(attrs[ETHTOOL_A_LINKMODES_OURS]);
    const std::span<const uint8_t> can_do = netlink_bytes(ours[ETHTOOL_A_BITSET_MASK]);
    const auto speed = netlink_number<uint32_t>(attrs[ETHTOOL_A_LINKMODES_SPEED]);
    line->speed = speed && *speed != static_cast<uint32_t>(SPEED_UNKNOWN) ? *speed : 0;
    line->duplex = duplex_of(attrs[ETHTOOL_A_LINKMODES_DUPLEX]);
    line->negotiates =
        netlink_number<uint8_t>(attrs[ETHTOOL_A_LINKMODES_AUTONEG]).value_or(0) == AUTONEG_ENABLE;
    line->gigabit = gigabit_of(can_do, line->speed);
    return true;
}
