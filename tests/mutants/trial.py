"""Runs test programs that may do anything: write without end, loop for ever, take all memory."""

import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

MOST_MEMORY = 6 << 30
LARGEST_FILE = 5 << 30  # tests have files, with holes, of more than 2 GiB
NOBODY = 65534
QUICK_SECONDS = 0.3
LEAST_SECONDS = 3  # of the processor, beyond a few times what a test usually takes


@dataclass
class Test:
    name: str  # Suite.Name
    seconds: float


@dataclass
class Outcome:
    test: str  # the first that failed; empty when all passed
    how: str  # passed, failed, crashed, time


class Arena:
    """A directory to run in, gone afterwards. Whoever is root runs the programs as nobody."""

    def __init__(self) -> None:
        self.directory = Path(tempfile.mkdtemp(prefix="mutants-"))
        self.directory.chmod(0o711)
        self.as_root = os.geteuid() == 0

    def close(self) -> None:
        shutil.rmtree(self.directory, ignore_errors=True)

    def run(self, program: Path, arguments: list[str], seconds: float, wall: float) -> tuple[int | None, str]:
        """The exit status, None after too long a time, and what was printed."""
        own = Path(tempfile.mkdtemp(dir=self.directory))
        more = {}
        if self.as_root:
            os.chown(own, NOBODY, NOBODY)
            more = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        copy = self.directory / program.name  # where it may be run, whoever may not look into the tree
        shutil.copy(program, copy)
        limits = [f"--cpu={int(seconds) + 1}", f"--as={MOST_MEMORY}", f"--fsize={LARGEST_FILE}", "--core=0"]
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(own), "TMPDIR": str(own), "LC_ALL": "C.UTF-8"}
        status: int | None
        with tempfile.TemporaryFile() as output:
            process = subprocess.Popen(
                ["prlimit", *limits, "--", copy, *arguments],
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, cwd=own, env=environment,
                start_new_session=True, **more,
            )  # fmt: skip
            try:
                status = process.wait(wall)
            except subprocess.TimeoutExpired:
                status = None
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
            output.seek(max(output.seek(0, os.SEEK_END) - (1 << 20), 0))
            text = output.read().decode(errors="replace")
        shutil.rmtree(own, ignore_errors=True)
        if status is not None and -status in (signal.SIGXCPU, signal.SIGKILL):
            status = None
        return status, text

    def try_tests(self, program: Path, tests: list[Test]) -> Outcome:
        """Runs the tests up to the first that fails."""
        usual = sum(test.seconds for test in tests)
        names = ":".join(test.name for test in tests)
        arguments = ["--gtest_fail_fast", "--gtest_color=no", f"--gtest_filter={names}"]
        status, text = self.run(program, arguments, LEAST_SECONDS + 4 * usual, 120 + 40 * usual)
        if status == 0 and "[  PASSED  ]" in text:
            return Outcome("", "passed")
        failed = re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", text, re.MULTILINE)
        begun = re.findall(r"^\[ RUN      \] ([\w/]+\.[\w/]+)", text, re.MULTILINE)
        test = failed[0] if failed else begun[-1] if begun else "?"
        return Outcome(test, "failed" if failed else "time" if status is None else "crashed")


def read_tests(arena: Arena, program: Path) -> list[Test]:
    """The program's tests, with the time that each takes; all of them pass."""
    status, text = arena.run(program, ["--gtest_color=no"], 600, 3600)
    if status != 0:
        failed = re.findall(r"^\[  FAILED  \] [\w/]+\.[\w/]+", text, re.MULTILINE)
        raise RuntimeError(f"{program.name} fails before anything is changed: {', '.join(failed) or text[-500:]}")
    done = re.findall(r"^\[       OK \] ([\w/]+\.[\w/]+).*?\((\d+) ms\)$", text, re.MULTILINE)
    return [Test(name, int(milliseconds) / 1000) for name, milliseconds in done]


def known_tests(arena: Arena, program: Path, saved: Path, state: str) -> list[Test]:
    """read_tests, once for every state of the program."""
    known = json.loads(saved.read_text()) if saved.exists() else {}
    if known.get("state") != state:
        tests = read_tests(arena, program)
        known = {"state": state, "tests": [[test.name, test.seconds] for test in tests]}
        saved.write_text(json.dumps(known))
    return [Test(name, seconds) for name, seconds in known["tests"]]
