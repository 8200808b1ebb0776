// The firmware and the boot loader that a board leaves the factory with.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"factory-firmware", "The firmware that the switch falls back to, and its boot loader."},
    {"download", "Replace this firmware. Its checksum is tested first."},
    {"bootloader", "Replace the boot loader. Without power meanwhile the board is lost."},
    {"tftp", "From a TFTP server."},
    {"xmodem", "From the terminal at the serial port, by XMODEM."},
    {"IPADDR", "The server, such as 192.168.1.1."},
    {"URL_PATH", "The file on the server."},
    {"verify", "Compare both with their checksums."},
};

constexpr cmds_form k_forms[] = {
    action(k_bench, "factory-firmware download tftp IPADDR URL_PATH", "Fetch the firmware and write it."),
    action(k_bench, "factory-firmware download xmodem",
           "Receive the firmware at the serial port and write it."),
    action(k_bench, "factory-firmware bootloader tftp IPADDR URL_PATH",
           "Fetch the boot loader and write it."),
    action(k_bench, "factory-firmware verify", "Read firmware and boot loader and test their checksums."),
    show(k_bench, "show factory-firmware", "Show the versions, and when they were written."),
};

} // namespace

CMDS_FAMILY(factory_firmware, "factory-firmware", {k_mask_engineering, 4, 0, 1});
