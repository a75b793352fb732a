"""How many changes the tests that hold a promise notice, whoever was the first to: a part of the noticed ones is tried
on all of these tests."""

import re
import sys
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

from journal import NOTICED, Result

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "docs"))
import promise_table  # noqa: E402
from promise_table import Promise  # noqa: E402

SUITE = re.compile(r"^\s*(?:TYPED_)?TEST(?:_[FP])?\((\w+),", re.MULTILINE)


def suites_in(path: Path) -> set[str]:
    """Of a file of tests, or of all that a directory has."""
    files = sorted(path.glob("*_test.cpp")) if path.is_dir() else [path] if path.name.endswith("_test.cpp") else []
    return {suite for file in files for suite in SUITE.findall(file.read_text())}


def drawn(results: list[Result], number: int) -> list[Result]:
    """Some of those that were noticed, evenly."""
    noticed = [result for result in results if result.outcome == NOTICED]
    number = min(number, len(noticed))
    return [noticed[i * len(noticed) // number] for i in range(number)]


@dataclass
class Place:
    """What a promise is held by, as far as the tool can run it."""

    name: str
    program: str
    suites: set[str]

    def has(self, test: str) -> bool:
        return bool(self.suites & set(test.split(".")[0].split("/")))


def places_of(root: Path, promise: Promise, programs: set[str]) -> list[Place]:
    places = []
    for path in promise.places:
        program = f"{(path if path.is_dir() else path.parent).name}_test"
        suites = suites_in(path) if program in programs else set()
        if suites:
            places.append(Place(str(path.relative_to(root)), program, suites))
    return places


class Promises:
    """Those that tests of these programs hold."""

    def __init__(self, root: Path, programs: set[str]):
        self.root = root
        self.held = {p.title: places_of(root, p, programs) for p in promise_table.read(root)}
        self.held = {title: places for title, places in self.held.items() if places}

    def places(self, programs: list[str]) -> list[Place]:
        """Each once, of the programs that a change can be seen by, in their order."""
        every = {place.name: place for places in self.held.values() for place in places}
        return sorted((p for p in every.values() if p.program in programs), key=lambda p: programs.index(p.program))

    def asks(self, place: Place, names: set[str]) -> bool:
        """Whether a promise waits for what this place says, once those of that name have noticed."""
        return any(place in places and not any(p.name in names for p in places) for places in self.held.values())

    def figures(self, tried: list[tuple[list[str], set[str]]]) -> dict[str, str]:
        """From the programs that can see a change, and the names of the places that noticed it, for each change."""
        seen: Counter = Counter()
        noticed: Counter = Counter()
        for programs, names in tried:
            for title, places in self.held.items():
                seen[title] += any(place.program in programs for place in places)
                noticed[title] += any(place.name in names for place in places)
        return {title: f"{noticed[title]} of {seen[title]}" for title in self.held}


def section(figures: dict[str, str], number: int) -> list[str]:
    """Of summary.txt; promise_table reads it."""
    lines = [f"{promise_table.FIGURES}, of those in rooms that they use: {number} of the noticed were tried"]
    for title, figure in figures.items():
        noticed, seen = figure.split(" of ")
        lines.append(f"  {noticed:>4} of {seen:>3}  {title}")
    return lines
