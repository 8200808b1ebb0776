"""docs/interoperability.md: its text, and what is otherwise in it than was seen. What docs/conformance.md names."""
import itertools
import re

import private_switch as desk

PATH = desk.ROOT / "docs" / "interoperability.md"
CONFORMANCE = desk.ROOT / "docs" / "conformance.md"

HEAD = """# Interoperability

For integrators: what Modbus clients make of the daemon. Written by `tests/interop/run --document`, which lets each of
them talk to the daemon on a simulated switch. `./check --all` does so again and says what has changed.

    tests/interop/run              # prints the tables
    tests/interop/run --document   # writes this page

## What to know

- 0x04 takes 124 registers at most. No client knows that: all send a request for 125 and get exception 3. Where a
  program joins reads, set its limit to 124.
- Compare the number of registers in a reply to 0x03 with what you asked for. Only the low byte of the count is looked
  at: for 0x0102 registers two come, and pymodbus and jsmodbus, which let such a request out, call that a success.
- To see whether the switch is there, read register 1001. The reply to 0x11 (slave ID) is the function code alone, which
  no client can read; libmodbus waits for more until its time-out.
- Any unit identifier will do, 0 too.
- pymodbus 3.0 takes whole seconds as time-out: 0.5 is 0, and no connection comes about.
- Holding registers are the connection's own: mbpoll, which connects anew each time, reads 0 after it has written.

## Words

| in the tables | means |
| --- | --- |
| ok | the registers came, as a bare socket gets them; what was written reads back (not for mbpoll) |
| own limit | the client refuses, and sends nothing |
| not offered | the client has no such function |
| cannot read it | the client takes the reply for a wrong one |
| Reply | what a bare socket gets |
| tshark | what tshark reads in the reply; it complained of no reply to any client |
"""


def table(heading, header, rows):
    lines = [f"## {heading}\n", "| " + " | ".join(header) + " |", "| " + " | ".join("---" for _ in header) + " |"]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def text(tables, versions):
    """The document with these tables."""
    seen_with = ", ".join(f"{name} {version}" for name, version in versions.items())
    parts = [HEAD, f"Seen with {seen_with}.\n"]
    parts += [table(heading, header, rows) for heading, (header, rows) in tables.items()]
    return "\n".join(parts)


def lines_without(document, columns):
    """The lines of a document without some columns of its tables, and without the clients' versions."""
    kept, dropped = [], []
    for line in document.splitlines():
        if line.startswith("Seen with "):
            continue
        if not line.startswith("|"):
            dropped = []
            kept.append(line)
            continue
        cells = re.split(r" \| ", line.strip("| "))
        if not kept[-1].startswith("|"):
            dropped = [cells.index(name) for name in columns if name in cells]
        kept.append("| " + " | ".join(cell for place, cell in enumerate(cells) if place not in dropped) + " |")
    return kept


def differences(document, skipped):
    """What is otherwise in the document that is there. Columns of clients that were skipped are not compared."""
    try:
        there = PATH.read_text()
    except FileNotFoundError:
        return [f"{PATH} is not there"]
    pairs = itertools.zip_longest(lines_without(there, skipped), lines_without(document, skipped), fillvalue="nothing")
    found = [f"the document has {old}, seen was {new}" for old, new in pairs if old != new]
    return found + ["if that is right: tests/interop/run --document"] if found else []


def tests_named_in_vain():
    """Tests that docs/conformance.md names and that are not there."""
    there = set()
    for path in (desk.ROOT / "tests").rglob("*.cpp"):
        cases = re.findall(r"^TEST(?:_F)?\((\w+), (\w+)\)", path.read_text(), re.MULTILINE)
        there.update(f"{suite}.{name}" for suite, name in cases)
    named = set(re.findall(r"`([A-Z]\w+\.[A-Z]\w+)`", CONFORMANCE.read_text()))
    return [f"docs/conformance.md: there is no test {name}" for name in sorted(named - there)]
