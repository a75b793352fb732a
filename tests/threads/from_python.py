"""Several Python threads in the package at once, which tests/threads/python runs under ThreadSanitizer.

from_python.py          exports by both interfaces to every kind of target; the bytes are those of one thread
from_python.py racing   two calls that write to one record of the caller's: what ThreadSanitizer must tell"""

import ctypes
import os
import random
import sys
import tempfile
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "python"))

import tivar  # noqa: E402
from tivar import _library as interface  # noqa: E402
from tivar.filter import Settings  # noqa: E402

THREADS = 8
ROUNDS = 2
SIZE = (120, 80)  # enough for several threads within a call
PIXELS = random.Random(1).randbytes(SIZE[0] * SIZE[1] * 3)
PATIENCE = 60  # seconds: on a busy machine calls may come one after the other for a while
DEPTHS = (1, 4, 8, 16, 24, 32)


def together(work):
    """work(number) in all threads at once; their first failure is raised here."""
    start, failures = threading.Barrier(THREADS), []

    def run(number):
        try:
            start.wait()
            work(number)
        except BaseException as failure:
            failures.append(failure)

    threads = [threading.Thread(target=run, args=[number]) for number in range(THREADS)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for failure in failures:
        raise failure


def direct(bits, **options):
    return tivar.save(PIXELS, size=SIZE, bits=bits, **options)


def by_rows(bits):
    row = SIZE[0] * 3
    return direct_of(lambda y: PIXELS[y * row : (y + 1) * row], bits)


def direct_of(picture, bits):
    return tivar.save(picture, size=SIZE, format="RGB", bits=bits, progress=lambda percent: None)


def to_file(bits, name):
    tivar.save(PIXELS, name, size=SIZE, bits=bits, threads=3)
    return Path(name).read_bytes()


def filtered(bits):
    with Settings() as settings:
        settings.bits = bits
        return settings.export(PIXELS, size=SIZE)


def exports(directory):
    wanted = {bits: direct(bits, threads=1) for bits in DEPTHS}
    wanted_of_filter = {bits: filtered(bits) for bits in (4, 8, 24)}

    def work(number):
        for turn in range(ROUNDS):
            bits = DEPTHS[(number + turn) % len(DEPTHS)]
            assert direct(bits, threads=number % 4) == wanted[bits]
            assert by_rows(bits) == wanted[bits]
            assert to_file(bits, os.path.join(directory, f"{number}.bmp")) == wanted[bits]
            bits = (4, 8, 24)[(number + turn) % 3]
            assert filtered(bits) == wanted_of_filter[bits]

    together(work)


def racing():
    """A report of its own belongs to each call; these share one, until that is told."""
    pixels = ctypes.create_string_buffer(PIXELS)
    picture = interface.record(
        interface.Picture, width=SIZE[0], height=SIZE[1], pixels=ctypes.addressof(pixels)
    )
    report = interface.record(interface.Report)

    end = time.monotonic() + PATIENCE

    def work(number):
        while time.monotonic() < end:
            file, length = ctypes.c_void_p(), ctypes.c_size_t()
            assert interface.write_memory(picture, None, file, length, report) == 0
            interface.free(file)

    together(work)


def main():
    if sys.argv[1:] == ["racing"]:
        return racing()
    with tempfile.TemporaryDirectory() as directory:
        exports(directory)
    print(f"{THREADS} Python threads, {ROUNDS} rounds: the bytes of one")


main()
