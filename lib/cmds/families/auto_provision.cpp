// Auto-provisioning: firmware and configuration that the switch fetches at its start.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_where k_provision = cmds_in(k_mode_auto_provision);

constexpr cmds_word k_words[] = {
    {"protocol", "How the files are fetched at the start."},
    {"(none|tftp|ftp)", "\"none\" fetches nothing; it is so by default."},
    {"server-address", "The server's IPv4 address, used before its IPv6 address."},
    {"server-ipv6-address", "The server's IPv6 address."},
    {"folder", "The folder of the files on the server."},
    {"URL_PATH", "The folder's path, up to 128 characters without a blank; \"/\" by default."},
    {"FTP-user", "The account at the FTP server; \"anonymous\" by default."},
    {"FTP-user STRINGS", "The account's name, up to 64 characters without a blank."},
    {"password", "The account's password."},
    {"STRINGS", "The account's password, up to 64 characters without a blank."},
    {"auto-provision", "Firmware and configuration fetched from a server at the start."},
};

constexpr cmds_form k_forms[] = {
    setting(k_provision, "protocol (none|tftp|ftp)", "Fetch files at the start by this protocol.")
        .at_first("none"),
    setting(k_provision, "server-address IPADDR", "Fetch files from this server."),
    setting(k_provision, "server-ipv6-address IPV6ADDR", "Fetch files from this server over IPv6."),
    setting(k_provision, "folder URL_PATH", "Fetch files from this folder.").at_first("/"),
    setting(k_provision, "FTP-user STRINGS password STRINGS", "Log in to the FTP server.").hides(2),
    undo(k_provision, "no server-address", "Name no server by an IPv4 address."),
    undo(k_provision, "no server-ipv6-address", "Name no server by an IPv6 address."),
    undo(k_provision, "no FTP-user", "Log in to the FTP server as \"anonymous\"."),
    show(k_shown, "show auto-provision", "Show what was fetched at the start, and what failed."),
};

} // namespace

CMDS_FAMILY(auto_provision, "auto-provision", {k_mask_config, 5, 3, 1});
