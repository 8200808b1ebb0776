// The log of the switch, and the servers that it is sent to.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"syslog", "The log of the switch."},
    {"level", "How severe a message is that is logged."},
    {"(emergency|alert|critical|error|warning|notice|informational|debug)",
     "The least severe one, of the levels of RFC 5424; \"notice\" by default."},
    {"server", "Log messages over the network."},
    {"syslog-server", "Servers that log messages are sent to, RFC 5424."},
    {"ipv4-ip", "A server by its IPv4 address."},
    {"ipv6-ip", "A server by its IPv6 address."},
    {"port", "The server's port."},
    {"<1-65535>", "The server's UDP port; 514 by default."},
    {"facility", "What the messages are sent as, for the servers to sort them by."},
    {"(kern|user|mail|daemon|auth|syslog|lpr|news|uucp|cron|authpriv|ftp|local0|local1|local2|local3|local4|"
     "local5|local6|local7)",
     "A facility of RFC 5424; \"local7\" by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "syslog level (emergency|alert|critical|error|warning|notice|informational|debug)",
            "Log messages of this level and of more severe ones.")
        .at_first("notice"),
    setting(k_config, "syslog server", "Send log messages to the servers; they are not sent by default."),
    setting(k_config, "syslog-server ipv4-ip IPADDR", "Send log messages to this server, port 514.").keyed(1),
    setting(k_config, "syslog-server ipv4-ip IPADDR port <1-65535>",
            "Send log messages to this port of this server.")
        .keyed(1),
    setting(k_config, "syslog-server ipv6-ip IPV6ADDR", "Send log messages to this server, port 514.")
        .keyed(1),
    setting(k_config, "syslog-server ipv6-ip IPV6ADDR port <1-65535>",
            "Send log messages to this port of this server.")
        .keyed(1),
    setting(k_config,
            "syslog-server facility "
            "(kern|user|mail|daemon|auth|syslog|lpr|news|uucp|cron|authpriv|ftp|local0|local1|local2|local3|"
            "local4|local5|local6|local7)",
            "Send log messages as this facility.")
        .at_first("local7"),
    action(k_actions, "clear syslog", "Empty the log of the switch."),
    undo(k_config, "no syslog server", "Send no log messages."),
    undo(k_config, "no syslog-server ipv4-ip IPADDR", "Send no log messages to this server."),
    undo(k_config, "no syslog-server ipv6-ip IPV6ADDR", "Send no log messages to this server."),
    show(k_shown, "show syslog", "Show the log of the switch, the latest message first."),
};

} // namespace

CMDS_FAMILY(syslog, "syslog", {k_mask_config, 8, 3, 1});
