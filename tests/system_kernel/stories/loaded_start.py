"""The daemon starts where others take the processor: one thread polls, and no more are started beside it."""
import os

from machine import Client, Program, daemon, expect, tap0

HOGS, STARTS = 3, 6


def main():
    tap0()
    hogs = [Program(f"hog{n}", "sh", "-c", "while :; do :; done") for n in range(HOGS)]
    for number in range(STARTS):
        modbusd = daemon()
        threads = os.listdir(f"/proc/{modbusd.process.pid}/task")
        expect(f"threads of the daemon at start {number + 1}", len(threads), 2)
        if number + 1 < STARTS:
            modbusd.stop()
    for hog in hogs:
        hog.kill()
    client = Client()
    expect("the device type", client.read(1001, 1), [0xD8ED])
    modbusd.alive()


main()
