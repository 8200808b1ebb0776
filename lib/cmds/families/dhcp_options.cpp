// DHCP option 82: what the switch adds to requests, so that servers know where they come from.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"dhcp-options", "What is added to DHCP requests that pass."},
    {"option_82", "The relay agent information: which switch and port a request comes from, RFC 3046."},
    {"(enable|disable)", "Add it to requests that are relayed or watched, or not, the default."},
    {"policy", "What is done with requests that bring one already."},
    {"(drop|keep|replace)", "Drop them, pass them as they are, or put the switch's own in, the default."},
    {"remote-id", "The name of the switch in it; its MAC address by default."},
    {"circuit-id", "The name of the port in it; VLAN and port number by default."},
    {"STRINGS", "The name, up to 63 characters without a blank."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "dhcp-options option_82 (enable|disable)",
            "Add option 82 to DHCP requests, and take it out of the answers; disable by default.")
        .at_first("disable"),
    setting(k_config, "dhcp-options option_82 policy (drop|keep|replace)",
            "Do this with requests that have the option; replace by default.")
        .at_first("replace"),
    setting(k_config, "dhcp-options option_82 remote-id STRINGS", "Call the switch this in option 82.")
        .up_to(63),
    setting(k_ports, "dhcp-options option_82 circuit-id STRINGS", "Call the port this in option 82.")
        .up_to(63),
    undo(k_config, "no dhcp-options option_82 remote-id", "Call the switch by its MAC address again."),
    undo(k_ports, "no dhcp-options option_82 circuit-id", "Call the port by VLAN and number again."),
    show(k_shown, "show dhcp-options option_82", "Show the settings of option 82, and what is sent."),
};

} // namespace

CMDS_FAMILY(dhcp_options, "dhcp-options", {k_mask_config, 4, 2, 1});
