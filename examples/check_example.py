#!/usr/bin/python3
"""Runs an example and judges what it writes: check_example.py PROGRAM DIRECTORY [LIBRARY]

The program's name says which example it is. LIBRARY is for those that load it at run time. Programs for
another processor run under the command that TIVAR_EMULATOR has."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

from PIL import Image

PROFILE = """[TIVAR]
~Mode=Small

[Small]
Driver=TIVAR.1
Color Format=219
File Type=332

[Full]
Driver=TIVAR.1
Color Format=222
Resolution Mode=309
"""


def expect(what, found, wanted):
    if found != wanted:
        sys.exit(f"{what}: found {found!r} instead of {wanted!r}")


def check_pixels(name, size, colour_of, tolerance=0):
    """Every pixel, counted from the top left."""
    with Image.open(name) as opened:
        picture = opened.convert("RGB")
    expect(f"size of {name}", picture.size, size)
    loaded = picture.load()
    for y in range(size[1]):
        for x in range(size[0]):
            found, wanted = loaded[x, y], colour_of(x, y)
            if any(abs(a - b) > tolerance for a, b in zip(found, wanted)):
                sys.exit(f"{name}, pixel {x}, {y}: found {found} instead of {wanted}")


def check_header(name, header_bytes, bits):
    start = Path(name).read_bytes()[:54]
    at = 24 if header_bytes == 12 else 28
    expect(f"header of {name}", start[14], header_bytes)
    expect(f"depth of {name}", int.from_bytes(start[at : at + 2], "little"), bits)


class Example:
    def __init__(self, program, library):
        self.program = program
        self.command = [*os.environ.get("TIVAR_EMULATOR", "").split(), program]
        self.library = [library] if library else []

    def run(self, *arguments, code=0):
        """What the program says, on standard output and standard error."""
        done = subprocess.run([*self.command, *arguments], capture_output=True, text=True, timeout=60)
        expect(f"exit code of {self.program} {arguments}: {done.stderr}", done.returncode, code)
        return done.stdout, done.stderr


def xor_colour(height):
    def colour(x, y):
        index = x ^ (height - 1 - y)
        return index, 255 - index, 128

    return colour


def check_driver_picture(example):
    example.run("picture.bmp", *example.library)
    data = Path("picture.bmp").read_bytes()
    expect("length", len(data), 54 + 4 * 256 + 256 * 192)
    expect("type, size, start of the pixels", data[:14].hex(), "424d36c400000000000036040000")
    expect("header", data[14:34].hex(), "2800000000010000c000000001000800" + "00000000")
    expect("colours 0 to 2", data[54:66].hex(), "80ff000080fe010080fd0200")
    check_pixels("picture.bmp", (256, 192), xor_colour(192))
    errors = example.run("none/picture.bmp", *example.library, code=1)[1]
    expect("word about the missing directory", "cannot open the file (code 303)" in errors, True)
    example.run(code=2)


def check_export_file(example):
    def colour(x, y):
        return x * 200 // 319, y * 255 // 199, 255

    Path("my.ini").write_text(PROFILE, encoding="ascii")
    example.run("built-in.bmp")
    check_header("built-in.bmp", 40, 8)
    check_pixels("built-in.bmp", (320, 200), colour, tolerance=20)
    example.run("full.bmp", "my.ini", "Full")
    check_header("full.bmp", 40, 24)
    check_pixels("full.bmp", (320, 200), colour)
    example.run("small.bmp", "my.ini")
    check_header("small.bmp", 12, 4)
    # The mode has 96 pixels to the inch where the host offers 64.
    with Image.open("small.bmp") as small:
        expect("size of small.bmp", small.size, (480, 300))
    example.run("none/picture.bmp", code=1)
    example.run(code=2)


def check_export_memory(example):
    example.run("one.bmp", "two.bmp")
    check_header("one.bmp", 40, 24)
    check_pixels("one.bmp", (255, 100), lambda x, y: (x, 99 - y, 0))
    expect("the second file", Path("two.bmp").read_bytes(), Path("one.bmp").read_bytes())
    example.run("none/one.bmp", "two.bmp", code=1)
    example.run(code=2)


def check_export_document(example):
    said = example.run("whole.bmp")[0]
    check_header("whole.bmp", 40, 8)
    check_pixels("whole.bmp", (256, 192), xor_colour(192))
    lines = [line for line in said.splitlines() if not line.startswith("the library")]
    expect("progress", [int(line.split()[0]) // 10 for line in lines], list(range(1, 11)))
    expect("the library's progress", said.count("the library says 100 %"), 1)
    errors = example.run("part.bmp", "40", code=1)[1]
    expect("word of the cancel", errors, "export_document: cancelled\n")
    expect("cancelled file", os.path.exists("part.bmp"), False)
    example.run(code=2)


def check_export_depths(example):
    def colour(x, y):
        return x, y, 255

    example.run(".")
    for bits in (1, 4, 8, 24):
        for flavour, header_bytes in (("windows", 40), ("os2", 12)):
            name = f"{bits}-{flavour}.bmp"
            check_header(name, header_bytes, bits)
            # Dithered pixels differ; 256 colours come near, and true colour is the picture itself.
            if bits >= 8:
                check_pixels(name, (192, 128), colour, tolerance=0 if bits == 24 else 16)
            with Image.open(name) as picture:
                expect(f"size of {name}", picture.size, (192, 128))
    example.run("none", code=1)
    example.run(code=2)


def blended(x, y):
    return x * 255 // 332, y * 255 // 220, 128


def check_write_file(example):
    for bits in (1, 4, 8, 16, 24, 32):
        name = f"{bits}.bmp"
        said = example.run(name, str(bits))[0]
        check_header(name, 40, bits)
        with Image.open(name) as picture:
            expect(f"size of {name}", picture.size, (333, 221))
        expect("what it says", said.startswith(f"{bits} bits"), True)
        expect("length", said.endswith(f" {os.path.getsize(name)} bytes\n"), True)
    check_pixels("24.bmp", (333, 221), blended)
    check_pixels("32.bmp", (333, 221), blended)
    check_pixels("16.bmp", (333, 221), blended, tolerance=8)
    check_pixels("8.bmp", (333, 221), blended, tolerance=24)
    errors = example.run("none/picture.bmp", code=1)[1]
    expect("word about the missing directory", errors, "write_file: the file could not be written (errno 2)\n")
    errors = example.run("5.bmp", "5", code=1)[1]
    expect("word about the depth", "options.bits" in errors, True)
    expect("refused file", os.path.exists("5.bmp"), False)
    example.run(code=2)


def check_write_memory(example):
    colours = ((255, 255, 255), (0, 0, 0), (200, 0, 0), (255, 220, 0))
    example.run("flag.bmp")
    check_header("flag.bmp", 40, 4)
    check_pixels("flag.bmp", (64, 64), lambda x, y: colours[y // 16])
    # A row is a run of 64 pixels and its end, and there are four colours.
    expect("length", os.path.getsize("flag.bmp"), 54 + 4 * 4 + 64 * 4)
    example.run("none/flag.bmp", code=1)
    example.run(code=2)


def check_write_rows(example):
    done = subprocess.run(example.command, capture_output=True, check=True, timeout=60)
    Path("rings.bmp").write_bytes(done.stdout)
    check_header("rings.bmp", 40, 1)
    expect("length", len(done.stdout), 54 + 8 + 252 * 2000)
    with Image.open("rings.bmp") as picture:
        mean = sum(i * n for i, n in enumerate(picture.convert("L").histogram())) / 2000**2
    greys = [((x - 1000) ** 2 + (y - 1000) ** 2 >> 10) % 256 for y in range(2000) for x in range(2000)]
    expect("tone", abs(mean - sum(greys) / 2000**2) < 1, True)


def check_write_cancel(example):
    said = example.run("whole.bmp", "101")[0]
    expect("progress", [int(line.split()[0]) for line in said.splitlines()][-1], 100)
    whole = Path("whole.bmp").read_bytes()
    errors = example.run("whole.bmp", "40", code=1)[1]
    expect("word of the cancel", errors, "write_cancel: cancelled\n")
    expect("the file that was there", Path("whole.bmp").read_bytes(), whole)
    expect("files", os.listdir("."), ["whole.bmp"])
    example.run(code=2)


def check_write_threads(example):
    example.run(".")
    for bits in (1, 4, 8, 24):
        check_header(f"{bits}.bmp", 40, bits)
    check_pixels("24.bmp", (256, 256), lambda x, y: (x ^ y, x ^ y, 0))
    check_pixels("8.bmp", (256, 256), lambda x, y: (x ^ y, x ^ y, 0))
    example.run("none", code=1)
    example.run(code=2)


CHECKS = {
    "driver_picture": check_driver_picture,
    "export_depths": check_export_depths,
    "export_document": check_export_document,
    "export_file": check_export_file,
    "export_memory": check_export_memory,
    "write_cancel": check_write_cancel,
    "write_file": check_write_file,
    "write_memory": check_write_memory,
    "write_rows": check_write_rows,
    "write_threads": check_write_threads,
}


def main():
    program, place = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
    library = str(Path(sys.argv[3]).resolve()) if len(sys.argv) > 3 else ""
    shutil.rmtree(place, ignore_errors=True)
    place.mkdir(parents=True)
    os.chdir(place)
    os.environ.pop("INIDIR", None)  # profiles are those of this place
    CHECKS[program.name](Example(str(program), library))


main()
