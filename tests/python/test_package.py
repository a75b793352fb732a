"""The package as it is installed and built."""

import ast
import importlib.metadata
import inspect
import re
import subprocess
import sys
import tarfile
import typing
import zipfile
from pathlib import Path

import pytest
import tivar
from conftest import ROOT

SOURCE = ROOT / "python"
OLDEST = (3, 9)
RELEASE = re.search(r'TIVAR_RELEASE "(.*)"', (ROOT / "include/tivar/api.h").read_text())[1]
FILES = sorted(path.relative_to(SOURCE).as_posix() for path in SOURCE.rglob("*.py"))


@pytest.fixture(scope="session")
def backend():
    sys.path.insert(0, str(SOURCE / "backend"))
    try:
        import tivar_backend
    finally:
        sys.path.pop(0)
    return tivar_backend


def test_the_tests_see_the_installed_package():
    assert SOURCE not in Path(tivar.__file__).parents


def test_the_release_is_that_of_the_library():
    assert tivar.version() == tivar.__version__ == importlib.metadata.version("tivar") == RELEASE


def test_the_installed_files_are_those_of_the_tree():
    installed = Path(tivar.__file__).parent
    for path in [*SOURCE.glob("tivar/*.py"), SOURCE / "tivar/py.typed"]:
        assert (installed / path.name).read_bytes() == path.read_bytes()


@pytest.mark.parametrize("name", FILES)
def test_the_oldest_python_reads_the_sources(name):
    ast.parse((SOURCE / name).read_text(encoding="utf-8"), name, feature_version=OLDEST)


def test_the_sources_are_typed_and_so_are_calls_of_save(tmp_path):
    use = tmp_path / "use.py"
    use.write_text(
        "import tivar\n"
        "reveal_type(tivar.save(b'', size=(1, 1)))\n"
        "reveal_type(tivar.save(b'', 'out.bmp', size=(1, 1)))\n"
        "tivar.save(b'', bts=4)\n"
    )
    done = subprocess.run(
        ["mypy", "--cache-dir", "/dev/null", "tivar", use], cwd=SOURCE, capture_output=True, text=True
    )
    first, second, error, *_, last = done.stdout.splitlines()
    assert first.endswith('use.py:2: note: Revealed type is "builtins.bytes"')
    assert "use.py:3: note: Revealed type is" in second and "tivar._target.Report" in second
    assert 'use.py:4: error: No overload variant of "save" matches' in error
    assert last.startswith("Found 1 error in 1 file")


def test_the_typed_forms_of_save_have_its_arguments():
    tree = ast.parse(inspect.getsource(inspect.getmodule(tivar.save)))
    forms = [node for node in tree.body if isinstance(node, ast.FunctionDef) and node.name == "save"]
    assert len(forms) == 3
    keywords = [[(each.arg, ast.dump(each.annotation)) for each in form.args.kwonlyargs] for form in forms]
    assert keywords[0] == keywords[1] == keywords[2]


def test_help_tells_of_every_argument():
    text = inspect.getdoc(tivar.save)
    for name in inspect.signature(tivar.save).parameters:
        assert re.search(rf"\b{name}\b", text), name
    assert all(getattr(tivar, name).__doc__ for name in tivar.__all__)
    typing.get_type_hints(tivar.save)


# --- Building -------------------------------------------------------------------------------------


def test_the_backend_reads_its_table_as_toml_is_read(backend):
    tomllib = pytest.importorskip("tomllib")
    told = tomllib.loads((SOURCE / "pyproject.toml").read_text(encoding="utf-8"))["project"]
    assert backend.project() == told


def test_a_wheel_has_the_package_and_its_sums(backend, tmp_path):
    name = backend.build_wheel(str(tmp_path))
    assert name == f"tivar-{RELEASE}-py3-none-any.whl"
    with zipfile.ZipFile(tmp_path / name) as wheel:
        names = set(wheel.namelist())
        told = {line.split(",")[0] for line in wheel.read(f"tivar-{RELEASE}.dist-info/RECORD").decode().split()}
    assert told == names
    assert {f"tivar/{path.name}" for path in SOURCE.glob("tivar/*.py")} | {"tivar/py.typed"} <= names
    again = tmp_path / "again"
    again.mkdir()
    backend.build_wheel(str(again))
    assert (again / name).read_bytes() == (tmp_path / name).read_bytes()


def fresh(directory):
    """An environment of its own, which sees no package of the system's."""
    subprocess.run([sys.executable, "-m", "venv", "--without-pip", directory], check=True)
    return directory / "bin" / "python"


def install(python, what, *options):
    """By the pip of the system, without a network."""
    subprocess.run(
        ["/usr/bin/python3", "-m", "pip", "--python", python, "install", "--no-index", "-q"]
        + ["--disable-pip-version-check", *options, what],
        check=True,
    )


def version_in(python, directory):
    code = "import tivar; print(tivar.version(), tivar.__version__, tivar.__file__)"
    done = subprocess.run([python, "-c", code], cwd=directory, check=True, capture_output=True, text=True)
    return done.stdout.split()


def test_a_source_distribution_installs_in_a_fresh_environment(backend, tmp_path):
    """It knows the release without the library's header."""
    name = backend.build_sdist(str(tmp_path))
    with tarfile.open(tmp_path / name) as archive:
        assert f"tivar-{RELEASE}/PKG-INFO" in archive.getnames()
    python = fresh(tmp_path / "env")
    install(python, tmp_path / name)
    assert version_in(python, tmp_path)[:2] == [RELEASE, RELEASE]


def test_an_editable_installation_is_the_tree(tmp_path):
    python = fresh(tmp_path / "env")
    install(python, SOURCE, "--editable")
    version, own, place = version_in(python, tmp_path)
    assert (version, own) == (RELEASE, RELEASE)
    assert SOURCE in Path(place).parents
