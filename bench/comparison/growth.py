"""How tivar's cost grows: with the pixels of the picture, and with the megabytes of a file in memory."""

import json
import subprocess
from dataclasses import dataclass
from statistics import median

from comparison import pictures
from comparison.failure import Failure
from comparison.jobs import JOBS
from comparison.rounds import Contestant, Course

TIME_LIMIT = 900
DEPTHS = ("24-bit", "8-bit", "4-bit", "1-bit")

SMALL, LARGE = 4, 256  # megabytes
WITHIN = 1.5

MEGAPIXEL = 1 << 20


@dataclass
class Sizes:
    megapixels: list
    seconds: dict  # job name -> seconds, one a size

    def per_megapixel(self, name):
        return [seconds / size for seconds, size in zip(self.seconds[name], self.megapixels)]


@dataclass
class Memory:
    megabytes: list
    first: list  # bytes a second of the first export of a process
    repeated: list  # and of exports one after another in one process

    def factor(self):
        """How many times slower the large output is than the small one; None when they were not run."""
        if SMALL not in self.megabytes or LARGE not in self.megabytes:
            return None
        return self.first[self.megabytes.index(SMALL)] / self.first[self.megabytes.index(LARGE)]


def measure_sizes(maker, places, plan):
    sides = plan.sides
    drawn = [pictures.make(maker, side, side, places.scratch, ["ppm"]) for side in sides]
    jobs = [job for job in JOBS if job.name in DEPTHS]
    runs = {(job.name, side): [] for job in jobs for side in sides}
    # Rounds over all sizes, so that a disturbance does not fall on one alone; the first does not count.
    for number in range(plan.growth_rounds + 1):
        for job in jobs:
            contestant = Contestant("tivar", job.command(places.program))
            for picture in drawn:
                seconds = Course(job, picture, places, TIME_LIMIT).run(contestant)
                if number > 0:
                    runs[job.name, picture.width].append(seconds)
    for picture in drawn:
        for path in picture.files.values():
            path.unlink()
    seconds = {job.name: [median(runs[job.name, side]) for side in sides] for job in jobs}
    return Sizes([side * side / MEGAPIXEL for side in sides], seconds)


def throughput(program, megabytes, least_seconds):
    command = [
        program,
        f"--benchmark_filter=^ExportToMemory/MB:{megabytes}/",
        f"--benchmark_min_time={least_seconds}",
        "--benchmark_format=json",
    ]
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        raise Failure(f"{program.name} failed with exit code {run.returncode}")
    return json.loads(run.stdout)["benchmarks"][0]["bytes_per_second"]


def measure_memory(program, plan):
    megabytes = plan.megabytes
    first = {size: [] for size in megabytes}
    # A least time of 0 makes it one export a process.
    for _ in range(plan.processes):
        for size in megabytes:
            first[size].append(throughput(program, size, 0))
    repeated = [throughput(program, size, plan.least_seconds) for size in megabytes]
    return Memory(list(megabytes), [median(first[size]) for size in megabytes], repeated)
