"""Runs the contestants of a job in turn, round after round, and compares them within each round: what
disturbs the machine for a while disturbs neighbours alike, so ratios hold still where times do not."""

import contextlib
import os
import signal
import subprocess
import threading
import time
from dataclasses import dataclass, field
from pathlib import Path
from statistics import median

from comparison import bmp
from comparison.failure import Failure
from comparison.jobs import BEFORE, FASTEST, Job

# A peer as slow as this cannot be the fastest one; a few rounds place it well enough.
SLOW_SECONDS = 5
SLOW_FACTOR = 20
SLOW_ROUNDS = 2
# Of one that takes as long as this the warm-up is the run that counts.
ENDLESS_SECONDS = 30

KILOBYTE = 1024


@dataclass
class Contestant:
    name: str
    command: object = None
    bits: int = 0
    note: str = ""
    yardstick: bool = False
    rival: bool = True
    problem: str = ""  # why it does not take part
    seconds: list = field(default_factory=list)
    warm_up: float = 0
    peak_bytes: int = 0

    @property
    def takes_part(self):
        return not self.problem


@dataclass
class Verdict:
    against: str
    ratio: float
    limit: float

    @property
    def met(self):
        return self.ratio <= self.limit


@dataclass
class Outcome:
    job: Job
    tivar: Contestant
    peers: list
    decoded_bytes: int

    def ratio(self, peer):
        """tivar's time over the peer's: the median of the rounds that both ran in."""
        if is_endless(peer):
            return median(self.tivar.seconds) / peer.warm_up
        return median(own / other for own, other in zip(self.tivar.seconds, peer.seconds))

    def fastest(self):
        racing = [peer for peer in self.peers if peer.takes_part and peer.rival]
        return max(racing, key=self.ratio, default=None)

    def memory_multiple(self, contestant):
        return contestant.peak_bytes / self.decoded_bytes

    def verdicts(self):
        for goal in self.job.goals:
            named = [peer for peer in self.peers if peer.name == goal.against and peer.takes_part]
            peer = self.fastest() if goal.against == FASTEST else named[0] if named else None
            yield goal, peer, Verdict(peer.name, self.ratio(peer), goal.limit) if peer else None

    def memory_verdict(self):
        job = self.job
        reached = self.tivar.peak_bytes / 1e6 if job.memory_in_megabytes else self.memory_multiple(self.tivar)
        return Verdict("decoded picture", reached, job.memory_limit)


def fill_in(command, source, target, places):
    values = {"source": source, "png": source.with_suffix(".png"), "target": target}
    values |= {"scratch": places.scratch, "before": places.before}
    if isinstance(command, str):
        return ["/bin/sh", "-c", command.format(**values)]
    return [str(part).format(**values) for part in command]


def stop_group(process):
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)


def run_once(command, scratch, limit):
    """Wall time of one process from its start to its end; Failure with what it said when it fails or
    takes more than limit seconds."""
    said = scratch / "stderr.txt"
    with said.open("wb") as errors:
        start = time.perf_counter()
        process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors, start_new_session=True
        )
        # A wait with a limit would poll, and see the end late.
        watch = threading.Timer(limit, stop_group, [process])
        watch.start()
        try:
            code = process.wait()
        finally:
            seconds = time.perf_counter() - start
            watch.cancel()
            if process.returncode is None:
                stop_group(process)
    if seconds >= limit:
        raise Failure(f"took longer than {limit} s")
    if code != 0:
        lines = said.read_text(errors="replace").strip().splitlines()
        ended = f"was ended by signal {-code}" if code < 0 else f"failed with exit code {code}"
        raise Failure(ended + (f": {lines[0]}" if lines else ""))
    return seconds


class Course:
    """Runs contestants of one job over one picture."""

    def __init__(self, job, picture, places, limit):
        self.job = job
        self.picture = picture
        self.places = places
        self.limit = limit
        self.source = picture.files[job.source]
        self.target = places.scratch / "out.bmp"

    def run(self, contestant, prefix=()):
        # A new file for everybody: to overwrite one costs more.
        self.target.unlink(missing_ok=True)
        command = fill_in(contestant.command, self.source, self.target, self.places)
        seconds = run_once([*prefix, *command], self.places.scratch, self.limit)
        if not contestant.yardstick:
            self.check(contestant)
        return seconds

    def check(self, contestant):
        bits = contestant.bits or self.job.bits
        width, height = self.job.size or (self.picture.width, self.picture.height)
        problem = bmp.problem_of(self.target, width, height, bits, self.job.compression)
        if problem:
            raise Failure(problem)

    def warm_up(self, contestant):
        """A first run, which does not count. time(1) tells its peak memory: of the largest process
        where there are several. Asked of this process the kernel would add this process's own."""
        peak = self.places.scratch / "peak.txt"
        contestant.warm_up = self.run(contestant, ["/usr/bin/time", "-f", "%M", "-o", peak])
        contestant.peak_bytes = int(peak.read_text().split()[-1]) * KILOBYTE
        if is_endless(contestant):
            contestant.seconds.append(contestant.warm_up)


def contestants_of(job, places, versions):
    tivar = Contestant("tivar", job.command(places.program))
    peers = []
    for peer in job.peers:
        contestant = Contestant(peer.tool, peer.command, peer.bits, peer.note, peer.yardstick, peer.rival)
        if peer.command is None:
            contestant.problem = peer.note
        elif peer.tool == BEFORE:
            contestant.problem = "" if places.before else places.no_before
        elif versions[peer.tool] is None:
            contestant.problem = "not installed"
        peers.append(contestant)
    return tivar, peers


def attempt(action, contestant):
    try:
        return action(contestant)
    except Failure as failure:
        if contestant.name == "tivar":
            raise Failure(f"tivar {failure}") from None
        contestant.problem = str(failure)
        return None


def compare_job(job, picture, places, plan, versions):
    if not Path("/usr/bin/time").exists():
        raise Failure("/usr/bin/time is missing; install the package time")
    course = Course(job, picture, places, plan.time_limit)
    tivar, peers = contestants_of(job, places, versions)
    everybody = [one for one in [tivar, *peers] if one.takes_part]
    for contestant in everybody:
        attempt(course.warm_up, contestant)
    for number in range(plan.rounds):
        run_round(course, tivar, everybody, number)
    course.target.unlink(missing_ok=True)
    return Outcome(job, tivar, peers, picture.decoded_bytes(job.source))


def is_endless(contestant):
    return contestant.warm_up > ENDLESS_SECONDS


def is_slow(contestant, tivar):
    return contestant.warm_up > max(SLOW_SECONDS, SLOW_FACTOR * tivar.warm_up)


def run_round(course, tivar, everybody, number):
    """Everybody once, in an order that turns with the rounds: nobody always comes after the same one."""
    turn = number % len(everybody)
    for contestant in everybody[turn:] + everybody[:turn]:
        sits_out = is_endless(contestant) or (number >= SLOW_ROUNDS and is_slow(contestant, tivar))
        if not contestant.takes_part or sits_out:
            continue
        seconds = attempt(course.run, contestant)
        if seconds is not None:
            contestant.seconds.append(seconds)

