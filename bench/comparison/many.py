"""A thousand small pictures in one call: what a second process gains, and how other tools do it."""

import shutil
import tempfile
from dataclasses import dataclass, field
from pathlib import Path
from statistics import median

from comparison.bmp import problem_of
from comparison.failure import Failure
from comparison.rounds import run_once

SIDE = 256
TIME_LIMIT = 300
# mogrify takes so much longer that one run places it.
MOGRIFY_ROUNDS = 1

ONE_JOB, TWO_JOBS, MOGRIFY = "tivar -j 1", "tivar -j 2", "ImageMagick mogrify"
GAIN = 1.9  # of two jobs
AGAINST_MOGRIFY = 0.1


@dataclass
class Many:
    count: int
    seconds: dict = field(default_factory=dict)  # name -> of each round
    problem: str = ""  # why mogrify has none

    def gain(self):
        return median(one / two for one, two in zip(self.seconds[ONE_JOB], self.seconds[TWO_JOBS]))

    def against_mogrify(self):
        return median(self.seconds[TWO_JOBS]) / median(self.seconds[MOGRIFY])


def make_pictures(maker, count, directory):
    """Pieces of one large picture, all of them different."""
    columns = 40
    large = maker.draw(columns * 64 + SIDE, -(-count // columns) * 64 + SIDE)
    directory.mkdir()
    for number in range(count):
        x, y = number % columns * 64, number // columns * 64
        large.crop((x, y, x + SIDE, y + SIDE)).save(directory / f"{number:04}.png")


def commands(program):
    def tivar(jobs):
        return f"{program} export {{source}}/*.png -o {{target}} --bits 4 --quiet -j {jobs}"

    mogrify = "mogrify -path {target} -format bmp -define bmp:format=bmp3 -dither FloydSteinberg -colors 16 {source}/*.png"
    return {ONE_JOB: tivar(1), TWO_JOBS: tivar(2), MOGRIFY: mogrify}


def run(command, source, places, count):
    # A directory of its own for each run, and none is removed before the end: where files have just been
    # deleted, ext4 takes its time to choose other inodes.
    target = Path(tempfile.mkdtemp(prefix="many-", dir=places.scratch))
    line = command.format(source=source, target=target)
    seconds = run_once(["/bin/sh", "-c", line], places.scratch, TIME_LIMIT)
    files = sorted(target.iterdir())
    if len(files) != count:
        raise Failure(f"wrote {len(files)} files of {count}")
    problem = problem_of(files[-1], SIDE, SIDE, 4, 0)
    if problem:
        raise Failure(problem)
    return seconds


def measure(maker, places, count, rounds):
    source = places.scratch / "small"
    make_pictures(maker, count, source)
    found = Many(count)
    lines = commands(places.program)
    found.seconds = {name: [] for name in lines}
    # Round by round, so that a disturbance does not fall on one alone; the first does not count.
    for number in range(rounds + 1):
        for name in (ONE_JOB, TWO_JOBS):
            seconds = run(lines[name], source, places, count)
            if number > 0:
                found.seconds[name].append(seconds)
    try:
        for _ in range(MOGRIFY_ROUNDS):
            found.seconds[MOGRIFY].append(run(lines[MOGRIFY], source, places, count))
    except Failure as failure:
        found.problem = str(failure)
    for directory in (source, *places.scratch.glob("many-*")):
        shutil.rmtree(directory)
    return found
