// 802.1X: who may send through a port, asked by the switch, its own users or a RADIUS server.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"dot1x", "802.1X: ports open for those who log in."},
    {"authentication", "Logging in at ports."},
    {"authentication enable", "Ask at the ports whose port-control is auto; off by default."},
    {"mac-bypass", "A device without 802.1X may log in by its MAC address."},
    {"authentic-method", "Who checks the passwords."},
    {"(local|radius|radius-local)", "This switch, a RADIUS server, or this switch when no server answers."},
    {"username", "Users whom this switch checks by itself."},
    {"username STRINGS", "The user's name, up to 32 characters without a blank."},
    {"password", "The user's password."},
    {"password STRINGS", "The password, up to 32 characters without a blank."},
    {"radius", "The RADIUS servers for 802.1X."},
    {"server", "Where a server is."},
    {"key", "The secret that a server shares with this switch."},
    {"auth-port", "UDP port for logging in."},
    {"acct-port", "UDP port for accounting."},
    {"(primary|secondary)", "The server asked first, or the one asked when that does not answer."},
    {"(primary|secondary) <1-65535>", "A UDP port; by default 1812 to log in, 1813 for accounting."},
    {"(primary|secondary) STRINGS", "The secret, up to 63 characters without a blank."},
    {"retransmit", "How often a server is asked again."},
    {"<0-10>", "Times after the first one, 0 to 10; 3 by default."},
    {"radius timeout", "How long the answer of a server may take."},
    {"<1-60>", "Seconds, 1 to 60; 5 by default."},
    {"accounting", "Reports of sessions to the RADIUS server."},
    {"accounting enable", "Report their begin and end; off by default."},
    {"interim-interval", "Reports while a session lasts; none by default."},
    {"<60-86400>", "Seconds between two reports, 60 to 86400; none are sent by default."},
    {"accounting-record", "The list of sessions that the switch itself keeps."},
    {"accounting-record enable", "Keep it; off by default."},
    {"accounting-clean", "Empty the list of sessions."},
    {"ports", "The ports with their state."},
    {"(initialize|reauthenticate)", "Log everybody out and begin anew, or ask again without a gap."},
    {"port-control", "Whether the port asks at all."},
    {"(auto|force-authorized|force-unauthorized)",
     "Ask; let everybody in, the default; or let nobody in, ever."},
    {"admin-control-direction", "What a port stops while nobody has logged in."},
    {"(both|in)", "Frames in both directions, the default, or only those that come in."},
    {"max-req", "How often a device is asked before the port gives it up."},
    {"<1-10>", "Times, 1 to 10; 2 by default."},
    {"timeout", "How long the port waits for what."},
    {"quiet-period", "The wait after a log-in that failed."},
    {"quiet-period <0-65535>", "Seconds, 0 to 65535; 60 by default."},
    {"tx-period", "The wait for a device to name itself, before it is asked again."},
    {"tx-period <1-65535>", "Seconds, 1 to 65535; 30 by default."},
    {"supp-timeout", "The wait for any other answer of a device."},
    {"supp-timeout <1-65535>", "Seconds, 1 to 65535; 30 by default."},
    {"server-timeout", "The wait for the RADIUS servers, all repetitions included."},
    {"server-timeout <1-65535>", "Seconds, 1 to 65535; 30 by default."},
    {"reauth-period", "How long a log-in holds when reauthentication is on."},
    {"<60-65535>", "Seconds, 60 to 65535; 3600 by default."},
    {"reauthentication", "Asking again those who have logged in."},
    {"reauthentication enable", "Ask again after each reauth-period; off by default."},
    {"guest-vlan", "The VLAN for devices without 802.1X; none by default."},
    {"default", "The port's settings of 802.1X, as they were at first."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "dot1x authentication enable", "Ask who is there at ports with port-control auto."),
    setting(k_config, "dot1x authentic-method (local|radius|radius-local)",
            "Choose who checks passwords; radius by default.")
        .at_first("radius"),
    setting(k_config, "dot1x username STRINGS password STRINGS", "Let this user in when this switch checks.")
        .keyed(1)
        .hides(2)
        .up_to(32),
    setting(k_config, "dot1x radius server (primary|secondary) IPADDR", "Ask the RADIUS server here.")
        .keyed(1),
    setting(k_config, "dot1x radius server (primary|secondary) IPV6ADDR", "Ask the RADIUS server here.")
        .keyed(1),
    setting(k_config, "dot1x radius key (primary|secondary) STRINGS", "Share this secret with the server.")
        .keyed(1)
        .hides(2)
        .up_to(63),
    setting(k_config, "dot1x radius auth-port (primary|secondary) <1-65535>",
            "Log in at this port of the server; 1812 by default.")
        .keyed(1)
        .at_first("1812"),
    setting(k_config, "dot1x radius acct-port (primary|secondary) <1-65535>",
            "Report to this port of the server; 1813 by default.")
        .keyed(1)
        .at_first("1813"),
    setting(k_config, "dot1x radius retransmit <0-10>", "Ask so often again; 3 times by default.")
        .at_first("3"),
    setting(k_config, "dot1x radius timeout <1-60>", "Wait so long for each answer; 5 s by default.")
        .at_first("5"),
    setting(k_config, "dot1x accounting enable", "Report the begin and end of sessions to the server."),
    setting(k_config, "dot1x accounting interim-interval <60-86400>",
            "Report sessions so often while they last, too."),
    setting(k_config, "dot1x accounting-record enable", "Keep a list of sessions on this switch."),
    setting(k_ports, "dot1x authentication mac-bypass",
            "Check a device that does not answer by its MAC address."),
    setting(k_ports, "dot1x port-control (auto|force-authorized|force-unauthorized)",
            "Ask at the port, open it or close it; force-authorized by default.")
        .at_first("force-authorized"),
    setting(k_ports, "dot1x admin-control-direction (both|in)",
            "Stop frames both ways, or those that come in, while nobody has logged in.")
        .at_first("both"),
    setting(k_ports, "dot1x max-req <1-10>", "Ask a device so often before giving up; twice by default.")
        .at_first("2"),
    setting(k_ports, "dot1x timeout quiet-period <0-65535>",
            "Wait so long after a log-in that failed; 60 s by default.")
        .at_first("60"),
    setting(k_ports, "dot1x timeout tx-period <1-65535>",
            "Ask again who is there after so long; 30 s by default.")
        .at_first("30"),
    setting(k_ports, "dot1x timeout supp-timeout <1-65535>",
            "Ask a device again after so long; 30 s by default.")
        .at_first("30"),
    setting(k_ports, "dot1x timeout server-timeout <1-65535>",
            "Give the servers up after so long; 30 s by default.")
        .at_first("30"),
    setting(k_ports, "dot1x timeout reauth-period <60-65535>",
            "Let a log-in hold for so long; 3600 s by default.")
        .at_first("3600"),
    setting(k_ports, "dot1x reauthentication enable", "Ask again after each reauth-period."),
    setting(k_ports, "dot1x guest-vlan VLANID", "Put devices without 802.1X into this VLAN."),
    action(k_ports, "dot1x default", "Take all settings of 802.1X of the port back."),
    action(k_actions, "dot1x ports PORTLISTS (initialize|reauthenticate)",
           "Make the devices at these ports log in again."),
    action(k_actions, "dot1x accounting-clean", "Empty the list of sessions on this switch."),
    action(k_actions, "clear dot1x statistics", "Begin to count log-ins and 802.1X frames from 0."),
    undo(k_config, "no dot1x authentication enable", "Ask nobody; all ports are open."),
    undo(k_config, "no dot1x username STRINGS", "Remove this user."),
    undo(k_config, "no dot1x radius server (primary|secondary)", "Do not ask this server any more."),
    undo(k_config, "no dot1x radius key (primary|secondary)", "Forget the secret shared with this server."),
    undo(k_config, "no dot1x accounting enable", "Report no sessions to the server."),
    undo(k_config, "no dot1x accounting interim-interval", "Report sessions at their begin and end only."),
    undo(k_config, "no dot1x accounting-record enable", "Keep no list of sessions on this switch."),
    undo(k_ports, "no dot1x authentication mac-bypass", "Do not check devices by their MAC addresses."),
    undo(k_ports, "no dot1x port-control", "Let everybody in at the port again."),
    undo(k_ports, "no dot1x reauthentication enable", "Let a log-in hold as long as the link is up."),
    undo(k_ports, "no dot1x guest-vlan", "Keep devices without 802.1X out."),
    show(k_shown, "show dot1x", "Show what holds for the whole switch."),
    show(k_shown, "show dot1x ports", "Show each port's settings and who has logged in."),
    show(k_shown, "show dot1x statistics", "Show what has been counted at each port."),
    show(k_shown, "show dot1x username", "Show the users that this switch checks by itself."),
    show(k_shown, "show dot1x radius", "Show the servers, whether they answer, and what was counted."),
    show(k_shown, "show dot1x accounting-record", "Show the list of sessions kept on this switch."),
};

} // namespace

CMDS_FAMILY(dot1x, "dot1x", {k_mask_config, 28, 11, 6});
