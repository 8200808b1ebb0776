"""Asks the device what there is to ask, and what there is not, and prints each answer: the call's result and the whole
block. A story runs it on two devices and compares what it has printed."""
import fcntl
import hashlib
import os
import struct

from machine import DEVICE

BLOCK_SIZE = 4300
COUNTERS = (3, 4, 6, 9, 10, 12, 24, 28)
FILL = bytes((index * 7 + 3) & 0xFF for index in range(BLOCK_SIZE))  # bytes that no answer leaves by chance


def block(request, sub_code, index=0, fields=()):
    """A request's block, with (place, bytes) put into it."""
    made = bytearray(FILL)
    struct.pack_into("=II", made, 4, request, sub_code)
    struct.pack_into("=ii", made, 20, index, 12345)
    for place, data in fields:
        made[place:place + len(data)] = data
    return made


def number(place, value):
    return place, struct.pack("=i", value)


def rings(ring):
    return [number(42, ring), (70, struct.pack("=H", 1)), (72, b"\0\0")]


def mst_ports(instance):
    return [number(36, instance), (41, b"\1" * 13)]


def questions():
    for port in (*range(-1, 15), 2**31 - 1, -2**31):
        for sub_code in (*COUNTERS, 0, 5, 29):
            yield 24269, block(24269, sub_code, port)
        for sub_code in (21, 25, 22):
            yield 24257, block(24257, sub_code, port)
    for ring in (*range(-1, 10), 254, 255, 256, 2**31 - 1):
        yield 24240, block(24240, 5, fields=[number(36, ring)])
    for instance in (*range(-1, 66), 2**31 - 1):
        yield 24276, block(24276, 42, fields=[number(36, instance)])
        yield 24276, block(24276, 43, fields=mst_ports(instance))
    yield 24276, block(24276, 43, fields=[number(36, 1)])  # without its ones
    for ring in range(-1, 3):
        yield 24284, block(24284, 0, fields=rings(ring))
    yield 24284, block(24284, 0, fields=[number(42, 1)])
    yield 24276, block(24276, 0)
    yield 24253, block(24253, 12)
    for sub_code in (40, 27, 5, 6):
        yield 24251, block(24251, sub_code)
    yield 24258, block(24258, 25, 1)  # no such request
    yield 24257, block(24269, 25, 1)  # two numbers that differ
    yield 24269, block(24257, 25, 1)


def ask(device, request, asked):
    """The call's result, the block's return code and a sum over all its bytes."""
    try:
        result = str(fcntl.ioctl(device, request, asked, True))
    except OSError as error:
        result = error.strerror
    return result, struct.unpack_from("=i", asked, 24)[0], hashlib.sha256(asked).hexdigest()


def main():
    device = os.open(DEVICE, os.O_RDWR)
    for request, asked in questions():
        named = f"{request}, sub-code {struct.unpack_from('=I', asked, 8)[0]}, {asked[20:60].hex()}"
        print(f"{named}: {ask(device, request, asked)}")


if __name__ == "__main__":
    main()
