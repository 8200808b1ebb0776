"""For scripts: a simulated switch with its servers, in namespaces where nobody else is, and clients to talk to them."""
import fcntl
import os
import pathlib
import socket
import struct
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
STATE = "/tmp/switch"
LOGS = pathlib.Path("/var/tmp")
MODBUS = ("127.0.0.1", 502)
IPC_SERVERS = ("/tmp/ipc_zop_serv_addr", "/tmp/ipc_web_gui_addr")
NOT_POSSIBLE = 77  # exit status: this machine gives no namespaces

INSIDE = "ZOP_PRIVATE_SWITCH"
REQUEST, RESPONSE, ONE_WAY = 0, 1, 2
HELLO = 325


def enter():
    """Runs the script again, and returns, in namespaces of its own: processes, network, empty temporary folders."""
    if os.environ.pop(INSIDE, None) is None:
        unshare = ["unshare", "--mount", "--net", "--pid", "--fork", "--mount-proc", "--kill-child"]
        if os.geteuid() != 0:
            unshare += ["--user", "--map-root-user"]
        if subprocess.run([*unshare, "true"], stderr=subprocess.DEVNULL).returncode != 0:
            print("no namespaces on this machine", file=sys.stderr)
            sys.exit(NOT_POSSIBLE)
        os.execvpe("unshare", [*unshare, sys.executable, *sys.argv], {**os.environ, INSIDE: "1"})
    tree = os.open(ROOT, os.O_PATH | os.O_DIRECTORY)
    for folder in ("/tmp", "/var/tmp"):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)
        if folder in map(str, ROOT.parents):  # the tree is there: it stays visible
            ROOT.mkdir(parents=True)
            subprocess.run(["mount", "--bind", f"/proc/self/fd/{tree}", ROOT], check=True, pass_fds=[tree])
    os.close(tree)
    if os.path.exists("/dev/console"):  # where what no log takes would go
        subprocess.run(["mount", "--bind", "/dev/null", "/dev/console"], check=True)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        up = struct.pack("16sh", b"lo", 0x1)  # IFF_UP
        fcntl.ioctl(any_socket, 0x8914, up)  # SIOCSIFFLAGS


def build(preset, targets, *packages):
    """Builds programs, or ends the script with what the build said. Installs the packages that it takes, and others."""
    need = '. scripts/packages.sh && need_packages "${build_packages[@]}" "$@"'
    if subprocess.run(["bash", "-c", need, "bash", *packages], cwd=ROOT).returncode != 0:
        sys.exit(1)
    for command in (["cmake", "--preset", preset], ["cmake", "--build", "--preset", preset, "--target", *targets]):
        done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            sys.exit(done.stdout)


def wait_for(condition, seconds):
    """Whether the condition came to hold within so many seconds."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


# ---- processes

def start(log, *command):
    """Starts a program whose output goes to a file; `log_of` reads it."""
    with open(LOGS / log, "wb") as out:
        return subprocess.Popen([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=out, stderr=out)


def log_of(log):
    return (LOGS / log).read_text(errors="replace")


def processes():
    """(process id, parent, name) of all processes but zombies."""
    found = []
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            text = pathlib.Path("/proc", name, "stat").read_text()
        except OSError:
            continue
        after = text[text.rindex(")") + 2:].split()
        if after[0] not in "ZX":
            found.append((int(name), int(after[1]), text[text.index("(") + 1:text.rindex(")")]))
    return found


def children_of(parent):
    return [pid for pid, above, _ in processes() if above == parent]


def descriptors(pid):
    """What the open descriptors of a process are."""
    folder = pathlib.Path(f"/proc/{pid}/fd")
    found = []
    for name in os.listdir(folder):
        try:
            found.append(os.readlink(folder / name))
        except FileNotFoundError:
            pass  # closed meanwhile
    return found


def memory(pid):
    """(private, resident) memory in KiB."""
    sums = {}
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]:
        name, value = line.split()[:2]
        sums[name] = int(value)
    return sums["Private_Clean:"] + sums["Private_Dirty:"], sums["Rss:"]


# ---- Modbus

def adu(transaction, pdu, protocol=0, length=None, unit=1):
    return struct.pack(">HHHB", transaction, protocol, len(pdu) + 1 if length is None else length, unit) + pdu


def receive_exactly(sock, count):
    data = b""
    while len(data) < count:
        piece = sock.recv(count - len(data))
        if not piece:
            raise EOFError
        data += piece
    return data


def modbus_ask(sock, transaction, pdu):
    """Sends a request. Returns the reply's PDU; raises ValueError when it is no reply to it, EOFError at the end."""
    sock.sendall(adu(transaction, pdu))
    echoed, protocol, length, unit = struct.unpack(">HHHB", receive_exactly(sock, 7))
    reply = receive_exactly(sock, length - 1)
    if (echoed, protocol, unit) != (transaction, 0, 1) or reply[0] & 0x7F != pdu[0] & 0x7F:
        raise ValueError(f"transaction {transaction}, {pdu.hex()}: answered {echoed}, {protocol}, {unit}, {reply.hex()}")
    return reply


def read_device_type(patience=2.0):
    """Whether a new connection reads the device type."""
    try:
        with socket.create_connection(MODBUS, patience) as sock:
            reply = modbus_ask(sock, 7, struct.pack(">BHH", 4, 1000, 1))
            return reply == bytes((4, 2, 0xD8, 0xED))
    except (OSError, EOFError, ValueError):
        return False


# ---- IPC

def ipc_message(route, command, kind, payload=b"", status=0, marker=255):
    return struct.pack(">HBBBHBB", 9 + len(payload), marker, 1, route, command, kind, status) + payload


def ipc_connect(path, route=None, patience=2.0):
    """A connection to an IPC server, as the client of a route if one is given."""
    sock = socket.socket(socket.AF_UNIX)
    try:
        sock.settimeout(patience)
        sock.connect(path)
        if route is not None:
            sock.sendall(ipc_message(route, HELLO, ONE_WAY, bytes((route,))))
    except OSError:
        sock.close()
        raise
    return sock


def ipc_receive(sock):
    """The next message: (route, command, kind, status, payload)."""
    length, _, _, *fields = struct.unpack(">HBBBHBB", receive_exactly(sock, 9))
    return (*fields, receive_exactly(sock, length - 9))


def ipc_relayed(path, patience=2.0):
    """Whether a message from one new client reaches another, the client of route 5."""
    payload = os.urandom(16)
    try:
        with ipc_connect(path, 5, patience) as to, ipc_connect(path, None, patience) as sender:
            time.sleep(0.01)  # the hello is on its way; where it is late, the message waits at the server
            sender.sendall(ipc_message(5, 253, ONE_WAY, payload))
            for _ in range(20):
                _, command, kind, _, got = ipc_receive(to)
                if (command, kind, got) == (253, ONE_WAY, payload):
                    return True
    except (OSError, EOFError):
        pass
    return False


# ---- the switch and its servers

class Switch:
    """A simulated switch in its place; `modbusd` and `zop_serv` start on it. `preset` names the build."""

    def __init__(self, preset):
        self.bin = ROOT / "build" / preset / "bin"

    def program(self, name):
        return str(self.bin / name)

    def run(self, log, *command):
        """Makes the switch and starts a program on it."""
        return start(log, self.program("switchsim"), "run", "--state", STATE, "--port", 502, "--", *command)

    def join(self, log, *command):
        return start(log, self.program("switchsim"), "join", "--state", STATE, "--", *command)

    def shell(self, *lines, patience=5):
        """Runs lines in the shell. Returns the exit status and what was printed; -1 when it does not end."""
        words = [word for line in lines for word in ("-c", line)]
        command = [self.program("zopsh"), "--no-pager", "--timeout", str(patience), *words]
        try:
            done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  timeout=3 * patience, text=True, errors="replace")
        except subprocess.TimeoutExpired:
            return -1, ""
        return done.returncode, done.stdout


def named(name):
    """The process of that name whose parent has another one: the server, not its children. None: there is none."""
    found = processes()
    names = {pid: process for pid, _, process in found}
    return next((pid for pid, parent, process in found if process == name and names.get(parent) != name), None)
