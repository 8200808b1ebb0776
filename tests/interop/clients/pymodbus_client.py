"""Runs the cases on standard input with pymodbus, each on a connection of its own; lines as clients.py tells."""
import logging
import struct
import sys

from pymodbus import mei_message, other_message, pdu
from pymodbus.client import ModbusTcpClient
from pymodbus.exceptions import ConnectionException, ModbusIOException, ParameterException


def words_to_write(count):
    return [0x1200 + i for i in range(count)]


def ask(client, function, unit, address, count, write_address, write_count):
    bits = [i % 3 == 0 for i in range(count)]
    calls = {
        0x01: lambda: client.read_coils(address, count, slave=unit),
        0x02: lambda: client.read_discrete_inputs(address, count, slave=unit),
        0x03: lambda: client.read_holding_registers(address, count, slave=unit),
        0x04: lambda: client.read_input_registers(address, count, slave=unit),
        0x05: lambda: client.write_coil(address, True, slave=unit),
        0x06: lambda: client.write_register(address, words_to_write(1)[0], slave=unit),
        0x07: lambda: client.read_exception_status(slave=unit),
        0x08: lambda: client.diag_query_data(0x1234, slave=unit),
        0x0F: lambda: client.write_coils(address, bits, slave=unit),
        0x10: lambda: client.write_registers(address, words_to_write(count), slave=unit),
        0x11: lambda: client.execute(other_message.ReportSlaveIdRequest(slave=unit)),
        0x16: lambda: client.mask_write_register(address, 0xFFFF, 0, slave=unit),
        0x17: lambda: client.readwrite_registers(read_address=address, read_count=count, write_address=write_address,
                                                 write_registers=words_to_write(write_count), slave=unit),
        0x2B: lambda: client.execute(mei_message.ReadDeviceInformationRequest(slave=unit)),
    }
    return calls[function]() if function in calls else None


def result(client, case):
    function, unit, address, count = case[:4]
    try:
        reply = ask(client, *case)
    except (ParameterException, struct.error, ValueError):
        return "own limit"  # nothing was sent
    except ConnectionException:
        return "closed"
    if reply is None:
        return "not offered"
    if isinstance(reply, pdu.ExceptionResponse):
        return f"exception {reply.exception_code}"
    if isinstance(reply, ModbusIOException):
        return "time-out" if "no response" in str(reply).lower() else f"error: {reply}"
    if reply.isError():
        return f"error: {reply}"
    if function in (0x06, 0x10):
        back = client.read_holding_registers(address, count, slave=unit)
        return "ok" if back.registers == words_to_write(count) else "error: read back otherwise"
    values = reply.registers if function in (0x03, 0x04, 0x17) else []
    return " ".join(["ok", *map(str, values)])


logging.disable()  # it tells what it makes of wrong replies in its results, too
for line in sys.stdin:
    with ModbusTcpClient(sys.argv[1], port=int(sys.argv[2]), timeout=2, retries=0) as connection:
        print(result(connection, [int(word) for word in line.split()]), flush=True)
