// TACACS+: servers that say who may log in to the switch and what they may do.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"tacacs-plus", "TACACS+: servers that check who manages the switch."},
    {"tacacs-plus enable", "Ask the servers; off by default."},
    {"server-host", "A server with an IPv4 address."},
    {"server-ipv6-host", "A server with an IPv6 address, asked after those with IPv4 ones."},
    {"<1-4>", "The server's number, 1 to 4; lower ones are asked first."},
    {"port", "The server's TCP port."},
    {"<1-65535>", "A TCP port, 1 to 65535; 49 by default."},
    {"key", "A secret of this server's own, in place of server-key."},
    {"key STRINGS", "The secret, up to 63 characters without a blank."},
    {"server-key", "The secret that all servers without one of their own share."},
    {"server-key STRINGS", "The secret, up to 63 characters without a blank."},
    {"timeout", "How long the answer of a server may take."},
    {"<1-60>", "Seconds, 1 to 60; 5 by default."},
    {"dead-time", "How long a server that has not answered is passed over."},
    {"<0-1440>", "Minutes, 0 to 1440; 0 by default: it is asked each time."},
    {"authentication", "Who checks the passwords."},
    {"line-console", "The serial console."},
    {"line-telnet", "Sessions by telnet."},
    {"line-ssh", "Sessions by SSH."},
    {"web", "The web pages."},
    {"(local|server|server-local)",
     "The switch's own accounts, the default; the servers; or the accounts when no server answers."},
    {"type", "How passwords are sent to the servers."},
    {"(ascii|pap|chap)", "By dialogue, the default; in one message; or as a hash."},
    {"authorization", "What those may do who have logged in by a server."},
    {"authorization exec", "The user's level, as the server has it."},
    {"authorization commands", "Each command, by the server's leave."},
    {"authorization line-console", "The serial console, where nobody is asked by default."},
    {"no-answer", "Commands when no server answers."},
    {"(permit|deny)", "Carry them out, or refuse them, the default."},
    {"accounting", "Reports to the servers of what was done."},
    {"accounting exec", "Sessions of the shell and the web pages."},
    {"(start-stop|stop-only)", "When they begin and end, or when they end."},
    {"accounting commands", "Each command that was carried out."},
    {"system", "Starts of the switch, and accounting switched on or off."},
    {"accounting line-console", "The serial console, reported by default like the others."},
    {"update", "Reports while a session lasts; none by default."},
    {"<1-1440>", "Minutes between two reports, 1 to 1440; none are sent by default."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "tacacs-plus enable", "Use TACACS+."),
    setting(k_config, "tacacs-plus server-host <1-4> IPADDR", "Ask the server at this address.").keyed(1),
    setting(k_config, "tacacs-plus server-host <1-4> IPADDR port <1-65535>",
            "Ask the server at this address and port.")
        .keyed(1),
    setting(k_config, "tacacs-plus server-host <1-4> IPADDR key STRINGS",
            "Ask the server at this address, with this secret.")
        .keyed(1)
        .hides(3)
        .up_to(63),
    setting(k_config, "tacacs-plus server-host <1-4> IPADDR port <1-65535> key STRINGS",
            "Ask the server at this address and port, with this secret.")
        .keyed(1)
        .hides(4)
        .up_to(63),
    setting(k_config, "tacacs-plus server-ipv6-host <1-4> IPV6ADDR", "Ask the server at this address.")
        .keyed(1),
    setting(k_config, "tacacs-plus server-ipv6-host <1-4> IPV6ADDR port <1-65535>",
            "Ask the server at this address and port.")
        .keyed(1),
    setting(k_config, "tacacs-plus server-ipv6-host <1-4> IPV6ADDR key STRINGS",
            "Ask the server at this address, with this secret.")
        .keyed(1)
        .hides(3)
        .up_to(63),
    setting(k_config, "tacacs-plus server-ipv6-host <1-4> IPV6ADDR port <1-65535> key STRINGS",
            "Ask the server at this address and port, with this secret.")
        .keyed(1)
        .hides(4)
        .up_to(63),
    setting(k_config, "tacacs-plus server-key STRINGS",
            "Share this secret with all servers that have none of their own.")
        .hides(1)
        .up_to(63),
    setting(k_config, "tacacs-plus timeout <1-60>", "Wait so long for a server; 5 s by default.")
        .at_first("5"),
    setting(k_config, "tacacs-plus dead-time <0-1440>",
            "Pass a silent server over for so many minutes; 0 by default.")
        .at_first("0"),
    setting(k_config, "tacacs-plus authentication line-console (local|server|server-local)",
            "Choose who checks passwords at the console; local by default.")
        .at_first("local"),
    setting(k_config, "tacacs-plus authentication line-telnet (local|server|server-local)",
            "Choose who checks passwords by telnet; local by default.")
        .at_first("local"),
    setting(k_config, "tacacs-plus authentication line-ssh (local|server|server-local)",
            "Choose who checks passwords by SSH; local by default.")
        .at_first("local"),
    setting(k_config, "tacacs-plus authentication web (local|server|server-local)",
            "Choose who checks passwords of the web pages; local by default.")
        .at_first("local"),
    setting(k_config, "tacacs-plus authentication type (ascii|pap|chap)",
            "Send passwords to the servers in this way; ascii by default.")
        .at_first("ascii"),
    setting(k_config, "tacacs-plus authorization exec", "Take each user's level from the server."),
    setting(k_config, "tacacs-plus authorization commands", "Ask the server before each command."),
    setting(k_config, "tacacs-plus authorization line-console", "Ask at the serial console, too."),
    setting(k_config, "tacacs-plus authorization no-answer (permit|deny)",
            "Do this with commands when no server answers; deny by default.")
        .at_first("deny"),
    setting(k_config, "tacacs-plus accounting exec (start-stop|stop-only)", "Report sessions to the server."),
    setting(k_config, "tacacs-plus accounting commands", "Report each command to the server."),
    setting(k_config, "tacacs-plus accounting system", "Report starts of the switch to the server."),
    setting(k_config, "tacacs-plus accounting line-console",
            "Report what is done at the serial console, too.")
        .on_at_first(),
    setting(k_config, "tacacs-plus accounting update <1-1440>",
            "Report sessions every so many minutes while they last."),
    undo(k_config, "no tacacs-plus enable", "Do not use TACACS+; the switch checks by itself."),
    undo(k_config, "no tacacs-plus server-host <1-4>", "Do not ask this server any more."),
    undo(k_config, "no tacacs-plus server-ipv6-host <1-4>", "Do not ask this server any more."),
    undo(k_config, "no tacacs-plus server-key", "Forget the secret that servers share."),
    undo(k_config, "no tacacs-plus timeout", "Wait 5 s for a server again."),
    undo(k_config, "no tacacs-plus authorization exec", "Do not take users' levels from the server."),
    undo(k_config, "no tacacs-plus authorization commands", "Ask no server before a command."),
    undo(k_config, "no tacacs-plus authorization line-console", "Ask no server at the serial console."),
    undo(k_config, "no tacacs-plus accounting exec", "Report no sessions."),
    undo(k_config, "no tacacs-plus accounting commands", "Report no commands."),
    undo(k_config, "no tacacs-plus accounting system", "Report no starts of the switch."),
    undo(k_config, "no tacacs-plus accounting line-console",
         "Report nothing of what is done at the serial console."),
    undo(k_config, "no tacacs-plus accounting update", "Report sessions at their begin and end only."),
    show(k_shown, "show tacacs-plus", "Show the settings, the servers and whether they answer."),
};

} // namespace

CMDS_FAMILY(tacacs_plus, "tacacs-plus", {k_mask_config, 26, 13, 1});
