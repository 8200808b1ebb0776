// Debugging of the switch's software.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"debug", "Debug the software of the switch."},
    {"module", "How much a part of the software prints."},
    {"(all|arp|dhcp|dot1x|erps|igmp-snooping|lacp|lldp|ptp|snmp|spanning-tree)", "A part, or all."},
    {"level", "Print what is as urgent as this, or more."},
    {"<0-7>", "0 emergencies only, 3 errors, 6 information, 7 everything; 3 by default."},
    {"output", "Where debugging prints to."},
    {"(console|session|syslog)", "The serial port, this session, or the system log; the log by default."},
    {"packet", "Frames between the switching chip and the processor."},
    {"packet start", "Begin to print them."},
    {"packet stop", "Print no more of them."},
    {"(rx|tx|both)", "Those that the processor receives, those it sends, or both."},
    {"ethertype", "Frames of one type only."},
    {"HEX_VALUE", "The type, 0 to ffff, such as 88cc for LLDP; 0 is all types, which is the default."},
    {"process", "A running program."},
    {"stacks", "The calls in which its threads are."},
    {"<1-32767>", "The process id, as \"show debug processes\" has it."},
    {"watchdog", "The hardware that restarts a switch whose processor hangs; on by default."},
    {"fail", "Make the system fail, to see how it recovers. Traffic may stop."},
    {"(process-abort|kernel-panic|watchdog-reset)", "How: a program of the switch ends, or the whole of it."},
    {"processes", "Programs that run."},
};

constexpr cmds_form k_forms[] = {
    action(
        k_bench,
        "debug module (all|arp|dhcp|dot1x|erps|igmp-snooping|lacp|lldp|ptp|snmp|spanning-tree) level <0-7>",
        "Set how much a part of the software prints, until the next start."),
    action(k_bench, "debug output (console|session|syslog)", "Set where debugging prints to."),
    action(k_bench, "debug packet start PORTLISTS (rx|tx|both)",
           "Print the frames of these ports that pass the processor."),
    action(k_bench, "debug packet ethertype HEX_VALUE", "Print frames of this type only."),
    action(k_bench, "debug packet stop", "Print no more frames."),
    action(k_bench, "debug process stacks <1-32767>", "Print the calls that a program is in."),
    action(k_bench, "debug watchdog (enable|disable)", "Let the watchdog restart a hung switch, or not."),
    action(k_bench, "debug fail (process-abort|kernel-panic|watchdog-reset)",
           "Make the system fail at once."),
    show(k_bench, "show debug", "Show what is being printed, and where."),
    show(k_bench, "show debug processes", "Show the programs that run, their time and their memory."),
};

} // namespace

CMDS_FAMILY(debug, "debug", {k_mask_engineering, 8, 0, 2});
