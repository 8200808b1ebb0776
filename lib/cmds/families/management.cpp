// From where the switch is managed, and whether the gateway to there answers.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"management", "From where the switch is managed: web pages, shell and SNMP."},
    {"vlan", "The VLAN of management."},
    {"VLANID", "A VLAN, 1 to 4094; 1 by default."},
    {"host", "Machines that may manage the switch; all may while neither these nor networks are named."},
    {"subnet-host", "Networks that may manage the switch, beside the machines that are named."},
    {"gateway-keep-alive", "Watch over the default gateway, by ARP requests."},
    {"gateway-keep-alive (enable|disable)", "Watched or not; not by default."},
    {"interval", "How often the gateway is asked."},
    {"<1-600>", "Seconds, 1 to 600; 10 by default."},
    {"misses", "How many requests in a row stay unanswered before the gateway counts as lost."},
    {"<1-10>", "Requests, 1 to 10; 3 by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "management vlan VLANID",
            "Let the switch be managed from this VLAN; keep a port in it, or lose the connection.")
        .at_first("1"),
    setting(k_config, "management host IPADDR", "Let this machine manage, and none that is not named.")
        .keyed(1),
    setting(k_config, "management subnet-host IPADDR_MASK",
            "Let this network manage, and none that is not named.")
        .keyed(1),
    setting(k_config, "gateway-keep-alive (enable|disable)",
            "Ask the default gateway for signs of life, or not; its loss is logged.")
        .at_first("disable"),
    setting(k_config, "gateway-keep-alive interval <1-600>", "Ask the gateway every so many seconds.")
        .at_first("10"),
    setting(k_config, "gateway-keep-alive misses <1-10>", "Take the gateway for lost after so many requests.")
        .at_first("3"),
    undo(k_config, "no management host IPADDR", "Do not name this machine any more."),
    undo(k_config, "no management subnet-host IPADDR_MASK", "Do not name this network any more."),
    show(k_shown, "show gateway-keep-alive", "Show whether the default gateway answers, and since when."),
};

} // namespace

CMDS_FAMILY(management, "management", {k_mask_config, 6, 2, 1});
