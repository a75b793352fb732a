"""The whole files that the page prints: each is exported again and compared byte by byte.

A block that starts with P1 or P3 is a picture. A block that starts with "tivar export picture.ppm" is the dump
of what the command makes of the picture before it. A line of a dump has an offset, bytes and, behind
two blanks, what they mean; "00 x 1008" stands for so many bytes of a value."""

import re
import subprocess

BLOCK = re.compile(r"^```text\n(.*?)^```$", re.MULTILINE | re.DOTALL)
COMMAND = re.compile(r"tivar export picture\.ppm( .*)?")
LINE = re.compile(r" *(\d+)  ([0-9a-f]{2}(?: [0-9a-f]{2})*)(?: x (\d+))?(?:  .*)?")


class WrongDump(Exception):
    pass


def read_dump(lines):
    data = b""
    for line in lines:
        found = LINE.fullmatch(line)
        if not found:
            raise WrongDump(f"cannot read the line: {line}")
        if int(found.group(1)) != len(data):
            raise WrongDump(f"offset {found.group(1)} instead of {len(data)}")
        data += bytes.fromhex(found.group(2)) * int(found.group(3) or 1)
    return data


def compare(promised, real):
    for at, (there, here) in enumerate(zip(promised, real)):
        if there != here:
            raise WrongDump(f"byte {at} is {here:02x}, the page says {there:02x}")
    if len(promised) != len(real):
        raise WrongDump(f"the file has {len(real)} bytes, the page says {len(promised)}")


def export(tivar, options, picture, directory):
    source, target = directory / "picture.ppm", directory / "picture.bmp"
    source.write_text(picture)
    target.unlink(missing_ok=True)
    run = subprocess.run([tivar, "export", source, "-o", target, "-q", *options], capture_output=True, text=True)
    if run.returncode != 0:
        raise WrongDump(run.stderr.strip())
    return target.read_bytes()


def check(page, tivar, directory):
    """(number of dumps, what is wrong with them)."""
    picture, count, wrong = None, 0, []
    for block in BLOCK.findall(page):
        command, *lines = block.splitlines()
        if command.startswith(("P1 ", "P3 ")):
            picture = block
        found = COMMAND.fullmatch(command)
        if not found:
            continue
        count += 1
        try:
            real = export(tivar, (found.group(1) or "").split(), picture, directory)
            compare(read_dump(lines), real)
        except WrongDump as problem:
            wrong.append(f"{command}: {problem}")
    return count, wrong
