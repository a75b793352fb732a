"""tivar as it was before the latest work on its speed, built from the history of this clone."""

import os
import subprocess

from comparison.failure import Failure

COMMIT = "1ee5cfa"


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)


def build(root):
    """(the program, "") or (None, why there is none); built once for all runs."""
    directory = root / "build" / f"before-{COMMIT}"
    program = directory / "build" / "tivar"
    if program.exists():
        return program, ""
    if run("git", "-C", root, "cat-file", "-e", f"{COMMIT}^{{commit}}").returncode != 0:
        return None, f"commit {COMMIT} is not in this clone"
    directory.mkdir(parents=True, exist_ok=True)
    archive = directory / "source.tar"
    parts = ("-DTIVAR_BUILD_TESTS=OFF", "-DCMAKE_BUILD_TYPE=Release")
    steps = [
        ("git", "-C", root, "archive", "-o", archive, COMMIT),
        ("tar", "-xf", archive, "-C", directory),
        ("cmake", "-S", directory, "-B", directory / "build", "-G", "Ninja", *parts),
        # The program comes last: where it is, all is.
        ("cmake", "--build", directory / "build", "--target", "tivar_shared"),
        ("cmake", "--build", directory / "build", "--target", "tivar", "-j", str(os.cpu_count())),
    ]
    for step in steps:
        done = run(*step)
        if done.returncode != 0:
            raise Failure(f"commit {COMMIT} cannot be built\n{done.stdout[-2000:]}")
    return program, ""
