// Precision time protocol, IEEE 1588.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"ptp", "Precision time protocol, IEEE 1588."},
    {"ptp enable", "All domains on; off by default."},
    {"primary-domain", "The domain that the switch's own clock follows."},
    {"primary-domain <0-127>", "The domain's number, 0 to 127; 0 by default."},
    {"domain", "A domain: clocks that are synchronised to each other."},
    {"<0-127>", "The domain's number, 0 to 127."},
    {"information", "The primary domain: its grandmaster, and how far the clock is off."},
    {"port", "A port in the domain."},
    {"clock-mode", "What kind of clock the switch is in this domain."},
    {"(ordinary|boundary|e2e-transparent|p2p-transparent)",
     "One port only; slave and master at once; or only correcting, end to end or link by link. "
     "boundary by default."},
    {"two-step-clock", "How the time of a message is told."},
    {"two-step-clock (enable|disable)",
     "In a message of its own, or in the message itself; enable by default."},
    {"clock-priority1", "What comes first when the best clock is chosen; the lowest wins."},
    {"clock-priority2", "What decides between clocks of the same quality; the lowest wins."},
    {"<0-255>", "A priority, 0 to 255; 128 by default."},
    {"slave", "Whether the switch never becomes a master."},
    {"slave (enable|disable)", "Slave only, or master as well; disable by default."},
    {"path-trace", "Whether announce messages list the clocks they have passed."},
    {"path-trace (enable|disable)", "List the clocks, or not; disable by default."},
    {"acceptable-master", "Which clocks may be masters."},
    {"acceptable-master (enable|disable)", "Only those of the domain's table, or any; any by default."},
    {"clock", "A clock of the table."},
    {"MACADDR", "The MAC address of its clock identity, without the ff:fe in the middle."},
    {"transport", "What the messages travel in."},
    {"(ethernet|ipv4|ipv6)", "Ethernet frames, or UDP over IPv4 or IPv6; ethernet by default."},
    {"vlan", "The VLAN whose tag messages have."},
    {"VLANID", "A VLAN, 1 to 4094; no tag by default."},
    {"announce", "Messages in which a master says how good it is."},
    {"timeout", "After how many missing ones the master is taken for lost."},
    {"<2-10>", "Intervals, 2 to 10; 3 by default."},
    {"sync", "Messages in which a master tells the time."},
    {"interval", "Time between two of them."},
    {"(0|1|2|3|4)", "Seconds as a power of 2: 0 is 1 s, 1 is 2 s, 4 is 16 s; 1 by default."},
    {"(-7|-6|-5|-4|-3|-2|-1|0|1)",
     "Seconds as a power of 2: -3 is 8 per second, 0 is 1 s, 1 is 2 s; 0 by default."},
    {"delay", "Messages that measure how long the others travel."},
    {"mechanism", "Between which clocks the delay is measured."},
    {"(e2e|p2p)", "From slave to master, or between neighbours; e2e by default."},
    {"(-7|-6|-5|-4|-3|-2|-1|0|1|2|3|4|5)",
     "Seconds as a power of 2: -3 is 8 per second, 0 is 1 s, 5 is 32 s; 0 by default."},
};

constexpr cmds_where k_domain = cmds_in(k_mode_ptp_domain);
constexpr cmds_where k_port = cmds_in(k_mode_ptp_port);

constexpr cmds_form k_forms[] = {
    setting(k_config, "ptp enable", "Switch all domains on."),
    setting(k_config, "ptp primary-domain <0-127>", "Let the switch's own clock follow this domain.")
        .at_first("0"),
    setting(k_domain, "clock-mode (ordinary|boundary|e2e-transparent|p2p-transparent)",
            "Set what kind of clock the switch is.")
        .at_first("boundary"),
    setting(k_domain, "two-step-clock (enable|disable)", "Tell times in messages of their own, or at once.")
        .at_first("enable"),
    setting(k_domain, "clock-priority1 <0-255>", "Set the first priority of this clock.").at_first("128"),
    setting(k_domain, "clock-priority2 <0-255>", "Set the second priority of this clock.").at_first("128"),
    setting(k_domain, "slave (enable|disable)", "Never become a master, or do when it is best.")
        .at_first("disable"),
    setting(k_domain, "path-trace (enable|disable)", "List the clocks that announce messages pass, or not.")
        .at_first("disable"),
    setting(k_domain, "acceptable-master clock MACADDR", "Put this clock into the table of possible masters.")
        .keyed(1),
    setting(k_port, "acceptable-master (enable|disable)", "Take masters of the table only, or any.")
        .at_first("disable"),
    setting(k_port, "transport (ethernet|ipv4|ipv6)", "Set what the messages travel in.")
        .at_first("ethernet"),
    setting(k_port, "vlan VLANID", "Send messages with the tag of this VLAN."),
    setting(k_port, "announce interval (0|1|2|3|4)", "Announce this clock so often, as a master.")
        .at_first("1"),
    setting(k_port, "announce timeout <2-10>", "Take the master for lost after so many intervals.")
        .at_first("3"),
    setting(k_port, "sync interval (-7|-6|-5|-4|-3|-2|-1|0|1)", "Tell the time so often, as a master.")
        .at_first("0"),
    setting(k_port, "delay mechanism (e2e|p2p)", "Set how the delay is measured.").at_first("e2e"),
    setting(k_port, "delay interval (-7|-6|-5|-4|-3|-2|-1|0|1|2|3|4|5)", "Measure the delay so often.")
        .at_first("0"),
    undo(k_config, "no ptp enable", "Switch all domains off."),
    undo(k_config, "no ptp primary-domain", "Let the switch's own clock follow domain 0 again."),
    undo(k_domain, "no acceptable-master clock MACADDR", "Take this clock out of the table."),
    undo(k_port, "no vlan", "Send messages without a tag."),
    show(k_shown, "show ptp information", "Show the primary domain, its grandmaster and the offset from it."),
    show(k_shown, "show ptp domain <0-127>", "Show a domain: this clock, its parent and its ports."),
    show(k_shown, "show ptp domain <0-127> port PORT_ID",
         "Show a port in a domain: its state, delay and messages."),
};

} // namespace

CMDS_FAMILY(ptp, "ptp", {k_mask_config, 17, 4, 3});
