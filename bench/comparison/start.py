"""What a picture costs that has hardly any pixels: the start of the process and its end."""

import os
import time
from dataclasses import dataclass
from statistics import median

from comparison import pictures
from comparison.failure import Failure

SIDE = 32
LIMIT = 0.0022  # seconds


@dataclass
class Start:
    runs: int
    tivar: float  # seconds
    nothing: float  # of a program that does nothing


def run(command, environment):
    """Wall time of one process; it is started without copying this one."""
    begin = time.perf_counter()
    process = os.posix_spawn(command[0], command, environment)
    _, status = os.waitpid(process, 0)
    seconds = time.perf_counter() - begin
    if status != 0:
        raise Failure(f"{command[0]} ended with status {status}")
    return seconds


def measure(maker, places, runs):
    picture = pictures.make(maker, SIDE, SIDE, places.scratch, ["png"])
    target = places.scratch / "out.bmp"
    command = [str(places.program), "export", str(picture.files["png"]), "-o", str(target), "--quiet"]
    taken = {"tivar": [], "nothing": []}
    for _ in range(runs):
        target.unlink(missing_ok=True)
        taken["tivar"].append(run(command, os.environ))
        taken["nothing"].append(run(["/bin/true"], os.environ))
    return Start(runs, median(taken["tivar"]), median(taken["nothing"]))
