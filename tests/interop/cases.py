"""What every client is asked to do. Addresses are PDU addresses: register 1001 is 1000."""
import dataclasses
import struct


@dataclasses.dataclass(frozen=True)
class Case:
    label: str
    function: int
    address: int = 0
    count: int = 1
    write_address: int = 0
    write_count: int = 0
    unit: int = 1
    defined: bool = True  # whether the registers of the reply mean something, all of them

    def line(self):
        """The case for a client's program."""
        return f"{self.function} {self.unit} {self.address} {self.count} {self.write_address} {self.write_count}"

    def pdu(self):
        """The request."""
        head = struct.pack(">BHH", self.function, self.address, self.count)
        words = [0x1200 + i for i in range(max(self.count, self.write_count))]
        if self.function in (0x01, 0x02, 0x03, 0x04):
            return head
        if self.function == 0x05:
            return head[:3] + b"\xFF\x00"
        if self.function == 0x06:
            return head[:3] + struct.pack(">H", words[0])
        if self.function == 0x08:
            return bytes((0x08, 0, 0, 0x12, 0x34))
        if self.function == 0x0F:
            bits = sum(1 << i for i in range(0, self.count, 3))
            size = (self.count + 7) // 8
            return head + bytes((size,)) + bits.to_bytes(size, "little")
        if self.function == 0x10:
            return head + struct.pack(f">B{self.count}H", 2 * self.count, *words)
        if self.function == 0x16:
            return head[:3] + struct.pack(">HH", 0xFFFF, 0)
        if self.function == 0x17:
            count = self.write_count
            return head + struct.pack(f">HHB{count}H", self.write_address, count, 2 * count, *words[:count])
        if self.function == 0x2B:
            return bytes((0x2B, 0x0E, 1, 0))
        return bytes((self.function,))


def inputs(what, register, count, defined=True, unit=1):
    registers = "1 register" if count == 1 else f"{count} registers"
    return Case(f"0x04: {what}: {register}, {registers}", 0x04, register - 1, count, unit=unit, defined=defined)


CASES = [
    # Every block of the map, as the polling plan reads it.
    inputs("device type, boot loader", 1001, 17),
    inputs("serial number", 1065, 7),
    inputs("firmware, MAC address", 1097, 19),
    inputs("power inputs", 1129, 2),
    inputs("alarm", 1145, 1),
    inputs("states of the ports", 1257, 12),
    inputs("media of four ports", 1513, 116),
    inputs("32-bit counters", 2217, 24),
    inputs("spanning tree, ring 0", 2281, 2),
    inputs("redundant rings", 2297, 18),
    inputs("three ring groups", 3049, 123),
    inputs("an MST instance", 3305, 16),
    # Its edges.
    inputs("the most", 1269, 124),
    inputs("one more", 1269, 125),
    inputs("none", 1001, 0),
    inputs("between two blocks", 1146, 1),
    inputs("past the end of a block", 1145, 2),
    inputs("from within an item", 1003, 15),
    inputs("from within a 32-bit value", 2218, 3),
    inputs("half a 32-bit value", 2217, 1),
    inputs("across a gap that ends the reply", 2281, 5, defined=False),
    # Holding registers.
    Case("0x03: the most: 2000, 125 registers", 0x03, 1999, 125),
    Case("0x03: one more: 2000, 126 registers", 0x03, 1999, 126),
    Case("0x03: 2000, 0x0102 registers", 0x03, 1999, 0x0102),
    Case("0x03: before them: 1999, 1 register", 0x03, 1998, 1),
    Case("0x03: past the last: 2129, 2 registers", 0x03, 2128, 2),
    Case("0x06: the last: 2129", 0x06, 2128),
    Case("0x06: behind it: 2130", 0x06, 2129),
    Case("0x10: the most: 2000, 120 registers", 0x10, 1999, 120),
    Case("0x10: one more: 2000, 121 registers", 0x10, 1999, 121),
    Case("0x17: the most: 121 written, 125 read", 0x17, 1999, 125, 1999, 121),
    Case("0x17: one more: 122 written", 0x17, 1999, 125, 1999, 122),
    # What the switch does not have.
    Case("0x01: 1 coil", 0x01, 0, 1),
    Case("0x01: 2000 coils", 0x01, 0, 2000),
    Case("0x02: 1 discrete input", 0x02, 0, 1),
    Case("0x02: 2000 discrete inputs", 0x02, 0, 2000),
    Case("0x05: a coil", 0x05, 0),
    Case("0x0F: 10 coils", 0x0F, 0, 10),
    Case("0x07: exception status", 0x07),
    Case("0x08: diagnostics, echo", 0x08),
    Case("0x11: slave ID", 0x11),
    Case("0x16: mask write: 2000", 0x16, 1999),
    Case("0x2B: device identification", 0x2B),
    # Units.
    *[inputs(f"unit {unit}", 1001, 1, unit=unit) for unit in (0, 247, 255)],
]
