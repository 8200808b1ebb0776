"""A full "/tmp": the daemon serves on, and the shell says that what it printed is lost."""
import os

from machine import Program, Wrong, daemon, eventually, expect, run, say, serves, tap0

LINE = "show version"


def shell(line, status):
    return run("zopsh", "--no-pager", "-c", line, status=status)


def fill(path):
    with open(path, "wb", buffering=0) as file:
        try:
            while True:
                file.write(bytes(4096))
        except OSError as error:
            say(f"/tmp takes no more: {error.strerror}")
    expect("room in /tmp", os.statvfs("/tmp").f_bavail, 0)


def main():
    run("mount", "-o", "remount,size=1M", "/tmp")
    tap0()
    modbusd = daemon()
    server = Program("zop_serv", "zop_serv", "--desk")
    eventually("zop_serv has its socket", lambda: server.alive() and os.path.exists("/tmp/csh_serv"))
    before = shell(LINE, 0)
    fill("/tmp/ballast")
    expect("the daemon serves a new client", serves(), True)
    said = shell(LINE, 1)
    if "What it printed is lost: No space left on device" not in said:
        raise Wrong(f"the shell does not tell the loss: {said!r}")
    os.remove("/tmp/ballast")
    expect(f'"{LINE}" as before', shell(LINE, 0), before)
    expect("the daemon still serves", serves(), True)
    modbusd.alive()
    server.stop()
    expect("what zop_serv has left", [name for name in os.listdir("/tmp") if name.startswith(("csh", "ipc", "tty"))], [])


main()
