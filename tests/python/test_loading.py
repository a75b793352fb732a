"""How the library is found, and what is said when it is not."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest
import tivar
from tivar import _library


@pytest.fixture(scope="session")
def library():
    found = os.environ.get("TIVAR_LIBRARY")
    assert found, "TIVAR_LIBRARY names no library"
    return Path(found).resolve()


@pytest.fixture
def package(tmp_path):
    """A copy of the package, to put things beside."""
    copy = tmp_path / "site"
    shutil.copytree(Path(tivar.__file__).parent, copy / "tivar")
    return copy


def load(package, **environment):
    """The path of the library that the package loads, or what it says."""
    kept = {name: text for name, text in os.environ.items() if name != "TIVAR_LIBRARY"}
    code = "import tivar._library; print(tivar._library.library._name)"
    done = subprocess.run(
        [sys.executable, "-c", code],
        env={**kept, "PYTHONPATH": str(package), **{k: str(v) for k, v in environment.items()}},
        capture_output=True,
        text=True,
    )
    return done.stdout.strip() or done.stderr.splitlines()[-1]


def test_the_environment_says_where_first(package, library):
    (package / "tivar" / _library.NAME).write_bytes(b"not this one")
    assert load(package, TIVAR_LIBRARY=library) == str(library)


def test_a_library_beside_the_package_comes_second(package, library):
    beside = package / "tivar" / _library.NAME
    beside.symlink_to(library)
    assert load(package) == str(beside)


def test_the_places_of_the_system_come_last(package, library, tmp_path):
    (tmp_path / _library.NAME).symlink_to(library)
    assert load(package, LD_LIBRARY_PATH=tmp_path) == _library.NAME


@pytest.mark.parametrize("told", ["none.so", "text"])
def test_a_library_that_cannot_be_loaded_is_named(package, tmp_path, told):
    (tmp_path / "text").write_text("no library")
    said = load(package, TIVAR_LIBRARY=tmp_path / told)
    assert said.startswith(f"ImportError: tivar: cannot load the library {tmp_path / told}")
    assert said.endswith("TIVAR_LIBRARY must name that file")


def test_a_missing_library_says_what_to_do(package, monkeypatch):
    """Where the system has none; it is found by name alone, which nothing has."""
    file = package / "tivar" / "_library.py"
    file.write_text(file.read_text().replace('"libtivar.so.2"', '"libtivar-none.so.2"'))
    said = load(package)
    assert said.startswith("ImportError: tivar: cannot load the library libtivar-none.so.2 into this")
    assert said.endswith(
        "install libtivar2, or let the environment variable TIVAR_LIBRARY name libtivar-none.so.2"
    )


def test_a_library_without_the_interface_is_told_from_a_missing_one(package, tmp_path):
    (tmp_path / "old.c").write_text("int nothing;")
    old = tmp_path / "old.so"
    subprocess.run(["gcc", "-shared", tmp_path / "old.c", "-o", old], check=True)
    said = load(package, TIVAR_LIBRARY=old)
    assert said == (
        f"ImportError: tivar: the library {old} has no tivar_version; this package needs 2.1.0 or later"
    )
