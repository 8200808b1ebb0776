"""A day of polling: twelve ports of a real bridge, frames sent through them, the whole map read by an independent client,
and every counter compared with the kernel's."""
import pathlib

from machine import (PORTS, Wrong, counters, daemon, device, eventually, expect, expect_same_map, in_host, link, make_bridge,
                     make_ports, polled_map, say, tap0, whole_map)

NAMES = [f"p{n}" for n in range(1, PORTS + 1)]
TRANSMITTED, RECEIVED, TRANSMIT_ERRORS, RECEIVE_ERRORS = 2025, 2089, 2153, 2217


def kernel_counters():
    """(transmitted, received, transmit errors, receive errors) of each port, as the kernel tells them."""
    found = [link(name)["stats64"] for name in NAMES]
    return {TRANSMITTED: [one["tx"]["packets"] for one in found], RECEIVED: [one["rx"]["packets"] for one in found],
            TRANSMIT_ERRORS: [one["tx"]["errors"] for one in found], RECEIVE_ERRORS: [one["rx"]["errors"] for one in found]}


def expect_kernels_counters(when):
    """The registers tell the kernel's counters once these stand still for as long as the server may be behind."""
    def same():
        kernel = kernel_counters()
        polled = {first: [value & 0xFFFFFFFF for value in counters(first)] for first in kernel}
        return kernel if polled == kernel_counters() == kernel else None
    return eventually(f"the counters are the kernel's, {when}", same)


def expect_harmless(server):
    """It can do no more than it needs: another user, no capabilities, and none to be had."""
    status = pathlib.Path(f"/proc/{server.process.pid}/status").read_text()
    for line in ("Uid:\t65534\t65534\t65534\t65534", "CapPrm:\t0000000000000000", "CapEff:\t0000000000000000",
                 "NoNewPrivs:\t1"):
        if line not in status:
            raise Wrong(f"{server.name} is not {line!r}: {status}")


def send(sender, receiver, count):
    in_host(sender, "ping", "-c", count, "-i", "0.002", "-s", 100, "-q", f"10.5.0.{receiver}")


def main():
    make_ports()
    make_bridge()
    tap0()
    sasid = device("--linux", "br0", "--ports", ",".join(NAMES), "--user", "nobody")
    modbusd = daemon()
    expect_harmless(sasid)
    before = expect_kernels_counters("before the day")

    for n in range(1, PORTS + 1):  # 10 n frames, and as many answers come back
        send(n, n % PORTS + 1, 10 * n)
    after = expect_kernels_counters("after the day")
    for n in range(PORTS):
        sent = 10 * (n + 1) + 10 * (n or PORTS)
        expect(f"frames that host {n + 1} has sent", after[RECEIVED][n] - before[RECEIVED][n], sent)
        if after[TRANSMITTED][n] - before[TRANSMITTED][n] < sent:  # more where a frame went to all
            raise Wrong(f"port {n + 1} has sent {after[TRANSMITTED][n] - before[TRANSMITTED][n]} frames, not {sent}")
    say(f"counted: {after}")

    polled = polled_map()
    expect_same_map("the map, by another client", whole_map(), polled)
    expect("states of the ports", polled[1257][:PORTS], [1] * PORTS)
    for program in (sasid, modbusd):
        program.alive()


main()
