"""The daemon as seen from a socket: the cases without a client's library, frames that no library sends, and what tshark
says of the replies."""
import socket
import struct
import subprocess
import sys
import time

import private_switch as desk

PATIENCE_S = 5   # for an answer
SILENCE_S = 0.3  # after the last one
# The transaction numbers of cases and frames, out of the way of the clients', which count from 0.
CASES_FROM, FRAMES_FROM = 0xA000, 0xB000


def exchange(data, pieces=1):
    """Sends bytes on a new connection, in so many pieces. Returns what comes, and whether the connection was closed."""
    received, wanted = b"", len([adu for adu in adus(data) if adu[1] == 0])
    with socket.create_connection(desk.MODBUS, 5) as sock:
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        size = -(-len(data) // pieces)
        for at in range(0, len(data), size):
            sock.sendall(data[at:at + size])
            time.sleep(0.002 if pieces > 1 else 0)
        sock.settimeout(PATIENCE_S)
        try:
            while piece := sock.recv(4096):
                received += piece
                if len(adus(received)) >= wanted:
                    sock.settimeout(SILENCE_S)
        except TimeoutError:
            return received, False
        except ConnectionResetError:
            pass
    return received, True


def adus(data):
    """(transaction, protocol, unit, PDU) of each ADU in some bytes."""
    found = []
    while len(data) >= 7:
        transaction, protocol, length, unit = struct.unpack(">HHHB", data[:7])
        found.append((transaction, protocol, unit, data[7:6 + length]))
        data = data[6 + length:]
    return found


def said(case, pdu):
    """A reply as clients tell it."""
    if pdu[0] == case.function | 0x80:
        return f"exception {pdu[1]}"
    if case.function in (0x03, 0x04, 0x17):
        return " ".join(["ok", *map(str, struct.unpack(f">{pdu[1] // 2}H", pdu[2:2 + pdu[1]]))])
    return "ok"


def run_cases(cases):
    """What the daemon answers to each case, whose transaction number is its place."""
    results = []
    for number, case in enumerate(cases):
        with socket.create_connection(desk.MODBUS, 5) as sock:
            sock.settimeout(5)
            sock.sendall(desk.adu(CASES_FROM + number, case.pdu(), unit=case.unit))
            head = desk.receive_exactly(sock, 7)
            data = head + desk.receive_exactly(sock, int.from_bytes(head[4:6], "big") - 1)
        (transaction, protocol, unit, pdu), = adus(data)
        if (transaction, protocol, unit) != (CASES_FROM + number, 0, case.unit):
            raise ValueError(f"{case.label}: {data.hex()}")
        results.append(said(case, pdu))
    return results


# ---- frames that no library sends

READ_TYPE = struct.pack(">BHH", 4, 1000, 1)
WRITE_TWO = bytes((0x10, 7, 0xCF, 0, 2))
READ_TYPE_REPLY = b"\x04\x02\xd8\xed"


def spell(data, closed):
    """What came, in words."""
    words = []
    for _, _, _, pdu in adus(data):
        words.append("the device type" if pdu == READ_TYPE_REPLY else " ".join(f"{byte:02X}" for byte in pdu))
    if closed:
        words.append("the connection is closed")
    return ", ".join(words) or "nothing"


def eleventh():
    """What the eleventh client at a time sees."""
    desk.wait_for(lambda: not desk.children_of(desk.named("modbusd")), 10)
    time.sleep(0.1)
    held = [socket.create_connection(desk.MODBUS, 5) for _ in range(10)]
    try:
        for sock in held:
            sock.settimeout(5)
            if desk.modbus_ask(sock, 1, READ_TYPE) != READ_TYPE_REPLY:
                raise ValueError("one of ten clients is not served")
        return spell(*exchange(desk.adu(1, READ_TYPE)))
    finally:
        for sock in held:
            sock.close()


def frame_cases():
    """(what is sent, the bytes, in how many pieces)."""
    read, adu = desk.adu(FRAMES_FROM + 0x00, READ_TYPE), desk.adu
    return [
        ("a request, byte by byte", read, len(read)),
        ("two requests in one segment", read + adu(FRAMES_FROM + 0x01, READ_TYPE), 1),
        ("protocol identifier 1, then a request", adu(FRAMES_FROM + 0x02, READ_TYPE, protocol=1) + read, 1),
        ("length 0", adu(FRAMES_FROM + 0x03, READ_TYPE, length=0), 1),
        ("length 1: no function code; on a new connection", adu(FRAMES_FROM + 0x04, b""), 1),
        ("length 257, the longest: 0x04 with 251 bytes too many", adu(FRAMES_FROM + 0x05, READ_TYPE + bytes(251)), 1),
        ("length 258", adu(FRAMES_FROM + 0x06, READ_TYPE + bytes(252)), 1),
        ("0x04, a byte too long", adu(FRAMES_FROM + 0x07, READ_TYPE + b"\0"), 1),
        ("0x04, a byte too short", adu(FRAMES_FROM + 0x08, READ_TYPE[:-1]), 1),
        ("0x06, a byte too long", adu(FRAMES_FROM + 0x09, bytes((6, 7, 0xCF, 0, 1, 0))), 1),
        ("0x10 without the two values that it announces", adu(FRAMES_FROM + 0x0A, WRITE_TWO + b"\4"), 1),
        ("0x10, byte count 5 for two registers", adu(FRAMES_FROM + 0x0B, WRITE_TWO + b"\5" + bytes(5)), 1),
        ("0x17 of 9 bytes", adu(FRAMES_FROM + 0x0C, bytes((0x17, 7, 0xCF, 0, 1, 7, 0xCF, 0, 1))), 1),
        ("0x11 with a byte behind it", adu(FRAMES_FROM + 0x0D, b"\x11\0"), 1),
        ("function code 0", adu(FRAMES_FROM + 0x0E, b"\0"), 1),
        ("function code 0x83", adu(FRAMES_FROM + 0x0F, b"\x83"), 1),
    ]


def run_frames():
    """(what is sent, what comes) of each."""
    rows = []
    for what, data, pieces in frame_cases():
        received, closed = exchange(data, pieces)
        answered = [adu[:3] for adu in adus(received)]
        if not closed and answered != [adu[:3] for adu in adus(data) if adu[1] == 0]:
            raise ValueError(f"{what}: answered {answered}")  # not each request of Modbus, or not in their order
        rows.append((what, spell(received, closed)))
    return [*rows, ("the eleventh connection at a time", eleventh())]


# ---- tshark

class Capture:
    """What goes over loopback, from `with` to its end."""

    def __init__(self, path):
        self.path = path

    def __enter__(self):
        command = ["tshark", "-q", "-i", "lo", "-f", "tcp port 502", "-w", self.path]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, text=True)
        for line in self.process.stderr:  # it says "Capturing on" before the first packet can be seen, then the file
            if "File:" in line or "Capture started" in line:
                return self
        print("tshark cannot capture on this machine", file=sys.stderr)
        sys.exit(desk.NOT_POSSIBLE)

    def __exit__(self, *_):
        time.sleep(0.5)  # what is still on its way to the file
        self.process.terminate()
        self.process.communicate()


FIELDS = ["mbtcp.trans_id", "modbus.func_code", "modbus.exception_code", "modbus.byte_cnt", "modbus.reference_num",
          "modbus.regnum16", "modbus.regval_uint16", "modbus.data", "_ws.malformed", "_ws.expert.severity",
          "_ws.expert.group", "_ws.expert.message"]


def dissect(path):
    """The replies in a capture, a dict of FIELDS each. Those that share a segment are left out."""
    command = ["tshark", "-r", path, "-Y", "tcp.srcport == 502 && mbtcp", "-T", "fields", "-E", "separator=/t", "-E",
               "aggregator=|"]
    for field in FIELDS:
        command += ["-e", field]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True)
    frames = [dict(zip(FIELDS, line.split("\t"))) for line in done.stdout.splitlines()]
    return [frame for frame in frames if "|" not in frame["mbtcp.trans_id"]]


def read_by_tshark(frame):
    """What tshark reads in a reply, in the words of `said`."""
    function, size = int(frame["modbus.func_code"]), frame["modbus.byte_cnt"]
    if frame["modbus.exception_code"]:
        return f"exception {frame['modbus.exception_code']}"
    if function in (0x03, 0x04):
        values = [value for value in frame["modbus.regval_uint16"].split("|") if value]
        numbers = [int(number) for number in frame["modbus.regnum16"].split("|") if number]
        if size != str(2 * len(values)) or numbers != list(range(numbers[0], numbers[0] + len(values))):
            return "error: registers are missing"
        return " ".join(["ok", *values])
    if function == 0x17:
        data = bytes.fromhex(frame["modbus.data"].replace(":", ""))
        if size != str(len(data)) or len(data) % 2 != 0:
            return "error: the byte count is wrong"
        return " ".join(["ok", *map(str, struct.unpack(f">{len(data) // 2}H", data))])
    if function == 0x11:
        return "ok" if size else "error: no byte count"
    return "ok" if frame["modbus.reference_num"] else "error: no address"


def complaints(frame):
    """What tshark says is wrong with a reply. The order of TCP's segments is not looked at."""
    texts = {text for text in frame["_ws.malformed"].split("|") if text}
    fields = (frame[f"_ws.expert.{name}"].split("|") for name in ("severity", "group", "message"))
    for severity, group, message in zip(*fields):
        if severity and int(severity) >= 0x600000 and int(group, 0) != 0x02000000:  # a warning or worse
            texts.add(message)
    return texts
