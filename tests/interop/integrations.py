"""What integrations/ holds, tried: the examples are run, and what the configurations poll is asked for."""
import json
import re
import struct
import subprocess

import clients
import private_switch as desk
import wire

FOLDER = desk.ROOT / "integrations"
MOST_REGISTERS = 124
TELEGRAF_REGISTERS = {"UINT16": 1, "UINT32": 2}
HOME_ASSISTANT_REGISTERS = {"uint16": 1, "uint32": 2}


def expected_report(switch):
    """What the examples print, from what `mbshow` reads."""
    done = subprocess.run([switch.program("mbshow"), "--json", "127.0.0.1"], stdout=subprocess.PIPE, check=True)
    shown = json.loads(done.stdout)
    identity = shown["identity"]
    lines = [f"device type: {identity['device_type']}", f"serial number: {identity['serial_number']}",
             f"MAC address: {identity['mac_address']}", f"main power: {identity['main_power']}",
             f"redundant power: {identity['redundant_power']}", f"alarm: {identity['alarm']}"]
    return lines + [f"port {port['port']}: state {port['port_state']}, counter 6: {port['counter_6']}"
                    for port in shown["ports"]]


def run_examples(switch, folder):
    """What is wrong with the examples."""
    wanted, faults = expected_report(switch), []
    for command in ([folder / "libmodbus_example"], [clients.PYTHON, FOLDER / "pymodbus_example.py"]):
        done = subprocess.run([*command, "127.0.0.1", "502"], stdout=subprocess.PIPE, text=True, timeout=20)
        seen = done.stdout.splitlines()
        if (done.returncode, seen) != (0, wanted):
            faults.append(f"{command[-1].name}: status {done.returncode}, {seen}")
    return faults


# ---- (PDU address, registers) of the reads that configurations make

def telegraf_reads(text):
    """Fields that touch are joined, as far as they stand in one request."""
    import tomllib  # Python 3.11
    reads = []
    for plugin in tomllib.loads(text)["inputs"]["modbus"]:
        for request in plugin["request"]:
            if (request["register"], request["optimization"], request["byte_order"]) != ("input", "none", "ABCD"):
                raise ValueError(f"telegraf.conf: {request}")
            joined = None
            for field in request["fields"]:
                size = field.get("length") or TELEGRAF_REGISTERS[field["type"]]
                if joined is not None and sum(joined) == field["address"]:
                    joined[1] += size
                else:
                    joined = [field["address"], size]
                    reads.append(joined)
    return reads


def home_assistant_reads(text):
    """A sensor and its virtual ones are one read."""
    program = "import json, sys, yaml; json.dump(yaml.safe_load(sys.stdin), sys.stdout)"
    done = subprocess.run([clients.PYTHON, "-c", program], input=text, stdout=subprocess.PIPE, text=True, check=True)
    sensors = json.loads(done.stdout)["modbus"][0]["sensors"]
    if len({sensor["unique_id"] for sensor in sensors}) != len(sensors):
        raise ValueError("home-assistant.yaml: a unique_id comes twice")
    return [(sensor["address"], (sensor.get("count") or HOME_ASSISTANT_REGISTERS[sensor["data_type"]])
             * (1 + sensor.get("virtual_count", 0))) for sensor in sensors]


def node_red_reads(text):
    return [(int(node["adr"]), int(node["quantity"])) for node in json.loads(text)
            if node["type"] == "modbus-read" and node["dataType"] == "InputRegister"]


def ask(reads):
    """Makes reads on one connection. Returns those that are refused."""
    refused = []
    with wire.socket.create_connection(desk.MODBUS, 5) as sock:
        for address, count in reads:
            reply = desk.modbus_ask(sock, 1, struct.pack(">BHH", 4, address, count))
            if reply[0] != 4 or len(reply) != 2 + 2 * count or count > MOST_REGISTERS:
                refused.append((address, count))
    return refused


def run(switch, folder):
    """Tries everything. Returns what is wrong."""
    faults = run_examples(switch, folder)
    for name, reads_of in (("telegraf.conf", telegraf_reads), ("home-assistant.yaml", home_assistant_reads),
                           ("node-red-flow.json", node_red_reads)):
        text = (FOLDER / name).read_text()
        reads = reads_of(text)
        if not reads or not re.search(r"\b192\.0\.2\.10\b", text):
            faults.append(f"{name}: it polls nothing, or not the address that its README names")
        faults += [f"{name}: {count} registers from PDU address {address} on are refused"
                   for address, count in ask(reads)]
    return faults
