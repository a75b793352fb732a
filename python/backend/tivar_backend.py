"""Builds the Python package: the hooks that pip and its like call (PEP 517 and 660).

It is pure Python without anything to compile, so a wheel is a zip of its files. The release is that
of the library, TIVAR_RELEASE in include/tivar/api.h; a source distribution carries it in PKG-INFO."""

from __future__ import annotations

import ast
import base64
import hashlib
import io
import re
import tarfile
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parents[1]
HEADER = HERE.parent / "include" / "tivar" / "api.h"
EARLIEST = (1980, 1, 1, 0, 0, 0)  # what a zip can tell: the same files make the same wheel
TAG = "py3-none-any"


def project() -> dict:
    """The table [project]. Python reads TOML by itself from 3.11 on only; the values of this table
    are lists and texts, which are written as Python's."""
    text = (HERE / "pyproject.toml").read_text(encoding="utf-8")
    table = re.search(r"^\[project\]\n(.*?)(?=^\[|\Z)", text, re.MULTILINE | re.DOTALL)
    entries = re.findall(r"^([\w-]+) = (.*?)(?=\n[\w-]+ = |\Z)", table[1], re.MULTILINE | re.DOTALL)
    return {key: ast.literal_eval(value) for key, value in entries}


def release() -> str:
    for place, pattern in (
        (HEADER, r'^#define TIVAR_RELEASE "([\d.]+)"'),
        (HERE / "PKG-INFO", r"^Version: ([\d.]+)"),
    ):
        if place.exists():
            found = re.search(pattern, place.read_text(encoding="utf-8"), re.MULTILINE)
            if found:
                return found[1]
    raise SystemExit("tivar: neither include/tivar/api.h nor PKG-INFO tells the release")


def metadata() -> str:
    told = project()
    lines = [
        "Metadata-Version: 2.1",
        f"Name: {told['name']}",
        f"Version: {release()}",
        f"Summary: {told['description']}",
        f"License: {told['license']}",
        f"Keywords: {','.join(told['keywords'])}",
        *(f"Classifier: {each}" for each in told["classifiers"]),
        f"Requires-Python: {told['requires-python']}",
        "Description-Content-Type: text/markdown",
    ]
    return "\n".join(lines) + "\n\n" + (HERE / told["readme"]).read_text(encoding="utf-8")


def licence() -> bytes:
    """A source distribution has its own copy."""
    own = HERE / "LICENSE"
    return (own if own.exists() else HERE.parent / "LICENSE").read_bytes()


def info_directory() -> str:
    return f"tivar-{release()}.dist-info"


def info_files() -> dict:
    info = info_directory()
    return {
        f"{info}/METADATA": metadata().encode(),
        f"{info}/WHEEL": (
            f"Wheel-Version: 1.0\nGenerator: tivar_backend\nRoot-Is-Purelib: true\nTag: {TAG}\n"
        ).encode(),
        f"{info}/LICENSE": licence(),
    }


def package_files() -> dict:
    found = sorted([*HERE.glob("tivar/*.py"), HERE / "tivar" / "py.typed"])
    return {path.relative_to(HERE).as_posix(): path.read_bytes() for path in found}


# ---- Wheels ----


def recorded(files: dict) -> dict:
    """The files, and the list of them with their sums."""
    lines = []
    for name, data in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        lines.append(f"{name},sha256={digest},{len(data)}\n")
    record = f"{info_directory()}/RECORD"
    return {**files, record: "".join([*lines, f"{record},,\n"]).encode()}


def write_wheel(directory: str, files: dict) -> str:
    name = f"tivar-{release()}-{TAG}.whl"
    with zipfile.ZipFile(Path(directory) / name, "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, data in recorded(files).items():
            entry = zipfile.ZipInfo(path, EARLIEST)
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            wheel.writestr(entry, data)
    return name


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    return write_wheel(wheel_directory, {**package_files(), **info_files()})


def build_editable(wheel_directory, config_settings=None, metadata_directory=None):
    return write_wheel(wheel_directory, {"tivar.pth": f"{HERE}\n".encode(), **info_files()})


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    for name, data in info_files().items():
        path = Path(metadata_directory) / name
        path.parent.mkdir(exist_ok=True)
        path.write_bytes(data)
    return info_directory()


prepare_metadata_for_build_editable = prepare_metadata_for_build_wheel


# ---- Source distributions ----


def build_sdist(sdist_directory, config_settings=None):
    root = f"tivar-{release()}"
    files = package_files()
    for name in ("pyproject.toml", "README.md", "backend/tivar_backend.py"):
        files[name] = (HERE / name).read_bytes()
    files["LICENSE"] = licence()
    files["PKG-INFO"] = metadata().encode()
    name = f"{root}.tar.gz"
    with tarfile.open(Path(sdist_directory) / name, "w:gz", format=tarfile.PAX_FORMAT) as archive:
        for path, data in files.items():
            entry = tarfile.TarInfo(f"{root}/{path}")
            entry.size, entry.mode = len(data), 0o644
            archive.addfile(entry, io.BytesIO(data))
    return name
