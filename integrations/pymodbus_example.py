#!/usr/bin/env python3
"""Reads a switch with pymodbus 3.0 and prints what most people want of it.

    python3 pymodbus_example.py 192.0.2.10 502

Newer releases of pymodbus call `slave` device_id.
"""
import sys

from pymodbus.client import ModbusTcpClient

PORTS = 12
UNIT = 255  # the switch answers to any unit identifier


def read_input(client, number, count):
    """Input registers (function 0x04), at most 124 in one request.

    pymodbus counts addresses from 0, the register map's numbers from 1. A read stays within what belongs together:
    registers between two blocks are refused, and what lies behind some gaps is left over from earlier replies.
    """
    reply = client.read_input_registers(number - 1, count, slave=UNIT)
    if reply.isError():
        sys.exit(f"pymodbus_example: registers {number} to {number + count - 1}: {reply}")
    return reply.registers


def as_bytes(words):
    return b"".join(word.to_bytes(2, "big") for word in words)


def as_text(words):
    """Two characters a register, the first in the high byte; a text ends at its first 0 or with its registers."""
    return as_bytes(words).split(b"\0")[0].decode("ascii", "replace")


def as_counters(words):
    """32 bits each, the high word first; they wrap to 0 behind 4294967295."""
    return [high << 16 | low for high, low in zip(words[::2], words[1::2])]


def show(client):
    # Each begins at its first register: a read that begins further in gets zeros.
    print("device type:", read_input(client, 1001, 1)[0])
    print("serial number:", as_text(read_input(client, 1065, 7)))
    print("MAC address:", as_bytes(read_input(client, 1113, 3)).hex(":").upper())
    main_power, redundant_power = read_input(client, 1129, 2)
    print("main power:", main_power)
    print("redundant power:", redundant_power)
    print("alarm:", read_input(client, 1145, 1)[0])
    states = read_input(client, 1257, PORTS)
    counters = as_counters(read_input(client, 2217, 2 * PORTS))
    for port, (state, counter) in enumerate(zip(states, counters), 1):
        print(f"port {port}: state {state}, counter 6: {counter}")


def main():
    if len(sys.argv) != 3 or not sys.argv[2].isdigit():
        print("usage: pymodbus_example.py HOST PORT", file=sys.stderr)
        sys.exit(2)
    # A program that polls keeps the connection: ten are served at a time, and the serial number is fetched anew on
    # each. One that says nothing for 300 s is closed.
    client = ModbusTcpClient(sys.argv[1], port=int(sys.argv[2]), timeout=5)  # whole seconds: 0.5 is none
    if not client.connect():
        sys.exit(f"pymodbus_example: {sys.argv[1]} port {sys.argv[2]}: no connection")
    try:
        show(client)
    finally:
        client.close()


if __name__ == "__main__":
    main()
