"""Binary PBM, PGM and PPM pictures, which is what the readers are asked for."""

import re

HEADER = re.compile(rb"(P[456])\s+(?:#.*\n\s*)*(\d+)\s+(\d+)\s(?:\s*(\d+)\s)?")


def read(data):
    """(width, height, red, green and blue of every pixel), or None for anything else."""
    found = HEADER.match(data)
    if not found:
        return None
    kind, width, height = found.group(1), int(found.group(2)), int(found.group(3))
    body = data[found.end() :]
    if kind == b"P6":
        pixels = body[: width * height * 3]
    elif kind == b"P5":
        pixels = bytes(value for value in body[: width * height] for _ in range(3))
    else:
        stride = (width + 7) // 8
        inked = (body[y * stride + x // 8] >> (7 - x % 8) & 1 for y in range(height) for x in range(width))
        pixels = b"".join(bytes(3) if ink else b"\xff\xff\xff" for ink in inked)
    return (width, height, pixels) if len(pixels) == width * height * 3 else None


def write(width, height, pixels):
    return b"P6\n%d %d\n255\n" % (width, height) + pixels
