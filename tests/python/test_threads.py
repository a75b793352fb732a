"""save() from several threads, and what it leaves behind."""

import gc
import os
import subprocess
import sys
import threading
import time
import weakref
from concurrent.futures import ThreadPoolExecutor

import numpy
import pytest
import tivar

THREADS = 8


def test_calls_run_at_the_same_time(noise):
    """Each call waits in its progress for the other one to be there, too."""
    both = threading.Barrier(2, timeout=20)

    def save(bits):
        met = []

        def progress(percent):
            if not met:
                met.append(both.wait())

        return tivar.save(noise, bits=bits, progress=progress)

    with ThreadPoolExecutor(2) as pool:
        files = list(pool.map(save, (4, 8)))
    assert files == [tivar.save(noise, bits=bits) for bits in (4, 8)]


def test_python_runs_while_the_library_works(noise):
    """The interpreter's lock changes hands here only where it is let go, which the call-backs do
    not, so the other thread counts up while the call is between two of them."""
    counted, seen = [0], []
    over = threading.Event()

    def count():
        while not over.is_set():
            counted[0] += 1
            time.sleep(0.0001)  # lets go

    counter = threading.Thread(target=count)
    old = sys.getswitchinterval()
    sys.setswitchinterval(60)
    counter.start()
    try:
        tivar.save(noise, bits=4, progress=lambda percent: seen.append(counted[0]))
    finally:
        over.set()
        sys.setswitchinterval(old)
        counter.join()
    assert seen[-1] > seen[0]


def test_call_backs_of_eight_threads(noise, tmp_path):
    parts = [noise[: 300 + 40 * i] for i in range(THREADS)]

    def save(i):
        told, blocks = [], []

        class Target:
            write = staticmethod(lambda block: blocks.append(block))

        rows = iter(parts[i])
        size = parts[i].shape[1::-1]
        tivar.save(rows, Target(), size=size, bits=4, progress=told.append, cancel=lambda: False)
        return told, b"".join(blocks), threading.get_ident()

    with ThreadPoolExecutor(THREADS) as pool:
        results = list(pool.map(save, range(THREADS)))
    for part, (told, data, _) in zip(parts, results):
        assert told[0] == 0 and told[-1] == 100 and told == sorted(set(told))
        assert data == tivar.save(part, bits=4)


def test_call_backs_come_on_the_thread_of_the_call(noise):
    own = set()
    tivar.save(
        lambda y: own.add(threading.get_ident()) or noise[y],
        size=(900, 700),
        threads=4,
        bits=8,
        dither="ordered",
        progress=lambda _: own.add(threading.get_ident()),
    )
    assert own == {threading.get_ident()}


class Broken(Exception):
    pass


def test_errors_of_threads_do_not_mix(noise):
    def save(i):
        def progress(percent):
            if percent > i:
                raise Broken(i)

        try:
            tivar.save(noise[:200], bits=4, progress=progress)
        except Broken as error:
            return error.args[0]

    with ThreadPoolExecutor(THREADS) as pool:
        assert list(pool.map(save, range(40))) == list(range(40))


# --- Signals --------------------------------------------------------------------------------------

INTERRUPTED = """
import os, signal, sys, tivar
asked = []
def progress(percent):
    if percent == 10:
        os.kill(os.getpid(), signal.SIGINT) if sys.argv[1] == "inside" else signal.setitimer(
            signal.ITIMER_REAL, 0.000001)
def late(number, frame):
    raise KeyboardInterrupt
signal.signal(signal.SIGALRM, late)
# Shells start what runs in the background with the signal ignored.
signal.signal(signal.SIGINT, signal.default_int_handler)
try:
    tivar.save(bytes(3000 * 2000 * 3), sys.argv[2], size=(3000, 2000), bits=4, progress=progress)
except KeyboardInterrupt:
    sys.exit(7)
"""


@pytest.mark.parametrize("where", ["inside", "between"])
def test_an_interrupt_ends_the_call(tmp_path, where):
    """Also one that comes while the library works, before the next call-back's first line."""
    done = subprocess.run(
        [sys.executable, "-c", INTERRUPTED, where, tmp_path / "out.bmp"],
        capture_output=True,
        text=True,
        timeout=60,
    )
    assert (done.returncode, done.stdout, done.stderr) == (7, "", "")
    assert list(tmp_path.iterdir()) == []


def test_other_exceptions_that_nobody_hears_are_told_as_ever(noise, monkeypatch):
    told = []
    monkeypatch.setattr(sys, "unraisablehook", lambda ignored: told.append(ignored.exc_type))

    class Dying:
        def __del__(self):
            raise Broken

    def progress(percent):
        if not told:
            Dying()

    hook = sys.unraisablehook
    tivar.save(noise[:50], progress=progress)
    assert told == [Broken]
    assert sys.unraisablehook is hook


# --- What is left ---------------------------------------------------------------------------------


def save_and_fail(picture):
    tivar.save(picture, bits=4, progress=lambda _: None)
    for options in ({"progress": lambda _: 1 / 0}, {"bits": 3}, {"target": "/none/x"}):
        with pytest.raises((ZeroDivisionError, ValueError, OSError)):
            tivar.save(picture, **options)
    with pytest.raises(ZeroDivisionError):
        tivar.save(lambda y: 1 / 0, size=(3, 3))


def test_nothing_holds_a_picture_once_it_is_saved():
    """Reference counting alone lets it go, without the collector."""
    gc.collect()
    gc.disable()
    try:
        picture = numpy.zeros((20, 30, 3), numpy.uint8)
        ghost = weakref.ref(picture)
        count = sys.getrefcount(picture)
        save_and_fail(picture)
        assert sys.getrefcount(picture) == count
        del picture
        assert ghost() is None
    finally:
        gc.enable()


def test_a_buffer_is_free_again_after_the_call():
    buffer = bytearray(30)
    tivar.save(buffer, size=(5, 2))
    with pytest.raises(tivar.BadOption):
        tivar.save(buffer, size=(5, 2), bits=5)
    buffer += b"more"


def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def test_calls_leave_nothing_behind():
    picture = numpy.zeros((400, 600, 3), numpy.uint8)

    def calls(count):
        for _ in range(count):
            save_and_fail(picture)
        gc.collect()
        return len(gc.get_objects()), resident()

    calls(20)
    objects, memory = calls(20)
    more, larger = calls(100)
    assert more <= objects + 5
    assert larger < memory + 4 * 2**20  # a file has 120 KB: 100 of them would be 12 MB
