// LLDP: what the switch and its neighbours tell each other of themselves.

#include "lib/cmds/cmds_build.h"

namespace {

#define TLVS "(port-description|system-name|system-description|system-capabilities|management-address)"

constexpr cmds_word k_words[] = {
    {"lldp", "LLDP: what neighbours tell each other, 802.1AB."},
    {"lldp (enable|disable)", "On or off; on by default."},
    {"tx-interval", "How often the ports send."},
    {"<1-3600>", "Seconds, 1 to 3600; 30 by default."},
    {"tx-hold", "How long neighbours keep what was sent."},
    {"<1-100>", "Intervals, 1 to 100; 4 by default, 120 s if the interval is 30 s."},
    {"reinit-delay", "How long a port rests before it sends again after being off."},
    {"<1-10>", "Seconds, 1 to 10; 2 by default."},
    {"lldp-agent", "LLDP of the port."},
    {"mode", "Whether the port sends, and listens."},
    {"(both|tx|rx|off)", "Both, the default; only send; only listen; or neither."},
    {"tlv", "What the port tells beside its name and the switch's address."},
    {TLVS, "One of the things that the port can tell."},
    {TLVS " (enable|disable)", "Whether it is told; it is by default."},
    {"accept_pd_request", "The power that a powered device at the port asks for by LLDP."},
    {"accept_pd_request (enable|disable)", "It gets that power, the default, or what its class says."},
    {"neighbors", "The devices at the ports."},
    {"statistics", "Frames sent, received and dropped, and neighbours that came and went."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "lldp (enable|disable)", "Run LLDP, or not; on by default.").at_first("enable"),
    setting(k_config, "lldp tx-interval <1-3600>", "Send this often; every 30 s by default.").at_first("30"),
    setting(k_config, "lldp tx-hold <1-100>",
            "Have neighbours keep what was sent for so many intervals; 4 by default.")
        .at_first("4"),
    setting(k_config, "lldp reinit-delay <1-10>", "Let a port rest so long; 2 s by default.").at_first("2"),
    setting(k_ports, "lldp-agent mode (both|tx|rx|off)", "Send and listen at the port; both by default.")
        .at_first("both"),
    setting(k_ports, "lldp-agent tlv " TLVS " (enable|disable)", "Tell this to the neighbour, or not.")
        .keyed(1)
        .at_first("enable"),
    setting(k_ports, "lldp-agent accept_pd_request (enable|disable)",
            "Give a powered device the power it asks for by LLDP; on by default.")
        .at_first("enable"),
    action(k_actions, "clear lldp statistics", "Begin to count from 0."),
    undo(k_config, "no lldp tx-interval", "Send every 30 s again."),
    undo(k_config, "no lldp tx-hold", "Have neighbours keep what was sent for 4 intervals again."),
    undo(k_config, "no lldp reinit-delay", "Let a port rest for 2 s again."),
    undo(k_ports, "no lldp-agent mode", "Send and listen at the port again."),
    show(k_shown, "show lldp", "Show the settings, and what the switch and its ports tell of themselves."),
    show(k_shown, "show lldp neighbors", "Show the devices at the ports, and all that they tell."),
    show(k_shown, "show lldp statistics", "Show what has been counted at each port."),
};

} // namespace

CMDS_FAMILY(lldp, "lldp", {k_mask_config, 8, 4, 3});
