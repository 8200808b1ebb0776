// Files copied to and from the switch: by TFTP and FTP, SFTP, SCP, and a USB stick.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"archive", "Copy files by TFTP or FTP."},
    {"sftp", "Copy files by SFTP; the password is asked for."},
    {"scp", "Copy files by SCP; the password is asked for."},
    {"usb", "Copy files to and from a USB stick."},
    {"upload-config", "The saved configuration, out of the switch."},
    {"download-config", "A configuration for the next start, in place of the saved one."},
    {"download-running-config", "Lines of configuration that are run at once."},
    {"download-fw", "Firmware in place of the one that is started; keep the power on."},
    {"download-secondary-fw", "Firmware in place of the spare one; keep the power on."},
    {"auto-upgrade-fw", "Firmware, if it is newer than the one that runs; the switch restarts with it."},
    {"upload-syslog", "The log, out of the switch."},
    {"upload-rsakey", "The public RSA key of the SSH server, out of the switch."},
    {"ipv6-upload-config", "As upload-config, over IPv6."},
    {"ipv6-download-config", "As download-config, over IPv6."},
    {"ipv6-download-running-config", "As download-running-config, over IPv6."},
    {"ipv6-download-fw", "As download-fw, over IPv6; keep the power on."},
    {"ipv6-download-secondary-fw", "As download-secondary-fw, over IPv6; keep the power on."},
    {"ipv6-auto-upgrade-fw", "As auto-upgrade-fw, over IPv6; the switch restarts."},
    {"ipv6-upload-syslog", "As upload-syslog, over IPv6."},
    {"ipv6-upload-rsakey", "As upload-rsakey, over IPv6."},
    {"URL_PATH", "tftp://192.168.1.1/file, or ftp://user@192.168.1.1/file; a password is asked for."},
    {"IPv6_URL_PATH",
     "tftp://[2001:db8:0:0:0:0:0:1]/file, or ftp://user@[...]/file; a password is asked for."},
    {"SFTP_HOST",
     "The server and the file: user@192.168.1.1/file, or with a port, user@192.168.1.1:22/file."},
    {"SCP_HOST", "The server and the file: user@192.168.1.1/file, or with a port, user@192.168.1.1:22/file."},
    {"STRINGS", "The file's name on the stick, up to 64 characters without a blank."},
};

constexpr cmds_form k_forms[] = {
    action(k_actions, "archive upload-config URL_PATH", "Copy the saved configuration to the server."),
    action(k_actions, "archive download-config URL_PATH", "Fetch the configuration for the next start."),
    action(k_actions, "archive download-running-config URL_PATH",
           "Fetch lines of configuration and run them."),
    action(k_actions, "archive download-fw URL_PATH", "Fetch firmware for the next start."),
    action(k_actions, "archive download-secondary-fw URL_PATH", "Fetch the spare firmware."),
    action(k_actions, "archive auto-upgrade-fw URL_PATH", "Fetch newer firmware, and restart with it."),
    action(k_actions, "archive upload-syslog URL_PATH", "Copy the log to the server."),
    action(k_actions, "archive upload-rsakey URL_PATH", "Copy the public RSA key to the server."),
    action(k_actions, "archive ipv6-upload-config IPv6_URL_PATH",
           "Copy the saved configuration to the server."),
    action(k_actions, "archive ipv6-download-config IPv6_URL_PATH",
           "Fetch the configuration for the next start."),
    action(k_actions, "archive ipv6-download-running-config IPv6_URL_PATH",
           "Fetch lines of configuration and run them."),
    action(k_actions, "archive ipv6-download-fw IPv6_URL_PATH", "Fetch firmware for the next start."),
    action(k_actions, "archive ipv6-download-secondary-fw IPv6_URL_PATH", "Fetch the spare firmware."),
    action(k_actions, "archive ipv6-auto-upgrade-fw IPv6_URL_PATH",
           "Fetch newer firmware, and restart with it."),
    action(k_actions, "archive ipv6-upload-syslog IPv6_URL_PATH", "Copy the log to the server."),
    action(k_actions, "archive ipv6-upload-rsakey IPv6_URL_PATH", "Copy the public RSA key to the server."),
    action(k_actions, "sftp upload-config SFTP_HOST", "Copy the saved configuration to the server."),
    action(k_actions, "sftp download-config SFTP_HOST", "Fetch the configuration for the next start."),
    action(k_actions, "sftp download-running-config SFTP_HOST", "Fetch lines of configuration and run them."),
    action(k_actions, "sftp download-fw SFTP_HOST", "Fetch firmware for the next start."),
    action(k_actions, "sftp download-secondary-fw SFTP_HOST", "Fetch the spare firmware."),
    action(k_actions, "sftp upload-syslog SFTP_HOST", "Copy the log to the server."),
    action(k_actions, "scp upload-config SCP_HOST", "Copy the saved configuration to the server."),
    action(k_actions, "scp download-config SCP_HOST", "Fetch the configuration for the next start."),
    action(k_actions, "scp download-running-config SCP_HOST", "Fetch lines of configuration and run them."),
    action(k_actions, "scp download-fw SCP_HOST", "Fetch firmware for the next start."),
    action(k_actions, "scp download-secondary-fw SCP_HOST", "Fetch the spare firmware."),
    action(k_actions, "scp upload-syslog SCP_HOST", "Copy the log to the server."),
    action(k_actions, "usb upload-config STRINGS", "Copy the saved configuration to the stick."),
    action(k_actions, "usb download-config STRINGS", "Read the configuration for the next start."),
    action(k_actions, "usb download-fw STRINGS", "Read firmware for the next start."),
    action(k_actions, "usb upload-syslog STRINGS", "Copy the log to the stick."),
};

} // namespace

CMDS_FAMILY(archive, "archive", {k_mask_config, 32, 0, 0});
