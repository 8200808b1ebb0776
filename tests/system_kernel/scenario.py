"""A switch in which hardly two values are the same, and no counter moves, so that a register read in the wrong place
shows."""
PORTS = 12
MAC = "02:1b:fe:12:34:56"
SERIAL = "KX77-090821/3"


def words(seed):
    return [(seed * 0x101 + 0x0307 * index) & 0xFFFF for index in range(16)]


def distinct():
    """It, as a scenario."""
    lines = [f"identity.serial {SERIAL}", f"identity.mac {MAC}", "power.redundant under-voltage", "stp.mode mstp",
             "port.*.rate.* 0", "port.4.link down", "ip.route 3232235777"]
    for n, field in enumerate(("tailer-a", "tailer-b", "header-a", "header-b")):
        lines.append(f"identity.{field} {','.join(map(str, words(n + 1)[:12 if field == 'header-a' else 16]))}")
    for port in range(1, PORTS + 1):
        lines += [f"port.{port}.counter.{sub} {(port * 0x0F1E2D3C + sub * 0x01010101) & 0xFFFFFFFF}"
                  for sub in (3, 4, 6, 9, 10, 12, 24, 28)]
        lines += [f"port.{port}.word.{word} {port * 16 + word}" for word in range(1, 6)]
        lines += [f"port.{port}.media {('fast', 'copper', 'fibre')[port % 3]}"]
    for instance in range(64):
        lines += [f"mst.{instance}.byte1 {instance + 100}", f"mst.{instance}.address 02:00:00:00:{instance:02x}:07"]
        lines += [f"mst.{instance}.port.{port}.byte{byte} {(instance + port * byte) % (8 if byte == 0 else 4)}"
                  for port in range(1, PORTS + 1) for byte in (0, 1, 4, 5, 8, 9)]
    for ring in (1, 2, 9, 100, 254, 255):
        lines += [f"ring.{ring}.{field} {(ring + n) & 0xFF}" for n, field in enumerate(
            ("word24", "value28", "port1", "port2", "byte137", "word141"))]
        lines += [f"ring.{ring}.name ring-{ring}", f"ring.{ring}.configured 1", f"ring.{ring}.state 1",
                  f"ring.{ring}.port1-state {ring % 3}", f"ring.{ring}.word133 {ring % 2}", f"ring.{ring}.word60 4"]
    for ring in (0, 1):
        lines += [f"redundant.{ring}.{field} {n + ring}" for n, field in enumerate(
            ("state", "word14", "word18", "byte22", "word26", "byte30", "word34"))]
    return "\n".join(lines) + "\n"
