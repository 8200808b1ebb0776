"""The daemon on the device and the daemon on the preloaded library, both on one simulated switch: every register, and
every block that the device gives, is the same."""
import os
import pathlib
import struct

from machine import (PORTS, Switch, Wrong, daemon, device, eventually, expect, expect_same_map, run, say, serves, tap0,
                     whole_map)

PRELOADED_PORT = 1502
MAC = "02:1b:fe:12:34:56"
SERIAL = "KX77-090821/3"
BLOCKS = pathlib.Path(__file__).resolve().parent.parent / "blocks.py"


def words(seed):
    return [(seed * 0x101 + 0x0307 * index) & 0xFFFF for index in range(16)]


def scenario():
    """A switch in which hardly two values are the same, and no counter moves."""
    lines = [f"identity.serial {SERIAL}", f"identity.mac {MAC}", "power.redundant under-voltage", "stp.mode mstp",
             "port.*.rate.* 0", "port.4.link down", "ip.route 3232235777"]
    for n, field in enumerate(("tailer-a", "tailer-b", "header-a", "header-b")):
        lines.append(f"identity.{field} {','.join(map(str, words(n + 1)[:12 if field == 'header-a' else 16]))}")
    for port in range(1, PORTS + 1):
        lines += [f"port.{port}.counter.{sub} {(port * 0x0F1E2D3C + sub * 0x01010101) & 0xFFFFFFFF}"
                  for sub in (3, 4, 6, 9, 10, 12, 24, 28)]
        lines += [f"port.{port}.word.{word} {port * 16 + word}" for word in range(1, 6)]
        lines += [f"port.{port}.media {('fast', 'copper', 'fibre')[port % 3]}"]
    for instance in range(64):
        lines += [f"mst.{instance}.byte1 {instance + 100}", f"mst.{instance}.address 02:00:00:00:{instance:02x}:07"]
        lines += [f"mst.{instance}.port.{port}.byte{byte} {(instance + port * byte) % (8 if byte == 0 else 4)}"
                  for port in range(1, PORTS + 1) for byte in (0, 1, 4, 5, 8, 9)]
    for ring in (1, 2, 9, 100, 254, 255):
        lines += [f"ring.{ring}.{field} {(ring + n) & 0xFF}" for n, field in enumerate(
            ("word24", "value28", "port1", "port2", "byte137", "word141"))]
        lines += [f"ring.{ring}.name ring-{ring}", f"ring.{ring}.configured 1", f"ring.{ring}.state 1",
                  f"ring.{ring}.port1-state {ring % 3}", f"ring.{ring}.word133 {ring % 2}", f"ring.{ring}.word60 4"]
    for ring in (0, 1):
        lines += [f"redundant.{ring}.{field} {n + ring}" for n, field in enumerate(
            ("state", "word14", "word18", "byte22", "word26", "byte30", "word34"))]
    return "\n".join(lines) + "\n"


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
    path.write_text(scenario())
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
