"""What a request to the device costs beside an empty control call on it: through the device's server, on a simulated
switch, and through the preloaded library on the same."""
from machine import Switch, device, run

ROUNDS = 500


def measure(how, *command):
    print(f"{how}\n{run(*command, 'device_latency', ROUNDS, patience=100)}", flush=True)


def main():
    switch = Switch()
    sasid = device("--simulated", "--state", switch.STATE)
    measure("through /dev/sasi-dev")
    measure("preloaded", "switchsim", "join", "--state", switch.STATE, "--")
    sasid.alive()


main()
