"""The commands of docs/linux-switch.md, run as they stand there, on a machine with three network cards."""
import os
import pathlib
import re

from machine import Program, Wrong, eventually_equal, expect, ip_batch, link, registers, run, say

DOCUMENT = pathlib.Path(os.environ["zop_tree"]) / "docs/linux-switch.md"
CARDS = ("eth1", "eth2", "eth3")
MOST_COMMANDS = 10


def commands():
    """The first block of commands of the document."""
    block = re.search(r"(?:^    .*\n)+", DOCUMENT.read_text(), re.M)
    lines = [line.strip() for line in block.group().splitlines()]
    if len(lines) > MOST_COMMANDS or not any("modbusd" in line for line in lines):
        raise Wrong(f"not the commands that make a polled switch: {lines}")
    return lines


def main():
    run("modprobe", "--all", "veth", "dummy")
    ip_batch(["link add eth0 type dummy", "address add 192.0.2.1/24 dev eth0", "link set eth0 up"])
    ip_batch([f"link add {card} type veth peer name {card}-far" for card in CARDS] +
             [f"link set {card}-far up" for card in CARDS])
    lines = commands()
    say("\n".join(lines))
    typed = Program("typed", "sh", "-e", "-c", "\n".join(lines))
    expect("status of the last command", typed.process.wait(60), 0)
    say(typed.said())
    expect("states of the ports", registers(1257, 12), [1] * 3 + [0] * 9)
    address = bytes.fromhex(link("br0")["address"].replace(":", ""))
    expect("the bridge's address", b"".join(word.to_bytes(2, "big") for word in registers(1113, 3)), address)
    run("ip", "link", "set", "eth2", "down")
    eventually_equal("states once a card is switched off", lambda: registers(1257, 3), [1, 0, 1])


main()
