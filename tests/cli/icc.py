"""Colour profiles, made rather than stored."""

import struct


def display_profile(gamma, matrix, space=b"RGB "):
    """A small ICC profile: three primaries, or none for greys, and a gamma."""

    def tag(kind, body):
        return kind + bytes(4) + body

    def fixed(value):
        return struct.pack(">i", round(value * 65536))

    curve = tag(b"curv", struct.pack(">IH", 1, round(gamma * 256)) + bytes(2))
    white = tag(b"XYZ ", fixed(0.9642) + fixed(1.0) + fixed(0.8249))
    tags = {b"wtpt": white}
    if space == b"GRAY":
        tags[b"kTRC"] = curve
    else:
        for name, column in zip((b"r", b"g", b"b"), matrix):
            tags[name + b"XYZ"] = tag(b"XYZ ", b"".join(map(fixed, column)))
            tags[name + b"TRC"] = curve
    body, table = b"", b""
    start = 128 + 4 + 12 * len(tags)
    for name, data in tags.items():
        table += struct.pack(">4sII", name, start + len(body), len(data))
        body += data
    head = struct.pack(">I4sI4s4s4s", start + len(body), bytes(4), 0x02100000, b"mntr", space, b"XYZ ")
    head += bytes(12) + b"acsp" + bytes(28) + fixed(0.9642) + fixed(1.0) + fixed(0.8249)
    return head.ljust(128, b"\0") + struct.pack(">I", len(tags)) + table + body


# Primaries of a wide display, adapted to the profile's white; the third is what is left of it.
WIDE = [(0.6097, 0.3111, 0.0195), (0.2053, 0.6257, 0.0609), (0.1492, 0.0632, 0.7445)]
