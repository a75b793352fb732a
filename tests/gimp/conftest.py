"""Fixtures of the plug-in's tests.

Environment: TIVAR_BIN (the command-line host, whose files the plug-in's are compared with),
TIVAR_PLUG_INS (the directory in which the plug-in's own lies)."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).parents[1] / "cli"))  # drawing, icc

import batch  # noqa: E402


class Gimp:
    """What GIMP did."""

    def __init__(self, directory, reports, killed):
        self.directory = directory
        self.reports = reports
        self.killed = killed

    def file(self, job):
        """The bytes of an export that must succeed."""
        assert self.reports[job.number] == "done"
        return (self.directory / job.target).read_bytes()

    def error(self, job):
        """The words of an export that must fail."""
        words = self.reports[job.number]
        assert words != "done"
        return words


@pytest.fixture(scope="session")
def gimp(tmp_path_factory):
    directory = tmp_path_factory.mktemp("gimp")
    return Gimp(directory, *batch.run(directory, Path(os.environ["TIVAR_PLUG_INS"]).resolve()))


@pytest.fixture(scope="session")
def command_line(gimp):
    """What the command line makes of the picture of a job."""
    program = str(Path(os.environ["TIVAR_BIN"]).resolve())

    def export(job, *options):
        target = gimp.directory / "wanted.bmp"
        command = [program, "export", "--route", "direct", "--quiet", gimp.directory / job.source]
        subprocess.run([*command, "-o", target, *map(str, options)], check=True)
        wanted = target.read_bytes()
        target.unlink()
        return wanted

    return export
