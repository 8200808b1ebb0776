// Mails about what has happened.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"mail-alarm", "Mails about what has happened."},
    {"server", "The mail server, SMTP."},
    {"port", "The server's port."},
    {"<1-65535>", "The server's TCP port: 25, 465 with TLS, or 587 with STARTTLS as a rule."},
    {"encryption", "Encryption on the way to the server."},
    {"(plain|starttls|tls)", "None, begun on the way, or from the beginning."},
    {"auth-account", "The account at the mail server."},
    {"auth-account STRINGS", "The account's name, up to 64 characters without a blank."},
    {"password", "The account's password."},
    {"STRINGS", "The account's password, up to 64 characters without a blank."},
    {"mail-from", "Who the mails are from."},
    {"mail-from STRINGS", "A mail address, up to 64 characters."},
    {"mail-to", "Who the mails go to."},
    {"mail-to STRINGS", "A mail address, up to 64 characters."},
    {"utf8-encoding", "Characters of the mails."},
    {"utf8-encoding (enable|disable)", "UTF-8, or ASCII alone; ASCII by default."},
    {"trap-event", "What mails are sent about."},
    {"(cold-start|warm-start|link|authentication|power|temperature|topology|poe|sfp|configuration)",
     "What has happened."},
};

constexpr cmds_form k_forms[] = {
    setting(k_config, "mail-alarm server IPADDR", "Send mails by this server, port 25, not encrypted."),
    setting(k_config, "mail-alarm server IPADDR port <1-65535> encryption (plain|starttls|tls)",
            "Send mails by this port of this server, encrypted or not."),
    setting(k_config, "mail-alarm auth-account STRINGS password STRINGS", "Log in to the mail server.")
        .hides(2),
    setting(k_config, "mail-alarm mail-from STRINGS", "Send mails from this address."),
    setting(k_config, "mail-alarm mail-to STRINGS", "Send mails to this address; there may be several.")
        .keyed(1),
    setting(k_config, "mail-alarm utf8-encoding (enable|disable)", "Send mails in UTF-8, or in ASCII.")
        .at_first("disable"),
    setting(k_config,
            "mail-alarm trap-event "
            "(cold-start|warm-start|link|authentication|power|temperature|topology|poe|sfp|configuration) "
            "(enable|disable)",
            "Send mails about this, or not; none are sent by default.")
        .keyed(1)
        .at_first("disable"),
    undo(k_config, "no mail-alarm server", "Send no mails."),
    undo(k_config, "no mail-alarm auth-account", "Do not log in to the mail server."),
    undo(k_config, "no mail-alarm mail-from", "Name no sender; the mail server may refuse the mails then."),
    undo(k_config, "no mail-alarm mail-to STRINGS", "Send no mails to this address."),
    show(k_shown, "show mail-alarm", "Show what mails are sent about, and whether the last one went out."),
};

} // namespace

CMDS_FAMILY(mail_alarm, "mail-alarm", {k_mask_config, 7, 4, 1});
