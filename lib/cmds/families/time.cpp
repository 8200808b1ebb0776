// The clock of the switch: set by hand or by NTP, the time zone and daylight saving time.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_clock = {cmds_mode_bit(k_mode_exec) | cmds_mode_bit(k_cli_mode_config), k_mask_config};

constexpr cmds_word k_words[] = {
    {"time", "The clock of the switch."},
    {"TIME", "A local time, such as 14:05:00."},
    {"date", "The day."},
    {"DATE", "Year, month and day, such as 2027/01/31."},
    {"ntp-server", "Servers that the clock follows, by their IPv4 address."},
    {"ntp-ipv6-server", "Servers that the clock follows, by their IPv6 address."},
    {"ntp-interval", "How often the servers are asked."},
    {"(64|128|256|512|1024)", "Seconds; 64 by default."},
    {"timezone", "The time zone, without daylight saving time."},
    {"(plus|minus)", "Ahead of UTC, or behind it."},
    {"<0-14>", "Hours, 0 to 14; 0 by default."},
    {"(0|15|30|45)", "Minutes beside the hours; 0 by default."},
    {"daylight-saving-time", "An hour that is added to the time in summer."},
    {"(european-union|north-america)",
     "March to October, changed at 01:00 UTC, or March to November, changed at 02:00 local time."},
    {"recurring", "From a weekday of a month to another one, every year."},
    {"(first|second|third|fourth|last)", "Which weekday of the month it begins on."},
    {"TIME (first|second|third|fourth|last)", "Which weekday of the month it ends on."},
    {"(sunday|monday|tuesday|wednesday|thursday|friday|saturday)", "The weekday."},
    {"<1-12>", "The month, 1 to 12."},
    {"<1-12> TIME", "The local time of the change, such as 02:00:00."},
    {"daylight-saving-time date", "From a day to another one, in one year."},
    {"date DATE", "Year, month and day, such as 2027/03/28."},
    {"DATE TIME", "The local time of the change, such as 02:00:00."},
    {"TIME DATE", "The day it ends, such as 2027/10/31."},
};

constexpr cmds_form k_forms[] = {
    action(k_clock, "time TIME", "Set the clock to this time of the day."),
    action(k_clock, "time date DATE", "Set the clock to this day."),
    setting(k_config, "time ntp-server IPADDR", "Follow this server; there may be several.").keyed(1),
    setting(k_config, "time ntp-ipv6-server IPV6ADDR", "Follow this server; there may be several.").keyed(1),
    setting(k_config, "time ntp-interval (64|128|256|512|1024)", "Ask the servers every so many seconds.")
        .at_first("64"),
    setting(k_config, "time timezone (plus|minus) <0-14> (0|15|30|45)", "Set the difference to UTC.")
        .at_first("plus 0 0"),
    setting(k_config, "time daylight-saving-time (european-union|north-america)",
            "Add an hour in summer by the rules of this region."),
    setting(k_config,
            "time daylight-saving-time recurring "
            "(first|second|third|fourth|last) (sunday|monday|tuesday|wednesday|thursday|friday|saturday) "
            "<1-12> TIME "
            "(first|second|third|fourth|last) (sunday|monday|tuesday|wednesday|thursday|friday|saturday) "
            "<1-12> TIME",
            "Add an hour between these days of every year.")
        .one_of("time daylight-saving-time"),
    setting(k_config, "time daylight-saving-time date DATE TIME DATE TIME",
            "Add an hour between these days of one year.")
        .one_of("time daylight-saving-time"),
    undo(k_config, "no time ntp-server IPADDR", "Do not follow this server."),
    undo(k_config, "no time ntp-ipv6-server IPV6ADDR", "Do not follow this server."),
    undo(k_config, "no time timezone", "Set the clock to UTC."),
    undo(k_config, "no time daylight-saving-time", "Add no hour in summer."),
    show(k_shown, "show time", "Show day, time, time zone, and what the clock follows."),
};

} // namespace

CMDS_FAMILY(time, "time", {k_mask_config, 9, 4, 1});
