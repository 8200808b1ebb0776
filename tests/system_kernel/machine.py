"""For stories: a switch in a machine of its own, its programs, and an independent client that polls it."""
import json
import os
import pathlib
import re
import socket
import struct
import subprocess
import time

import private_switch as desk

DEVICE = "/dev/sasi-dev"
PATIENCE_S = 20
PORTS = 12
LOGS = pathlib.Path("/run/out")


class Wrong(Exception):
    """What a story found."""


def say(what):
    print(f"[{time.monotonic():8.2f}] {what}", flush=True)


def expect(what, got, wanted):
    if got != wanted:
        raise Wrong(f"{what}: {got!r}, not {wanted!r}")


def run(*command, status=0, patience=PATIENCE_S):
    """Runs a program to its end and returns all that it printed; any other exit status is wrong, None takes all."""
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=patience, text=True, errors="replace")
    if status is not None and done.returncode != status:
        raise Wrong(f"{' '.join(map(str, command))}: status {done.returncode}, {done.stdout.strip()!r}")
    return done.stdout


def succeeds(*command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          timeout=PATIENCE_S).returncode == 0


def eventually(what, condition, patience=PATIENCE_S):
    """Waits until the condition gives something true, and returns it."""
    end = time.monotonic() + patience
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > end:
            raise Wrong(f"not within {patience} s: {what}")
        time.sleep(0.02)


def eventually_equal(what, get, wanted, patience=PATIENCE_S):
    """Waits until what `get` gives is what is wanted."""
    end = time.monotonic() + patience
    while True:
        got = get()
        if got == wanted:
            return
        if time.monotonic() > end:
            raise Wrong(f"not within {patience} s: {what}: {got!r}, not {wanted!r}")
        time.sleep(0.05)


class Program:
    """A program that runs until the story stops it; what it says is a file beside the story's."""

    def __init__(self, log, *command, **popen):
        self.name = log
        self.log = LOGS / f"{log}.log"
        with open(self.log, "ab") as out:
            self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=out,
                                            stderr=out, **popen)

    def said(self):
        return self.log.read_text(errors="replace")

    def alive(self):
        """Whether it runs; a story that needs it is wrong when it does not."""
        if self.process.poll() is not None:
            raise Wrong(f"{self.name} has ended, status {self.process.returncode}: {self.said()[-500:]!r}")
        return True

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self, status=None):
        """Ends it by SIGTERM, which must do within the usual patience."""
        self.process.terminate()
        ended = self.process.wait(PATIENCE_S)
        if status is not None:
            expect(f"{self.name}: status after SIGTERM", ended, status)


class Switch(Program):
    """A simulated switch, which a program is started on; without one it is just there, for servers of the device."""

    STATE = "/tmp/switch"

    def __init__(self, *command, options=()):
        super().__init__("switchsim", "switchsim", "run", "--state", self.STATE, *options, "--",
                         *(command or ("sleep", "infinity")))
        eventually("the simulated switch takes settings", lambda: self.alive() and succeeds(
            "switchsim", "set", "--state", self.STATE, "fault.fork=ok"))


    def set(self, *settings):
        run("switchsim", "set", "--state", self.STATE, *settings)

    def fault(self, *faults):
        run("switchsim", "fault", "--state", self.STATE, *faults)


# ---- the surroundings of the daemon

def tap0(address="02:00:5e:00:53:01"):
    run("modprobe", "tun")
    run("ip", "tuntap", "add", "tap0", "mode", "tap")
    run("ip", "link", "set", "tap0", "address", address, "up")
    # A resolver that sees addresses of IPv6 alone, the loopback's left out, sends a client of 127.0.0.1 elsewhere.
    run("ip", "address", "add", "192.0.2.1/24", "dev", "tap0")


def device(*arguments, log="sasid"):
    """Starts the device's server, and returns it once the device is there."""
    run("modprobe", "cuse")
    server = Program(log, "sasid", *arguments)
    eventually(f"{DEVICE} of sasid {' '.join(arguments)}", lambda: server.alive() and os.path.exists(DEVICE))
    return server


def waiting_clients():
    """How many threads wait for an answer of the device, by what the kernel says of where they are."""
    def stack(path):
        try:
            return path.read_text()
        except OSError:
            return ""  # ended meanwhile
    return sum("fuse_do_ioctl" in stack(path) for path in pathlib.Path("/proc").glob("[0-9]*/task/*/stack"))


def daemon():
    """Starts modbusd, and returns it once it serves."""
    server = Program("modbusd", "modbusd")
    eventually("modbusd serves", lambda: server.alive() and serves())
    return server


# ---- the client

def mbpoll(*words, status=0):
    return run("mbpoll", "-m", "tcp", "-1", "-q", *words, "127.0.0.1", status=status)


def serves(port=502):
    """Whether the device type can be read."""
    return "55533" in mbpoll("-p", port, "-t", "3", "-r", 1001, "-c", 1, status=None)


def registers(first, count, port=502):
    """Input registers by their numbers, as the independent client reads them in one request."""
    printed = mbpoll("-p", port, "-t", "3:hex", "-r", first, "-c", count)
    found = {int(number): int(value, 16) for number, value in re.findall(r"^\[(\d+)\]:\s+0x([0-9A-F]+)", printed, re.M)}
    expect(f"registers that mbpoll printed of {first}", sorted(found), list(range(first, first + count)))
    return [found[number] for number in range(first, first + count)]


# Reads that make up the whole map: none begins within an item, touches a gap that ends the reply or is too long.
MAP = [(1001, 124), (1125, 21), *((first, 124) for first in range(1257, 2125, 124)), (2125, 116), (2281, 2), (2285, 1),
       (2297, 18), (3049, 123), (3172, 123), *((first, 16) for first in range(3305, 5353, 32))]


def polled_map(port=502):
    """The whole map as the independent client reads it: a connection for each part."""
    return {first: registers(first, count, port) for first, count in MAP}


class Client:
    """A connection that stays, and what it reads: input registers, by their numbers."""

    def __init__(self, port=502):
        self.sock = socket.create_connection(("127.0.0.1", port), PATIENCE_S)
        self.asked = 0

    def read(self, first, count):
        self.asked += 1
        reply = desk.modbus_ask(self.sock, self.asked, struct.pack(">BHH", 4, first - 1, count))
        expect(f"function and size of the reply to {first}", reply[:2], bytes((4, 2 * count)))
        return list(struct.unpack(f">{count}H", reply[2:]))

    def close(self):
        self.sock.close()


def whole_map(port=502):
    """The whole map, read over one connection."""
    client = Client(port)
    found = {first: client.read(first, count) for first, count in MAP}
    client.close()
    return found


def expect_same_map(what, got, wanted):
    for first, count in MAP:
        for number, one, other in zip(range(first, first + count), got[first], wanted[first]):
            expect(f"{what}: register {number}", one, other)


def counters(first, port=502):
    """The twelve 32-bit values that begin at a register."""
    words = registers(first, 2 * PORTS, port)
    return [words[2 * i] << 16 | words[2 * i + 1] for i in range(PORTS)]


# ---- interfaces

def link(name):
    """What the kernel tells of an interface."""
    return json.loads(run("ip", "-s", "-s", "-j", "link", "show", "dev", name))[0]


def make_ports():
    """Interfaces p1 to p12, each with its other end "far" in a host h1 to h12: a namespace, address 10.5.0.N. Nobody
    sends a frame unasked: there is no IPv6, and hosts know each other's addresses."""
    run("modprobe", "--all", "veth", "ipv6")
    no_ipv6 = "echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6"  # for interfaces to come too
    run("sh", "-c", no_ipv6)
    hosts = range(1, PORTS + 1)
    for n in hosts:
        run("ip", "netns", "add", f"h{n}")
        in_host(n, "sh", "-c", no_ipv6)
    ip_batch([line for n in hosts for line in (f"link add p{n} type veth peer name far netns h{n}", f"link set p{n} up")])
    for n in hosts:
        ip_batch([f"link set far address {far_address(n)} up", f"address add 10.5.0.{n}/24 dev far",
                  *(f"neighbour add 10.5.0.{m} lladdr {far_address(m)} dev far" for m in hosts if m != n)],
                 "-n", f"h{n}")


def far_address(n):
    return f"02:00:5e:00:54:{n:02x}"


def make_bridge(name="br0", options=""):
    """A bridge of those ports."""
    run("modprobe", "bridge")
    ip_batch([f"link add {name} type bridge mcast_snooping 0 {options}", *(f"link set p{n} master {name}" for n in range(1, PORTS + 1)),
              f"link set {name} up"])


def ip_batch(lines, *options):
    done = subprocess.run(["ip", *options, "-batch", "-"], input="\n".join(lines) + "\n", stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_S)
    if done.returncode != 0:
        raise Wrong(f"ip: {done.stdout.strip()}")


def in_host(n, *command, status=0):
    return run("ip", "netns", "exec", f"h{n}", *command, status=status)
