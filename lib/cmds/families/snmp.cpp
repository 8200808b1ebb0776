// SNMP: who may read and set, and who is sent traps.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"snmp", "SNMP: management by other machines."},
    {"community", "Communities, for versions 1 and 2c."},
    {"COMMUNITY", "The community, up to 32 characters without a blank."},
    {"(read-only|read-write)", "What the community may do."},
    {"view", "A part of the object tree, seen through a name."},
    {"VIEW_NAME_32", "The view's name, up to 32 characters; \"all\" and \"none\" are always there."},
    {"OID", "Where the part begins, such as 1.3.6.1.2.1."},
    {"(included|excluded)", "Whether the view shows this part."},
    {"trap-receiver", "Machines that traps are sent to, by their IPv4 address."},
    {"trap-ipv6-receiver", "Machines that traps are sent to, by their IPv6 address."},
    {"(v1|v2c)", "The version of the traps, with a community."},
    {"v3", "Traps of version 3, sent as a user."},
    {"v3 STRINGS", "The user's name; the level of security is that of the user's group."},
    {"trusted-host", "Networks that SNMP is answered in, IPv4; all of them while there is none."},
    {"trusted-host IPADDR_MASK", "The network, such as 192.168.1.0/24, or one machine: 192.168.1.7/32."},
    {"trusted-ipv6-host", "Machines that SNMP is answered to, IPv6; all of them while there is none."},
    {"system-name", "The name of the switch, sysName."},
    {"system-name STRINGS",
     "Up to 64 characters without a blank; \"none\" by default, which is the host name."},
    {"system-location", "Where the switch stands, sysLocation."},
    {"system-location STRINGS", "Up to 64 characters without a blank; \"none\" by default."},
    {"system-contact", "Who looks after the switch, sysContact."},
    {"system-contact STRINGS", "Up to 64 characters without a blank; \"none\" by default."},
    {"group", "Groups of users, for version 3."},
    {"STRINGS group", "The group that the user belongs to."},
    {"STRINGS", "The group's name, up to 32 characters without a blank."},
    {"(noauth|auth|priv)", "The least security: none, authentication, or authentication and encryption."},
    {"read", "What the group may read."},
    {"write", "What the group may set."},
    {"notify", "What the group's traps may tell."},
    {"user", "Users, for version 3."},
    {"user STRINGS", "The user's name, up to 32 characters without a blank."},
    {"auth", "Authentication of the user's messages."},
    {"(md5|sha|sha256)", "How the user's messages are authenticated."},
    {"(md5|sha|sha256) STRINGS", "The passphrase of authentication, 8 to 32 characters without a blank."},
    {"privacy", "Encryption of a user's messages."},
    {"privacy STRINGS", "The user's name; the user needs authentication, too."},
    {"(des|aes)", "How they are encrypted."},
    {"(des|aes) STRINGS", "The passphrase of encryption, 8 to 32 characters without a blank."},
    {"trap-event", "What traps are sent about."},
    {"(cold-start|warm-start|authentication|power|temperature|topology|poe|sfp|configuration)",
     "What has happened; links have a setting at each port."},
    {"port-link-change-trap", "Traps when the link of the port comes or goes."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "snmp community COMMUNITY (read-only|read-write)",
            "Answer requests with this community; there is none by default.")
        .keyed(1)
        .hides(1),
    setting(k_config, "snmp community COMMUNITY (read-only|read-write) view VIEW_NAME_32",
            "Answer requests with this community about what the view shows.")
        .keyed(1)
        .hides(1),
    setting(k_config, "snmp view VIEW_NAME_32 OID (included|excluded)",
            "Show a part of the object tree in this view, or leave it out.")
        .keyed(2),
    setting(k_config,
            "snmp group STRINGS (noauth|auth|priv) read VIEW_NAME_32 write VIEW_NAME_32 notify "
            "VIEW_NAME_32",
            "Make this group of users, or change it.")
        .keyed(1)
        .up_to(32),
    setting(k_config, "snmp user STRINGS group STRINGS",
            "Let this user in, of this group, without a passphrase.")
        .keyed(1)
        .up_to(32),
    setting(k_config, "snmp user STRINGS group STRINGS auth (md5|sha|sha256) STRINGS",
            "Let this user in, of this group, with a passphrase.")
        .keyed(1)
        .hides(4)
        .up_to(32),
    setting(k_config, "snmp privacy STRINGS (des|aes) STRINGS", "Encrypt what this user asks and is told.")
        .keyed(1)
        .hides(3)
        .up_to(32),
    setting(k_config, "snmp trusted-host IPADDR_MASK", "Answer this network, and none that is not named.")
        .keyed(1),
    setting(k_config, "snmp trusted-ipv6-host IPV6ADDR", "Answer this machine, and none that is not named.")
        .keyed(1),
    setting(k_config, "snmp trap-receiver IPADDR (v1|v2c) COMMUNITY",
            "Send traps to this machine, with a community.")
        .keyed(1)
        .hides(3),
    setting(k_config, "snmp trap-receiver IPADDR v3 STRINGS", "Send traps to this machine, as this user.")
        .keyed(1)
        .up_to(32),
    setting(k_config, "snmp trap-ipv6-receiver IPV6ADDR (v1|v2c) COMMUNITY",
            "Send traps to this machine, with a community.")
        .keyed(1)
        .hides(3),
    setting(k_config, "snmp trap-ipv6-receiver IPV6ADDR v3 STRINGS",
            "Send traps to this machine, as this user.")
        .keyed(1)
        .up_to(32),
    setting(k_config,
            "snmp trap-event "
            "(cold-start|warm-start|authentication|power|temperature|topology|poe|sfp|configuration) "
            "(enable|disable)",
            "Send traps about this, or not; all are sent by default.")
        .keyed(1)
        .at_first("enable"),
    setting(k_ports, "snmp port-link-change-trap (enable|disable)",
            "Send traps about the link of the port, or not; they are sent by default.")
        .at_first("enable"),
    setting(k_config, "snmp system-name STRINGS", "Give the switch a name for SNMP.").at_first("none"),
    setting(k_config, "snmp system-location STRINGS", "Tell where the switch stands.").at_first("none"),
    setting(k_config, "snmp system-contact STRINGS", "Tell who looks after the switch.").at_first("none"),
    undo(k_config, "no snmp community COMMUNITY", "Ignore requests with this community.").hides(1),
    undo(k_config, "no snmp view VIEW_NAME_32 OID", "Take this part out of the view's definition."),
    undo(k_config, "no snmp group STRINGS", "Remove this group; its users may do nothing then."),
    undo(k_config, "no snmp user STRINGS", "Do not let this user in."),
    undo(k_config, "no snmp privacy STRINGS", "Do not encrypt what this user asks and is told."),
    undo(k_config, "no snmp trusted-host IPADDR_MASK", "Do not name this network any more."),
    undo(k_config, "no snmp trusted-ipv6-host IPV6ADDR", "Do not name this machine any more."),
    undo(k_config, "no snmp trap-receiver IPADDR", "Send no traps to this machine."),
    undo(k_config, "no snmp trap-ipv6-receiver IPV6ADDR", "Send no traps to this machine."),
    show(k_shown, "show snmp", "Show the engine id, who may ask, and who is sent traps."),
    show(k_shown, "show snmp user", "Show users, groups and views."),
    show(k_shown, "show snmp statistics", "Show how many requests and traps there were, and wrong ones."),
};

} // namespace

CMDS_FAMILY(snmp, "snmp", {k_mask_config, 18, 9, 3});
