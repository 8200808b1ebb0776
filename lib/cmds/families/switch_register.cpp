// Registers of the chips on the board: the switch, its PHYs, the processor, and what hangs on I2C and GPIO.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"switch-register", "Registers of the switching chip, 32 bits each."},
    {"phy-register", "Registers of a port's PHY, 16 bits each, 802.3 clauses 22 and 45."},
    {"cpu-register", "Registers of the processor, 32 bits each. A wrong address stops the switch."},
    {"i2c", "Chips on an I2C bus, such as SFP modules and sensors."},
    {"gpio", "Pins of the processor."},
    {"read", "Print what it holds."},
    {"write", "Change it at once; nothing checks the value."},
    {"modify", "Change some bits and leave the others."},
    {"read HEX_VALUE", "The address, hexadecimal; a multiple of 4."},
    {"write HEX_VALUE", "The address, hexadecimal; a multiple of 4."},
    {"modify HEX_VALUE", "The address, hexadecimal; a multiple of 4."},
    {"count", "Several, from this one on."},
    {"count <1-256>", "How many, 1 to 256."},
    {"mask", "Which bits."},
    {"mask HEX_VALUE", "A 1 for each bit that is changed, hexadecimal."},
    {"value", "What it becomes."},
    {"HEX_VALUE", "The value, hexadecimal; the size of the register."},
    {"<0-31>", "The register's number, 0 to 31."},
    {"page", "A register of another page than the one selected."},
    {"page <0-4095>", "The page, 0 to 4095."},
    {"mmd", "A register by clause 45."},
    {"mmd <1-31>", "The device in the PHY, 1 to 31; 7 is auto-negotiation."},
    {"<1-31> HEX_VALUE", "The register's number, hexadecimal, 0 to ffff."},
    {"scan", "Print the addresses that answer."},
    {"<0-3>", "The bus, 0 to 3."},
    {"<0-3> HEX_VALUE", "The chip's address without the bit for reading, hexadecimal, 8 to 77."},
    {"register", "A register of the chip."},
    {"register HEX_VALUE", "Its number, hexadecimal, 0 to ff."},
    {"count <1-32>", "How many bytes, 1 to 32."},
    {"<0-127>", "The pin, 0 to 127."},
    {"(0|1)", "Low or high."},
};

constexpr cmds_form k_forms[] = {
    action(k_bench, "switch-register read HEX_VALUE", "Print a register of the switching chip."),
    action(k_bench, "switch-register read HEX_VALUE count <1-256>",
           "Print registers that follow each other."),
    action(k_bench, "switch-register write HEX_VALUE HEX_VALUE", "Write a register of the switching chip."),
    action(k_bench, "switch-register modify HEX_VALUE mask HEX_VALUE value HEX_VALUE",
           "Change some bits of a register of the switching chip."),
    action(k_bench, "phy-register read PORT_ID <0-31>", "Print a register of a port's PHY."),
    action(k_bench, "phy-register read PORT_ID page <0-4095> <0-31>", "Print a register of another page."),
    action(k_bench, "phy-register read PORT_ID mmd <1-31> HEX_VALUE", "Print a register of clause 45."),
    action(k_bench, "phy-register write PORT_ID <0-31> HEX_VALUE", "Write a register of a port's PHY."),
    action(k_bench, "phy-register write PORT_ID page <0-4095> <0-31> HEX_VALUE",
           "Write a register of another page."),
    action(k_bench, "phy-register write PORT_ID mmd <1-31> HEX_VALUE HEX_VALUE",
           "Write a register of clause 45."),
    action(k_bench, "cpu-register read HEX_VALUE", "Print a register of the processor."),
    action(k_bench, "cpu-register write HEX_VALUE HEX_VALUE", "Write a register of the processor."),
    action(k_bench, "i2c scan <0-3>", "Print the addresses that answer on a bus."),
    action(k_bench, "i2c read <0-3> HEX_VALUE register HEX_VALUE count <1-32>",
           "Print bytes of a chip from a register on."),
    action(k_bench, "i2c write <0-3> HEX_VALUE register HEX_VALUE value HEX_VALUE",
           "Write a byte of a chip."),
    action(k_bench, "gpio read <0-127>", "Print a pin's direction and level."),
    action(k_bench, "gpio write <0-127> (0|1)", "Make a pin an output of this level."),
};

} // namespace

CMDS_FAMILY(switch_register, "switch-register", {k_mask_engineering, 17, 0, 0});
