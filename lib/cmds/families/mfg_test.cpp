// Tests of a board in manufacturing. Their results are kept until the next start.

#include "lib/cmds/cmds_build.h"

namespace {

constexpr cmds_word k_words[] = {
    {"mfg-test", "Tests of the board. Many of them stop traffic."},
    {"all", "Every test that needs nobody and nothing connected, one after the other."},
    {"led", "Light-emitting diodes; they are themselves again after \"normal\"."},
    {"system", "Those that are no port's: power, alarm, ring."},
    {"led port", "Those of ports."},
    {"(off|green|amber|red|normal)", "A colour, dark, or what the switch has to say."},
    {"(off|green|amber|normal)", "A colour, dark, or what the switch has to say."},
    {"memory", "Patterns through the memory that is free; the switch is slow meanwhile."},
    {"passes", "How often."},
    {"<1-100>", "Passes, 1 to 100; one takes about a minute."},
    {"flash", "Erase, write and read a part of the flash that holds nothing."},
    {"port-loopback", "Frames that come back to the port that sends them."},
    {"port-loopback start", "Begin; the ports carry nothing else meanwhile."},
    {"port-loopback stop", "End, and give the ports back."},
    {"(mac|phy|plug)", "Where they turn round: in the switching chip, in the PHY, or in a plug at the port."},
    {"seconds", "How long."},
    {"<1-3600>", "Seconds, 1 to 3600."},
    {"cable", "Reflections of a pulse: open or shorted pairs, and how far away."},
    {"sfp", "An SFP module: its memory, its signals, and its laser off and on."},
    {"poe", "Power over Ethernet, 802.3af, 802.3at."},
    {"power", "Power at ports, whatever is connected."},
    {"(on|off)", "Power or none."},
    {"measure", "Voltage, current and temperature at ports."},
    {"relay", "The alarm relay; it is the alarm's again after the next start."},
    {"(open|close)", "The state of its contact."},
    {"temperature", "The sensors: whether they answer, and plausibly."},
    {"power-input", "Both power inputs: whether their voltage is good."},
    {"clock", "The clock that runs on its battery, against the processor's."},
    {"watchdog", "Let the watchdog restart the switch; the result is there afterwards."},
    {"reset-button", "Wait until somebody presses it; the switch does not restart."},
    {"wait", "How long."},
    {"<5-60>", "Seconds, 5 to 60."},
    {"burn-in", "All tests again and again, at full load of ports and processor."},
    {"burn-in start", "Begin; it goes on after a loss of power."},
    {"burn-in stop", "End, and keep what there is of the result."},
    {"hours", "How long."},
    {"<1-168>", "Hours, 1 to 168."},
};

constexpr cmds_form k_forms[] = {
    action(k_bench, "mfg-test all", "Run every test that needs nobody and nothing connected."),
    action(k_bench, "mfg-test led system (off|green|amber|red|normal)",
           "Light the diodes that are no port's."),
    action(k_bench, "mfg-test led port PORTLISTS (off|green|amber|normal)",
           "Light the diodes of these ports."),
    action(k_bench, "mfg-test memory passes <1-100>", "Test the memory."),
    action(k_bench, "mfg-test flash", "Test the flash, without harm to what it holds."),
    action(k_bench, "mfg-test port-loopback start PORTLISTS (mac|phy|plug) seconds <1-3600>",
           "Send frames round at these ports and count what is lost."),
    action(k_bench, "mfg-test port-loopback stop", "End the loopback of all ports."),
    action(k_bench, "mfg-test cable PORT_ID", "Measure the cable at a copper port."),
    action(k_bench, "mfg-test sfp PORT_ID", "Test an SFP port with the module in it."),
    action(k_bench, "mfg-test poe power PORTLISTS (on|off)", "Switch the power of these ports."),
    action(k_bench, "mfg-test poe measure PORTLISTS", "Measure the power of these ports."),
    action(k_bench, "mfg-test relay (open|close)", "Switch the alarm relay."),
    action(k_bench, "mfg-test temperature", "Test the temperature sensors."),
    action(k_bench, "mfg-test power-input", "Test both power inputs."),
    action(k_bench, "mfg-test clock", "Test the battery-backed clock, which takes 10 seconds."),
    action(k_bench, "mfg-test watchdog", "Test the watchdog. The switch restarts."),
    action(k_bench, "mfg-test reset-button wait <5-60>", "Test the button; press it in this time."),
    action(k_bench, "mfg-test burn-in start hours <1-168>", "Begin the burn-in."),
    action(k_bench, "mfg-test burn-in stop", "End the burn-in."),
    show(k_bench, "show mfg-test", "Show the last result of each test."),
    show(k_bench, "show mfg-test burn-in", "Show how long the burn-in has run, and what has failed."),
};

} // namespace

CMDS_FAMILY(mfg_test, "mfg-test", {k_mask_engineering, 19, 0, 2});
