"""The clients: each runs all cases and tells of each what came of it.

A client's program gets a line a case on standard input (`Case.line`) and answers each with a line: "ok" and the
registers read, "exception N", "own limit" (it sent nothing), "not offered" (it has no such function), "time-out",
"closed" or "error: ...". Registers written with 0x06 and 0x10 are read back before it says "ok".
"""
import json
import pathlib
import re
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
PATIENCE_S = 40
PYTHON = "/usr/bin/python3"  # Debian's, which has pymodbus
NPM_CLIENTS = ("modbus-serial", "jsmodbus")
# What libmodbus, in mbpoll's messages, calls the exceptions.
EXCEPTIONS = {"Illegal function": 1, "Illegal data address": 2, "Illegal data value": 3}


def build(folder):
    """Builds and installs what the clients' programs take. Returns the clients that have to be skipped, with why."""
    folder.mkdir(parents=True, exist_ok=True)
    flags = ["-Wall", "-Wextra", "-Werror", "-O1", "-I/usr/include/modbus"]
    for source in (HERE / "clients/libmodbus_client.c", HERE.parent.parent / "integrations/libmodbus_example.c"):
        subprocess.run(["cc", *flags, "-o", folder / source.stem, source, "-lmodbus"], check=True)
    for name in ("package.json", "package-lock.json"):
        shutil.copy(HERE / "clients" / name, folder)
    if shutil.which("npm") is None or shutil.which("node") is None:
        return dict.fromkeys(NPM_CLIENTS, "npm is not there")
    install = ["npm", "ci", "--ignore-scripts", "--omit=optional", "--no-audit", "--no-fund", "--fetch-retries=1",
               "--fetch-timeout=20000"]
    try:
        done = subprocess.run(install, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_S)
    except subprocess.TimeoutExpired:
        return dict.fromkeys(NPM_CLIENTS, "npm ci does not end")
    if done.returncode != 0:
        reason = next((line for line in done.stdout.splitlines() if "error" in line), "it failed")
        return dict.fromkeys(NPM_CLIENTS, f"npm ci: {reason}")
    return {}


def versions(folder):
    """Name and version of each, for the document."""
    names = {"mbpoll": "mbpoll", "libmodbus5": "libmodbus", "python3-pymodbus": "pymodbus", "nmap": "nmap",
             "tshark": "tshark"}
    found = {}
    for package, name in names.items():
        query = ["dpkg-query", "-W", "-f", "${Version}", package]
        done = subprocess.run(query, stdout=subprocess.PIPE, text=True, check=True)
        found[name] = re.sub(r"^\d+:|[-+~].*$", "", done.stdout)
    for name, version in json.loads((folder / "package.json").read_text())["dependencies"].items():
        found[name] = version
    return found


def run_program(command, cases, folder):
    """The lines of a client's program, one for each case."""
    text = "".join(case.line() + "\n" for case in cases)
    done = subprocess.run([*map(str, command), "127.0.0.1", "502"], input=text, stdout=subprocess.PIPE, text=True,
                          cwd=folder, timeout=PATIENCE_S)
    lines = done.stdout.splitlines()
    if done.returncode != 0 or len(lines) != len(cases):
        sys.exit(f"interop: {command[-1]} ended with status {done.returncode} after {len(lines)} of {len(cases)} cases")
    return lines


# ---- mbpoll, a run a case

def mbpoll_arguments(case):
    """The arguments for a case, None for a function that it does not have."""
    table = {0x01: "0", 0x02: "1", 0x03: "4", 0x04: "3", 0x05: "0", 0x06: "4", 0x0F: "0", 0x10: "4"}.get(case.function)
    if table is None:
        return None
    arguments = ["-t", table, "-r", str(case.address + 1)]
    if case.function in (0x05, 0x0F):
        return arguments + ["127.0.0.1"] + [str(int(i % 3 == 0)) for i in range(case.count)]
    if case.function in (0x06, 0x10):
        return arguments + ["127.0.0.1"] + [str(0x1200 + i) for i in range(case.count)]
    return arguments + ["-c", str(case.count), "127.0.0.1"]


def mbpoll_result(case, done):
    text = done.stdout
    if failed := re.search(r"failed: (.*)", text):
        what = failed.group(1).strip()
        if what in EXCEPTIONS:
            return f"exception {EXCEPTIONS[what]}"
        known = {"Connection timed out": "time-out", "Too many data": "own limit", "Connection reset by peer": "closed"}
        return known.get(what, f"error: {what}")
    if done.returncode != 0:
        return "own limit"  # its usage, before anything is sent
    values = re.findall(r"^\[\d+\]:\s+(\d+)", text, re.M) if case.function in (0x03, 0x04) else []
    return " ".join(["ok", *values])


def run_mbpoll(cases):
    results = []
    for case in cases:
        arguments = mbpoll_arguments(case)
        if arguments is None:
            results.append("not offered")
            continue
        if "127.0.0.1" not in arguments:
            arguments.append("127.0.0.1")
        done = subprocess.run(["mbpoll", "-1", "-o", "2", "-a", str(case.unit), *arguments], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=PATIENCE_S)
        results.append(mbpoll_result(case, done))
    return results


def run_all(cases, folder, skipped):
    """Name -> results, in the order of the table's columns."""
    programs = {"libmodbus": [folder / "libmodbus_client"],
                "pymodbus": [PYTHON, HERE / "clients/pymodbus_client.py"],
                "modbus-serial": ["node", HERE / "clients/modbus_serial.js"],
                "jsmodbus": ["node", HERE / "clients/jsmodbus.js"]}
    results = {"mbpoll": run_mbpoll(cases)}
    for name, command in programs.items():
        if name in skipped:
            results[name] = ["skipped"] * len(cases)
        else:
            results[name] = run_program(command, cases, folder)
    return results


def run_nmap():
    """What nmap's script prints, a line each, the first its name."""
    command = ["nmap", "-Pn", "-n", "-p", "502", "--script", "modbus-discover", "127.0.0.1"]
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, timeout=PATIENCE_S,
                          check=True)
    return [line[2:].strip() for line in done.stdout.splitlines() if line.startswith("|")]
