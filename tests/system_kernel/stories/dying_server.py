"""The device's server is killed and comes back. A connection keeps what it was last told, the alarm reads 0; the daemon
holds the device that is gone, and sees the new one when it is started anew."""
import os
import threading

from machine import (DEVICE, PATIENCE_S, Client, Switch, daemon, device, eventually, expect, say, tap0,
                     waiting_clients)

BEFORE = {"states": list(range(101, 113)), "alarm": [1], "power": [3, 0]}
LAST = [112] * 12  # of a failed request: what the last port was told
KEPT = {"states": LAST, "alarm": [0], "power": [0, 0]}
NOTHING = {"states": [0] * 12, "alarm": [0], "power": [0, 0]}
AFTER = {"states": list(range(51, 63)), "alarm": [1], "power": [0, 2]}
READS = {"states": (1257, 12), "alarm": (1145, 1), "power": (1129, 2)}


def read_all(client):
    return {name: client.read(*where) for name, where in READS.items()}


def expect_new_client(what, wanted):
    client = Client()
    expect(what, read_all(client), wanted)
    client.close()


def kill_in_a_request(switch, sasid, client):
    """The server dies while the client waits for its answer: the request ends, and gives what the one before gave."""
    switch.fault("24257/25", "late=60000")
    got = []
    asking = threading.Thread(target=lambda: got.append(client.read(*READS["states"])))
    asking.start()
    eventually("the request is at the server", lambda: waiting_clients() == 1)
    sasid.kill()
    asking.join(PATIENCE_S)
    expect("a request in which the server died", got, [LAST])
    switch.fault("clear")


def main():
    switch = Switch()
    switch.set("power.main=no-input", *(f"port.{n}.word.5={100 + n}" for n in range(1, 13)))
    tap0()
    sasid = device("--simulated", "--state", switch.STATE)
    modbusd = daemon()
    client = Client()
    expect("before", read_all(client), BEFORE)
    expect_new_client("before, another client", BEFORE)

    kill_in_a_request(switch, sasid, client)
    eventually("the device is gone with its server", lambda: not os.path.exists(DEVICE))
    expect("without a server", read_all(client), KEPT)
    expect_new_client("without a server, a new client", NOTHING)
    say("killed, and served on")

    switch.set("power.main=good", "power.redundant=over-voltage", *(f"port.{n}.word.5={50 + n}" for n in range(1, 13)))
    sasid = device("--simulated", "--state", switch.STATE, log="sasid_again")
    expect("the server is back", read_all(client), KEPT)
    expect_new_client("the server is back, a new client", NOTHING)
    modbusd.stop()
    modbusd = daemon()
    expect_new_client("the daemon is started anew", AFTER)
    for program in (sasid, modbusd, switch):
        program.alive()


main()
