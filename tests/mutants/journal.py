"""What became of each mutant: kept from run to run, told, and summed up."""

import json
import threading
from collections import Counter, defaultdict
from dataclasses import asdict, dataclass
from pathlib import Path

from mutations import Mutant

NOTICED, SURVIVED, INVALID = "noticed", "survived", "does not build"
EQUIVALENT = "equivalent"
PENDING = "pending"  # not noticed by the quick tests of its room
FLOOR = 97.0


@dataclass
class Result:
    key: str
    kind: str
    state: str  # of the source file
    outcome: str
    program: str = ""
    test: str = ""
    how: str = ""
    programs: str = ""  # of a survivor: the state of the test programs


class Journal:
    """The results by key and state of the source, one a line; the last one counts."""

    def __init__(self, path: Path):
        self.path, self.lock = path, threading.Lock()
        self.results: dict[tuple[str, str, str], Result] = {}
        if path.exists():
            for line in path.read_text().splitlines():
                try:
                    result = Result(**json.loads(line))
                except (json.JSONDecodeError, TypeError):
                    continue  # cut off
                self.results[result.key, result.kind, result.state] = result

    def find(self, mutant: Mutant, state: str) -> Result | None:
        return self.results.get((mutant.key, mutant.kind, state))

    def add(self, result: Result) -> None:
        with self.lock:
            self.results[result.key, result.kind, result.state] = result
            with self.path.open("a") as file:
                file.write(json.dumps(asdict(result)) + "\n")


def read_equivalents(path: Path) -> dict[str, str]:
    """The reason for each key: a line with the reason, then the mutants that it is for, indented."""
    reasons: dict[str, str] = {}
    reason = ""
    for line in path.read_text().splitlines() if path.exists() else []:
        if not line or line.startswith("#"):
            continue
        if not line.startswith(" "):
            reason = line
            continue
        reasons[line.strip()] = reason
    return reasons


class Figures:
    """The sums over a sample."""

    def __init__(self, results: list[Result], equivalents: dict[str, str]):
        self.rooms: dict[str, Counter] = defaultdict(Counter)
        self.programs: Counter = Counter()
        self.tests: Counter = Counter()
        self.hows: Counter = Counter()
        self.kinds: dict[str, Counter] = defaultdict(Counter)
        self.survivors: list[Result] = []
        self.mistaken: list[Result] = []
        for result in results:
            listed = result.key in equivalents
            if result.outcome == NOTICED:
                outcome = NOTICED
                self.add_noticed(result)
                if listed:
                    self.mistaken.append(result)
            elif listed:
                outcome = EQUIVALENT
            else:
                outcome = SURVIVED
                self.survivors.append(result)
            room = result.key.split(": ")[0].split("/")[1]
            for count in (self.rooms[room], self.rooms["all"], self.kinds[result.kind]):
                count["mutants"] += 1
                count[outcome] += 1

    def add_noticed(self, result: Result) -> None:
        self.programs[result.program] += 1
        self.tests[f"{result.program.removesuffix('_test')}: {result.test}"] += 1
        self.hows[result.how] += 1

    @property
    def rate(self) -> float:
        return rate(self.rooms["all"])

    def lines(self) -> list[str]:
        result = table("room", {**{r: self.rooms[r] for r in sorted(self.rooms) if r != "all"}, "all": self.rooms["all"]})
        result += ["", *table("change", {k: self.kinds[k] for k in sorted(self.kinds)})]
        result += ["", "noticed first by", *(f"  {n:4}  {program}" for program, n in self.programs.most_common())]
        result += ["", "noticed as", *(f"  {n:4}  {HOWS.get(how, how)}" for how, n in self.hows.most_common())]
        return result

    def suites(self) -> list[str]:
        suites: Counter = Counter()
        for test, n in self.tests.items():
            suites[test.split(".")[0]] += n
        return [f"  {n:4}  {suite}" for suite, n in sorted(suites.items(), key=lambda s: (-s[1], s[0]))]


HOWS = {
    "failed": "a test that failed",
    "crashed": "a test program that ended before its time",
    "time": "a test that came to no end, or took all memory",
}


def rate(count: Counter) -> float:
    return 100.0 * count[NOTICED] / max(count["mutants"] - count[EQUIVALENT], 1)


def table(title: str, rows: dict[str, Counter]) -> list[str]:
    lines = [f"{title:20} {'mutants':>8} {'noticed':>8} {'equivalent':>11} {'survivors':>10} {'rate':>8}"]
    for name, count in rows.items():
        lines.append(
            f"{name:20} {count['mutants']:8} {count[NOTICED]:8} {count[EQUIVALENT]:11} {count[SURVIVED]:10} {rate(count):6.1f} %"
        )
    return lines
