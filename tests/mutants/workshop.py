"""Builds test programs with one change in the sources: what has the change in it is compiled anew, in a tree of the
worker's own, and linked with the other objects of a build that is there."""

import contextlib
import json
import os
import shlex
import shutil
import subprocess
from collections import defaultdict
from dataclasses import dataclass
from pathlib import Path

from mutations import Mutant

COMPILE_SECONDS = 300
KEEP_INLINE = ["-fno-inline", "-fkeep-inline-functions"]


class DoesNotBuild(Exception):
    """The compiler refuses the change."""


@dataclass
class Unit:
    source: str  # below the root; of a test the whole path
    object: str  # below the build directory
    command: list[str]  # the compiler and its arguments, without source and object


class Build:
    """A build directory of Ninja's, and what it knows: the library's units, test programs and their units, who includes
    what."""

    def __init__(self, root: Path, directory: Path, archive: str):
        self.root, self.directory, self.archive = root, directory, archive
        self.units: dict[str, Unit] = {}
        self.by_object: dict[str, Unit] = {}  # those of tests, too
        for entry in json.loads((directory / "compile_commands.json").read_text()):
            self.add_unit(Path(entry["file"]), shlex.split(entry["command"]))
        self.includers: dict[str, list[str]] = defaultdict(list)
        self.tests_including: dict[str, set[str]] = defaultdict(set)  # their objects
        self.read_includers()
        self.links: dict[str, list[str]] = {}

    def add_unit(self, source: Path, command: list[str]) -> None:
        if "-o" not in command:
            return
        if Path(command[0]).name == "ccache":
            command = command[1:]
        place = command.index("-o")
        output = command[place + 1]
        command = [word for i, word in enumerate(command) if i not in (place, place + 1) and word not in ("-c", str(source))]
        of_library = source.is_relative_to(self.root / "src")
        unit = Unit(str(source.relative_to(self.root)) if of_library else str(source), output, command)
        self.by_object[output] = unit
        if of_library:
            self.units[unit.source] = unit

    def clang_arguments(self) -> dict[str, list[str]]:
        kept = ("-I", "-D", "-f", "-std")
        return {name: [w for w in unit.command if w.startswith(kept)] + ["-w"] for name, unit in self.units.items()}

    def read_includers(self) -> None:
        lines = subprocess.run(["ninja", "-C", self.directory, "-t", "deps"], check=True, capture_output=True, text=True)
        unit = None
        for line in lines.stdout.splitlines():
            if line and not line.startswith(" "):
                unit = self.by_object.get(line.split(":")[0])
            elif unit and line.startswith("    "):
                path = Path(os.path.normpath(self.directory / line.strip()))
                if path.is_relative_to(self.root / "src"):
                    self.add_includer(str(path.relative_to(self.root)), unit)

    def add_includer(self, file: str, unit: Unit) -> None:
        if unit.source in self.units:
            self.includers[file].append(unit.source)
        else:
            self.tests_including[file].add(unit.object)

    def program(self, name: str) -> Path:
        return self.directory / "tests" / name

    def link_command(self, name: str) -> list[str]:
        if name not in self.links:
            arguments = ["ninja", "-C", self.directory, "-t", "commands", f"tests/{name}"]
            lines = subprocess.run(arguments, check=True, capture_output=True, text=True).stdout.splitlines()
            self.links[name] = [word for word in shlex.split(lines[-1]) if word not in (":", "&&")]
        return self.links[name]


class Workshop:
    """The tree of one worker."""

    def __init__(self, build: Build, directory: Path):
        self.build, self.directory = build, directory
        shutil.rmtree(directory, ignore_errors=True)
        for part in ("src", "include"):
            if (build.root / part).exists():
                shutil.copytree(build.root / part, directory / part)
        (directory / "objects").mkdir()
        (directory / "programs").mkdir()
        self.changed: dict[str, Path] = {}  # the units that were compiled, their objects
        self.changed_tests: dict[str, Path] = {}  # the same by the object that each stands for
        self.made: dict[str, Path] = {}

    def apply(self, mutant: Mutant, tests_of: str = "") -> None:
        """Compiles the units with the change in them. With the name of a test program that is the header's own, its tests
        that include the header, too: they may be the only ones to have a template in that form. The header's functions
        are then in all objects whether the units call them or not, for tests that do."""
        original = (self.build.root / mutant.file).read_bytes()
        changed = original[: mutant.start] + mutant.new.encode() + original[mutant.end :]
        self.changed, self.changed_tests, self.made = {}, {}, {}
        if not self.build.includers[mutant.file]:
            raise RuntimeError(f"no unit of the library has {mutant.file}")
        (self.directory / mutant.file).write_bytes(changed)
        try:
            for unit in sorted(set(self.build.includers[mutant.file])):
                self.changed[unit] = self.compile(self.build.units[unit], KEEP_INLINE if tests_of else [])
            if tests_of:
                self.compile_tests(mutant.file, tests_of)
        finally:
            (self.directory / mutant.file).write_bytes(original)

    def compile_tests(self, file: str, program: str) -> None:
        for name in set(self.build.link_command(program)) & self.build.tests_including[file]:
            with contextlib.suppress(DoesNotBuild):  # the test then stays as it is
                self.changed_tests[name] = self.compile(self.build.by_object[name], [])

    def compile(self, unit: Unit, more: list[str]) -> Path:
        output = self.directory / "objects" / unit.object.replace("/", "-")
        root = str(self.build.root)
        own = [word.replace(f"{root}/src", f"{self.directory}/src") for word in unit.command]
        own = [word.replace(f"{root}/include", f"{self.directory}/include") for word in own]
        own += [*more, "-w", "-o", str(output), "-c", str(self.directory / unit.source)]
        try:
            done = subprocess.run(own, cwd=self.build.directory, capture_output=True, timeout=COMPILE_SECONDS, check=False)
        except subprocess.TimeoutExpired:
            raise DoesNotBuild("no end") from None
        if done.returncode != 0:
            raise DoesNotBuild(done.stderr.decode(errors="replace")[:300])
        return output

    def program(self, name: str) -> Path:
        """The test program with the change. Changed objects come first, so that inline functions are theirs."""
        if name in self.made:
            return self.made[name]
        command = [str(self.changed_tests.get(word, word)) for word in self.build.link_command(name)]
        output = self.directory / "programs" / name
        command[command.index("-o") + 1] = str(output)
        objects = [str(path) for path in self.changed.values()]
        others = [u.object for u in self.build.units.values() if u.source not in self.changed]
        place = command.index(self.build.archive)
        command[place : place + 1] = others
        command[1:1] = ["-fuse-ld=gold", *objects]
        output.unlink(missing_ok=True)
        done = subprocess.run(command, cwd=self.build.directory, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            if "undefined reference" in done.stderr:
                raise DoesNotBuild(done.stderr[:300])
            raise RuntimeError(f"{name} cannot be linked: {done.stderr[:2000]}")
        os.chmod(output, 0o755)
        self.made[name] = output
        return output
