// What a board is told of itself in manufacturing.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"mfg-program", "Write what the board knows of itself; it outlives firmware and factory defaults."},
    {"serial-number", "The serial number."},
    {"serial-number STRINGS", "The serial number, up to 14 characters without a blank."},
    {"mac-address", "The MAC addresses."},
    {"MACADDR", "The switch's address, such as 00:11:22:33:44:55; those of ports follow it."},
    {"model", "The model's name, as it stands on the label."},
    {"model STRINGS", "The name, up to 32 characters without a blank."},
    {"hardware-revision", "The revision of the board."},
    {"hardware-revision STRINGS", "The revision, up to 8 characters, such as 1.02."},
    {"lock", "Let nothing of it be written again."},
};

constexpr cmds_form k_forms[] = {
    action(k_bench, "mfg-program serial-number STRINGS", "Write the serial number.").up_to(14),
    action(k_bench, "mfg-program mac-address MACADDR",
           "Write the MAC addresses; they hold from the next start."),
    action(k_bench, "mfg-program model STRINGS", "Write the model's name.").up_to(32),
    action(k_bench, "mfg-program hardware-revision STRINGS", "Write the revision of the board.").up_to(8),
    action(k_bench, "mfg-program lock", "Lock what has been written. This cannot be taken back."),
    show(k_bench, "show mfg-program", "Show what the board knows of itself, and whether it is locked."),
};

} // namespace

CMDS_FAMILY(mfg_program, "mfg-program", {k_mask_engineering, 5, 0, 1});
