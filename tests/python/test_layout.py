"""The records and numbers that the package spells out, held against the headers by a C compiler."""

import ctypes
import re
import subprocess

import pytest
from conftest import ROOT
from tivar import _filter_library, _library

INCLUDE = ROOT / "include"


def told_by_c(tmp_path, headers, expressions):
    """The values of C expressions."""
    lines = [f"#include <{name}>" for name in ("stdio.h", "stddef.h", *headers)]
    lines += ["int main(void) {"]
    lines += [f'    printf("%lld\\n", (long long)({each}));' for each in expressions]
    lines += ["    return 0;", "}"]
    (tmp_path / "ask.c").write_text("\n".join(lines))
    subprocess.run(
        ["gcc", "-std=c99", f"-I{INCLUDE}", "ask.c", "-o", "ask"], cwd=tmp_path, check=True
    )
    output = subprocess.run([tmp_path / "ask"], check=True, capture_output=True, text=True).stdout
    return [int(line) for line in output.split()]


def fields_in(header, record):
    """The names of a record's fields in the order of the header."""
    text = re.sub(r"/\*.*?\*/", "", (INCLUDE / "tivar" / header).read_text(), flags=re.DOTALL)
    body = re.search(rf"typedef struct {record} \{{(.*?)\}} {record};", text, re.DOTALL)[1]
    declared = [part.split()[-1] for part in body.replace("\n", " ").split(";") if part.strip()]
    return [re.sub(r"\[.*|\W", "", name) for name in declared]


def fields_of(record):
    return [name for name, _ in record._fields_]


WRITE = ["TivarPicture", "TivarOptions", "TivarReport", "TivarSink"]


@pytest.mark.parametrize("name", WRITE)
def test_records_of_the_direct_interface_are_those_of_the_header(tmp_path, name):
    record = getattr(_library, name.removeprefix("Tivar"))
    fields = fields_in("write.h", name)
    assert fields_of(record) == fields
    asked = [f"sizeof({name})"] + [f"offsetof({name}, {field})" for field in fields]
    asked += [f"sizeof((({name}*)0)->{field})" for field in fields]
    own = [ctypes.sizeof(record)] + [getattr(record, field).offset for field in fields]
    own += [getattr(record, field).size for field in fields]
    assert told_by_c(tmp_path, ["tivar/write.h"], asked) == own


@pytest.mark.parametrize("name", ["SetupRecord", "CellPicture", "PictureDescription"])
def test_records_of_the_filter_interface_are_those_of_the_headers(tmp_path, name):
    record = getattr(_filter_library, name)
    asked = [f"offsetof({name}, {field})" for field in fields_of(record)]
    asked += [f"sizeof((({name}*)0)->{field})" for field in fields_of(record)]
    own = [getattr(record, field).offset for field in fields_of(record)]
    own += [getattr(record, field).size for field in fields_of(record)]
    assert told_by_c(tmp_path, ["tivar/tivar.h"], asked) == own


ENUMERATIONS = {
    "TivarResult": ("TIVAR_RESULT_", _library.RESULTS, {"LIST_END"}),
    "TivarFormat": ("TIVAR_", _library.FORMATS, set()),
    "TivarHeader": ("TIVAR_HEADER_", _library.HEADERS, {"DEFAULT"}),
    "TivarEncoding": ("TIVAR_ENCODING_", _library.ENCODINGS, set()),
    "TivarMasks": ("TIVAR_MASKS_", _library.MASKS, set()),
    "TivarAlpha": ("TIVAR_ALPHA_", _library.ALPHAS, {"DEFAULT"}),
    "TivarColors": ("TIVAR_COLORS_", _library.COLORS, {"DEFAULT"}),
    "TivarDither": ("TIVAR_DITHER_", _library.DITHERS, {"DEFAULT"}),
    "TivarPictureFlags": ("TIVAR_", {"ROWS_IN_ORDER": _library.ROWS_IN_ORDER}, set()),
    "TivarRowOrder": ("TIVAR_", {"TOP_DOWN": _library.TOP_DOWN}, {"BOTTOM_UP"}),
    "TivarPaletteLength": ("TIVAR_PALETTE_", {"FULL": _library.PALETTE_FULL}, {"USED"}),
    "TivarFileFlags": (
        "TIVAR_FILE_",
        {"SYNC": _library.FILE_SYNC, "NEW": _library.FILE_NEW},
        set(),
    ),
}


def enumerations():
    text = re.sub(r"/\*.*?\*/", "", (INCLUDE / "tivar" / "write.h").read_text(), flags=re.DOTALL)
    for name, body in re.findall(r"enum (\w+) \{(.*?)\}", text, re.DOTALL):
        yield name, [part.split("=")[0].strip() for part in body.split(",") if part.strip()]


def test_every_enumeration_of_the_header_is_known():
    assert {name for name, _ in enumerations()} == set(ENUMERATIONS)


@pytest.mark.parametrize("name", ENUMERATIONS)
def test_words_stand_for_the_numbers_of_the_header(tmp_path, name):
    prefix, words, without = ENUMERATIONS[name]
    declared = dict(enumerations())[name]
    wanted = {prefix + word.upper() for word in words} | {prefix + word for word in without}
    assert set(declared) == wanted
    values = told_by_c(tmp_path, ["tivar/write.h"], [prefix + word.upper() for word in words])
    assert values == list(words.values())


def test_codes_of_the_filter_interface_are_those_of_the_headers(tmp_path):
    asked = {
        "COLOR_FORMAT_1BIT": _filter_library.COLOR_FORMATS[1],
        "COLOR_FORMAT_4BIT": _filter_library.COLOR_FORMATS[4],
        "COLOR_FORMAT_8BIT": _filter_library.COLOR_FORMATS[8],
        "COLOR_FORMAT_24BIT": _filter_library.COLOR_FORMATS[24],
        "FILE_TYPE_WINDOWS": _filter_library.FILE_TYPES["windows"],
        "FILE_TYPE_OS2": _filter_library.FILE_TYPES["os2"],
        "COMPRESSION_RLE": _filter_library.COMPRESSION_RLE,
        "COMPRESSION_NONE": _filter_library.COMPRESSION_NONE,
        "EXPORT_SETUP": _filter_library.EXPORT_SETUP,
        "EXPORT_STATUS": _filter_library.EXPORT_STATUS,
        "STATUS_MEMORY": _filter_library.STATUS_MEMORY,
    }
    assert told_by_c(tmp_path, ["tivar/tivar.h"], list(asked)) == list(asked.values())


def test_every_option_is_an_argument_of_save():
    """Each field of the record has an argument that fills it, or is the call's own business."""
    import inspect

    import tivar

    renamed = {
        "row_order": "top_down",
        "palette_length": "full_palette",
        "x_per_meter": "dpi",
        "y_per_meter": "dpi",
        "colors": "palette",
        "max_colors": "colors",
        "palette_count": "palette",
    }
    arguments = inspect.signature(tivar.save).parameters
    for field in fields_of(_library.Options):
        if field not in ("size", "context"):
            assert renamed.get(field, field) in arguments
