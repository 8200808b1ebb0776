"""The daemon on the device and the daemon on the preloaded library, both on one simulated switch: every register, and
every block that the device gives, is the same."""
import os
import pathlib
import struct

from machine import (Switch, Wrong, daemon, device, eventually, expect, expect_same_map, run, say, serves, tap0,
                     whole_map)
from scenario import MAC, SERIAL, distinct, words

PRELOADED_PORT = 1502
BLOCKS = pathlib.Path(__file__).resolve().parent.parent / "blocks.py"


def lay_identity():
    """What the board has beside the device: flash, the boot loader's environment, "tap0"."""
    def flash(path, size, at):
        content = bytearray(b"\xff" * size)
        for place, values in at:
            struct.pack_into(f">{len(values)}H", content, place, *values)
        pathlib.Path(path).write_bytes(content)
    flash("/dev/mtd1", 0x40000, [(0x40000 - 112 + 24, words(1)), (0x40000 - 112 + 56, words(2))])
    flash("/dev/mtd4", 0x10000, [(84, words(3)[:12]), (108, words(4))])
    printenv = pathlib.Path("/usr/sbin/fw_printenv")
    printenv.unlink(missing_ok=True)
    printenv.write_text(f"#!/bin/sh\n[ \"$1\" = serial# ] && echo 'serial#={SERIAL}'\n")
    printenv.chmod(0o755)
    tap0(MAC)


def main():
    path = pathlib.Path("/tmp/scenario")
    path.write_text(distinct())
    switch = Switch("modbusd", options=("--port", PRELOADED_PORT, "--scenario", path))
    eventually("the preloaded daemon serves", lambda: switch.alive() and serves(PRELOADED_PORT))
    lay_identity()
    sasid = device("--simulated", "--state", switch.STATE)
    modbusd = daemon()

    wanted = whole_map(PRELOADED_PORT)
    differing = len({word for part in wanted.values() for word in part})
    if differing < 400:
        raise Wrong(f"the registers have {differing} different values only: nothing is compared")
    expect_same_map("on the device", whole_map(), wanted)
    say(f"the same in {sum(map(len, wanted.values()))} registers, {differing} values")

    played = run("switchsim", "join", "--state", switch.STATE, "--", "/usr/bin/python3", BLOCKS).splitlines()
    served = run("/usr/bin/python3", BLOCKS).splitlines()
    expect("answers", len(served), len(played))
    for one, other in zip(served, played):
        expect("an answer of the device", one, other)
    say(f"the same in {len(played)} blocks")
    for program in (sasid, modbusd, switch):
        program.alive()
    sasid.stop(0)
    eventually("the device is gone with its server", lambda: not os.path.exists("/dev/sasi-dev"))


main()
