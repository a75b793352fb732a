"""Where tivar's time goes, by the function, as perf sees it."""

import re
import shutil
import subprocess
from collections import Counter

from comparison.rounds import fill_in

FREQUENCY = 15000
SHOWN = 5
LEAST = 2.0  # per cent
RECORDINGS = 3
LINE = re.compile(r"\s*([\d.]+)%\s+(\S+)\s+\[(.)\]\s+(.*\S)")


def plain_name(symbol):
    """A function's own name, without its namespaces and arguments."""
    symbol = symbol.replace("(anonymous namespace)::", "")
    return re.sub(r"\(.*|@.*", "", symbol).split("::")[-1]


def place_of(module, kind, symbol):
    if kind == "k":
        return "the kernel"
    if module.startswith("ld-linux"):
        return "loading of the libraries"
    if module.startswith("libc."):
        return "the C library"
    return f"`{plain_name(symbol)}`"


def of(job, picture, places):
    """[(place, per cent)], the greatest first; empty where perf is not to be had."""
    perf = shutil.which("perf")
    if perf is None:
        return []
    data = places.scratch / "perf.data"
    target = places.scratch / "out.bmp"
    command = fill_in(job.command(places.program), picture.files[job.source], target, places)
    shares = Counter()
    for _ in range(RECORDINGS):
        recording = [perf, "record", "-q", "-F", str(FREQUENCY), "-o", data, "--", *command]
        if subprocess.run(recording, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode != 0:
            return []
        for place, share in report(perf, data):
            shares[place] += share / RECORDINGS
        target.unlink(missing_ok=True)
    return [(place, share) for place, share in shares.most_common(SHOWN) if share >= LEAST]


def report(perf, data):
    command = [perf, "report", "-i", data, "--stdio", "--no-children", "-F", "overhead,dso,symbol"]
    text = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    for line in text.splitlines():
        found = LINE.match(line)
        if found:
            share, module, kind, symbol = found.groups()
            yield place_of(module, kind, symbol), float(share)
