"""Links that break, spanning tree that blocks a loop, a bridge that is deleted and made again: what registers say."""
import pathlib

from machine import (PORTS, Client, daemon, device, eventually, eventually_equal, expect, ip_batch, make_bridge, make_ports,
                     run, say, tap0)

NAMES = [f"p{n}" for n in range(1, PORTS + 1)]
STATES, SPANNING_TREE, INSTANCE0_PORTS, ALARM = (1257, PORTS), (2281, 1), (3309, PORTS), (1145, 1)
FORWARDING, BLOCKING = 3, 4  # spanning-tree states as the kernel numbers them, and registers from bit 5 on


def states(*down):
    return [0 if n in down else 1 for n in range(1, PORTS + 1)]


def tree_states(client):
    return [register >> 5 & 7 for register in client.read(*INSTANCE0_PORTS)]


def expect_states(client, what, *down):
    """The ports that have no link, and the alarm if there is one."""
    eventually_equal(f"states of the ports, and the alarm, {what}", lambda: (client.read(*STATES), client.read(*ALARM)),
                     (states(*down), [1 if down else 0]))


def links(client):
    run("ip", "link", "set", "p3", "down")
    expect_states(client, "p3 is switched off", 3)
    run("ip", "-n", "h5", "link", "set", "far", "down")
    expect_states(client, "p5 has no partner too", 3, 5)
    for _ in range(20):  # a loose plug, faster than anybody looks
        ip_batch(["link set p7 down", "link set p7 up"])
    run("ip", "link", "set", "p3", "up")
    run("ip", "-n", "h5", "link", "set", "far", "up")
    expect_states(client, "all links are back")


def loop(client):
    """Spanning tree on; two ports of the bridge are joined, and one of them blocks."""
    expect("spanning tree", client.read(*SPANNING_TREE), [0])
    run("ip", "link", "set", "br0", "type", "bridge", "forward_delay", 200, "stp_state", 1)
    eventually_equal("spanning tree is on", lambda: client.read(*SPANNING_TREE), [1])
    eventually_equal("all ports forward", lambda: tree_states(client), [FORWARDING] * PORTS)
    ip_batch(["link set p11 nomaster", "link set p12 nomaster"])
    expect_states(client, "p11 and p12 are no ports of the bridge", 11, 12)
    ip_batch(["link delete p11", "link delete p12", "link add p11 type veth peer name p12", "link set p11 master br0",
              "link set p12 master br0", "link set p11 up", "link set p12 up"])
    eventually_equal("p12 blocks the loop", lambda: tree_states(client), [FORWARDING] * 11 + [BLOCKING])
    run("ip", "link", "set", "br0", "type", "bridge", "stp_state", 0)
    eventually_equal("spanning tree is off", lambda: client.read(*SPANNING_TREE), [0])
    ip_batch(["link set p11 down", "link set p12 down"])
    expect_states(client, "the loop is cut", 11, 12)


def bridge_goes(client):
    run("ip", "link", "delete", "br0")
    say("the bridge is deleted")
    expect_states(client, "without a bridge", *range(1, PORTS + 1))
    make_bridge()
    ip_batch(["link set p11 up", "link set p12 down"])
    expect_states(client, "the bridge is made again", 11, 12)


def main():
    make_ports()
    make_bridge()
    tap0()
    pathlib.Path("/tmp/alarms").write_text("alarm.link-down *\n")
    sasid = device("--linux", "br0", "--ports", ",".join(NAMES), "--config", "/tmp/alarms")
    modbusd = daemon()
    client = Client()
    expect_states(client, "at first")
    links(client)
    say("links broke and came back")
    loop(client)
    say("a loop was blocked")
    bridge_goes(client)
    for program in (sasid, modbusd):
        program.alive()


main()
