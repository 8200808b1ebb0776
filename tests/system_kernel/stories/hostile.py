"""Everything that a process with the device, or a client on port 502, can do wrong: then the same poll as before."""
import ctypes
import errno
import fcntl
import mmap
import os
import random
import signal
import socket
import struct
import subprocess
import sys
import threading

from blocks import BLOCK_SIZE, block
from machine import (DEVICE, PATIENCE_S, Switch, Wrong, daemon, device, eventually, eventually_equal, expect,
                     expect_same_map, registers, say, serves, tap0, waiting_clients, whole_map)
import private_switch as desk

HOLDERS, FILES_EACH = 20, 50
WAITING = 3
FLOODS, FLOOD_CONNECTIONS = 4, 25
PLACES = 10
libc = ctypes.CDLL(None, use_errno=True)
libc.ioctl.argtypes = (ctypes.c_int, ctypes.c_ulong, ctypes.c_void_p)


def control(fd, number, address):
    """A control call on a bare address. Returns 0 or the error's number."""
    return 0 if libc.ioctl(fd, number, address) >= 0 else ctypes.get_errno()


def ask(fd, asked):
    """A right request. Returns the block's return code."""
    fcntl.ioctl(fd, struct.unpack_from("=I", asked, 4)[0], asked, True)
    return struct.unpack_from("=i", asked, 24)[0]


def expect_works(fd, after):
    expect(f"a right request {after}", ask(fd, block(24257, 25, 3)), 0)


def hold_open():
    """Many processes hold the device open, many times each, and end without closing it."""
    code = f"import os, sys; held = [os.open({DEVICE!r}, os.O_RDWR) for _ in range({FILES_EACH})]; print(flush=True); sys.stdin.read()"
    holders = [subprocess.Popen([sys.executable, "-c", code], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
               for _ in range(HOLDERS)]
    for holder in holders:
        expect("a holder has its files", holder.stdout.readline(), b"\n")
    expect("the daemon serves meanwhile", serves(), True)
    for holder in holders:
        holder.kill()
        holder.wait()


def wrong_calls(fd):
    """Bad addresses, numbers that carry sizes, numbers of nobody, and calls that the device has not."""
    pages = mmap.mmap(-1, 4 * mmap.PAGESIZE)
    start = ctypes.addressof(ctypes.c_char.from_buffer(pages))
    for address in (0, 1, 4096, 0xFFFFFFFF00000000, 2**64 - 1, 2**64 - BLOCK_SIZE):
        expect(f"a block at {address:#x}", control(fd, 24257, address), errno.EFAULT)
        expect_works(fd, f"after a block at {address:#x}")
    libc.munmap(ctypes.c_void_p(start + 3 * mmap.PAGESIZE), ctypes.c_size_t(mmap.PAGESIZE))
    end = start + 3 * mmap.PAGESIZE
    expect("a block cut off by an unmapped page", control(fd, 24257, end - 40), errno.EFAULT)
    libc.mprotect(ctypes.c_void_p(start), ctypes.c_size_t(3 * mmap.PAGESIZE), mmap.PROT_READ)
    expect("a block in a page that cannot be written", control(fd, 24257, start), errno.EFAULT)
    good = ctypes.create_string_buffer(bytes(block(24257, 25, 3)), BLOCK_SIZE)
    for number in (0, 1, 24256, 24258, 0x5E00, 0x5EFF, 0x7FFFFFFF, 0xFFFFFFFF, 0xC0045EC1, 0xFFFF5EC1, 0x40005EC1):
        control(fd, number, ctypes.addressof(good))  # any answer, as long as the next one is right
        expect_works(fd, f"after the number {number:#x}")
    for what, call in (("read", lambda: os.read(fd, 10000)), ("write", lambda: os.write(fd, bytes(10000))),
                       ("map", lambda: mmap.mmap(fd, BLOCK_SIZE))):
        try:
            call()
            raise Wrong(f"the device lets itself {what}")
        except (OSError, ValueError):
            expect_works(fd, f"after an attempt to {what}")


def random_blocks(fd, rng):
    """Blocks of noise, with the numbers of real requests."""
    for _ in range(2000):
        asked = bytearray(rng.randbytes(BLOCK_SIZE))
        number = rng.choice((24240, 24251, 24253, 24257, 24269, 24276, 24284, 24300))
        if rng.random() < 0.7:
            struct.pack_into("=II", asked, 4, number, rng.randrange(64))
        try:
            fcntl.ioctl(fd, number, asked, True)
        except OSError:
            pass
    expect_works(fd, "after noise")


def killed_in_a_request(fd, switch):
    """While some wait for a late answer others are served; those who wait are killed."""
    switch.fault("24253/12", "late=60000")
    code = "from blocks import *; ask(os.open(DEVICE, os.O_RDWR), 24253, block(24253, 12))"
    waiting = [subprocess.Popen([sys.executable, "-c", code]) for _ in range(WAITING)]
    eventually("their requests are at the server", lambda: waiting_clients() == WAITING)
    expect_works(fd, "beside late ones")
    expect("states of the ports, beside late ones", registers(1257, 12), [1] * 12)
    for process in waiting:
        if process.poll() is not None:
            raise Wrong("a late answer came at once")
        process.kill()
    for process in waiting:
        expect("how a waiting process ended", process.wait(PATIENCE_S), -signal.SIGKILL)
    switch.fault("clear")
    expect_works(fd, "after waiting processes were killed")
    expect("the alarm status answers again", ask(fd, block(24253, 12)), 0)


def bad_frame(rng):
    pdu = struct.pack(">BHH", rng.randrange(256), rng.randrange(65536), rng.randrange(65536))
    return rng.choice((
        lambda: desk.adu(1, pdu, protocol=rng.randint(1, 65535)),
        lambda: desk.adu(1, pdu, length=rng.choice((0, 1, 255, 300, 65535))),
        lambda: desk.adu(1, pdu)[:rng.randint(1, 11)],
        lambda: desk.adu(1, rng.randbytes(253)),
        lambda: rng.randbytes(rng.randint(1, 2000)),
    ))()


def flood(rng):
    """Connections that send what is no request, and leave in every way."""
    for _ in range(FLOOD_CONNECTIONS):
        try:
            with socket.create_connection(desk.MODBUS, PATIENCE_S) as sock:
                if rng.random() < 0.5:  # ends with a reset
                    sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                for _ in range(rng.randint(1, 8)):
                    sock.sendall(bad_frame(rng))
        except ConnectionError:
            pass  # the daemon was done with it first


def eleventh_connection():
    """Ten are served, one more is closed without a byte; a place that comes back is had again."""
    def place():
        sock = socket.create_connection(desk.MODBUS, PATIENCE_S)
        try:
            desk.modbus_ask(sock, 1, struct.pack(">BHH", 4, 1000, 1))
            return sock
        except (EOFError, ConnectionError):
            sock.close()
            return None
    held = [eventually(f"place {number + 1}", place) for number in range(PLACES)]
    with socket.create_connection(desk.MODBUS, PATIENCE_S) as sock:
        expect("what the eleventh gets", sock.recv(1), b"")
    for sock in held:
        desk.modbus_ask(sock, 2, struct.pack(">BHH", 4, 1000, 1))
    held.pop().close()
    held.append(eventually("the place that came back", place))
    for sock in held:
        sock.close()
    eventually("the daemon serves", serves)


def descriptors(program):
    return len(os.listdir(f"/proc/{program.process.pid}/fd"))


def main():
    seed = int.from_bytes(os.urandom(4), "big")
    say(f"seed {seed}")
    rng = random.Random(seed)
    switch = Switch()
    switch.set("port.*.rate.*=0")
    tap0()
    sasid = device("--simulated", "--state", switch.STATE)
    modbusd = daemon()
    before = whole_map()
    files = descriptors(sasid), descriptors(modbusd)
    fd = os.open(DEVICE, os.O_RDWR)
    expect_works(fd, "before")

    hold_open()
    say("held open")
    wrong_calls(fd)
    random_blocks(fd, rng)
    say("asked wrongly")
    killed_in_a_request(fd, switch)
    say("killed in a request")
    os.close(fd)
    floods = [threading.Thread(target=flood, args=(random.Random(rng.random()),)) for _ in range(FLOODS)]
    for one in floods:
        one.start()
    for one in floods:
        one.join()
    eventually("the daemon serves after the flood", serves)
    say("flooded")
    eleventh_connection()

    expect_same_map("after all that", whole_map(), before)
    eventually_equal("descriptors of the servers", lambda: (descriptors(sasid), descriptors(modbusd)), files)
    for program in (sasid, modbusd, switch):
        program.alive()


main()
