#!/usr/bin/python3
"""Writes the seed corpora, corpus/<target>/<name>: small inputs that lead the fuzzers to the main
paths. A seed is put together in the order in which the target takes it apart."""

import pathlib
import random
import re
import struct
import sys

HERE = pathlib.Path(__file__).parent
CORPUS = HERE / "corpus"
sys.path.insert(0, str(HERE.parent / "tests" / "cli"))

import bmp_kinds


class Seed:
    """The inverse of the targets' input: each call adds what one call there takes."""

    def __init__(self):
        self.data = b""

    def u8(self, *values):
        self.data += bytes(value & 0xFF for value in values)
        return self

    def u16(self, *values):
        for value in values:
            self.data += struct.pack("<H", value & 0xFFFF)
        return self

    def u32(self, *values):
        for value in values:
            self.data += struct.pack("<I", value & 0xFFFFFFFF)
        return self

    def one_in(self, count, yes=False):
        return self.u8(count - 1 if yes else 0)

    def number(self, value):
        """Multiples of 1/64, small whole numbers shortest."""
        if value == int(value) and 0 <= value < 256:
            return self.u8(0, int(value))
        return self.u8(4).u16(round(value * 64))

    def wild(self, value):
        if 0 <= value < 256:
            return self.u8(0, value)
        return self.u8(6).u32(value)

    def text(self, text):
        encoded = text.encode("latin-1")
        return self.u8(len(encoded)).raw(encoded)

    def raw(self, data):
        self.data += data
        return self

    def add(self, other):
        return self.raw(other.data)


FROM_INPUT, NOISE, RUNS, FEW, GREYS, NEAR_GREYS = range(6)


def drawing(style=NOISE, seed=0x1234):
    """Bytes of a style; their number is the target's business."""
    if style == FROM_INPUT:
        return Seed().u8(style, 2).u8(0x12, 0xA5, seed & 0xFF)
    return Seed().u8(style).u16(seed)


FORMATS = {8: 0, 24: 1, 4: 2, 1: 3}  # places in the list of colour formats
ANY_DEPTHS = {24: 0, 8: 1, 4: 2, 1: 3, 32: 4, 2: 7, 16: 8, 0: 9, 7: 10}
SOUND_DEPTHS = {24: 0, 8: 1, 4: 2, 1: 3}


def settings(bits, encoded=False, os2=False, sane=False, page=None):
    seed = Seed().u8(FORMATS[bits]).one_in(2, encoded).one_in(3, os2)
    if sane:
        return seed
    seed.u8(0, 0)  # size as given, resolution of the caller
    if page is None:
        return seed.one_in(2, True)
    seed.one_in(2).number(page[0]).number(page[1])
    return seed.one_in(4).u8(page[2]).one_in(4).u8(page[3])


def picture(bits, width, height, style=NOISE, table=True, short=None):
    """A picture of any depth, with blocks that may be too short."""
    seed = Seed().one_in(64).u8(ANY_DEPTHS[bits])
    for side in (width, height):
        seed.one_in(32).u8(side)
    seed.one_in(64)
    seed.one_in(2 if bits > 8 else 16, not table)
    seed.add(drawing(style))
    seed.one_in(8, short is not None)
    if short is not None:
        seed.u16(short)
    return seed.add(drawing(NOISE, 0x77)).one_in(8)


def sound_picture(bits, width, height, style=NOISE):
    seed = Seed().u8(SOUND_DEPTHS[bits], width - 1, height - 1).add(drawing(style))
    return seed.add(drawing(NOISE, 0x77))


def description(size=None, sane=False):
    """None: the picture's own size."""
    seed = Seed().one_in(2, size is None)
    if size is None:
        return seed
    if not sane:
        seed.one_in(2, True)
    return seed.u8(size[0] - 1, size[1] - 1)


def offered(resolution, width, height):
    """A size at a resolution, and a display that says nothing."""
    seed = Seed().one_in(2).one_in(2).one_in(4).u8(resolution)
    return seed.wild(width).wild(height).one_in(2, True)


# --- The host that misbehaves ---------------------------------------------------------------------


def names_of(file, macro):
    """The acts of a table of tests/host, in its order."""
    text = (HERE.parent / "tests" / "host" / file).read_text().replace("#define", "#")
    return re.findall(rf'^ +TIVAR_(?:{macro})\(\s*"?([^",)]+)', text, re.MULTILINE)


SYMBOLS = names_of("symbols.cpp", "ACT|DATA")
CHANGES = names_of("edits.cpp", "EDIT")


def act(name, *values):
    """A call or a change, with the bytes that it takes."""
    table = CHANGES if name in CHANGES else SYMBOLS
    return Seed().one_in(2, table is CHANGES).u8(table.index(name), *values)


def call_back(*acts, answers=True):
    """All but progress reports are answered with a byte."""
    seed = Seed().u8(len(acts))
    for each in acts:
        seed.add(each)
    return seed.u8(0) if answers else seed


def pass_by(power):
    """So many call-backs without an act, as a power of 2; the last one is answered."""
    return Seed().u8(240, power, 0)


def misbehaving(*call_backs):
    """The usual things of the host, and what it does."""
    seed = Seed().one_in(2)
    for each in call_backs:
        seed.add(each)
    return seed


MEMORY, FILE, DOCUMENT, NOWHERE, FULL, MISSING, UNOPENABLE = 0, 1, 2, 4, 5, 6, 7


def filter_plan(target, chosen, source, wanted, failing=0, cancels=False, room=None):
    seed = Seed().u8(target).one_in(64).one_in(4, failing > 0)
    if failing:
        seed.u8(failing)
    seed.one_in(8, cancels).one_in(4).one_in(16).one_in(8, room is not None)
    if room is not None:
        seed.u16(room)
    return seed.add(chosen).add(source).add(wanted)


def filter_route():
    yield "raw-8-memory", filter_plan(MEMORY, settings(8), picture(8, 20, 12), description())
    yield "median-cut-file", filter_plan(FILE, settings(8), picture(24, 30, 20), description())
    yield "dither-4-document", filter_plan(
        DOCUMENT, settings(4, encoded=True), picture(24, 33, 17), description())
    yield "dither-1-os2", filter_plan(
        MEMORY, settings(1, os2=True), picture(24, 40, 10, GREYS), description())
    yield "encoded-8-os2", filter_plan(
        FILE, settings(8, encoded=True, os2=True), picture(8, 60, 9, RUNS), description())
    yield "swapped-24", filter_plan(MEMORY, settings(24), picture(24, 19, 11), description())
    yield "upward-1-to-24", filter_plan(
        MEMORY, settings(24), picture(1, 17, 8), description())
    yield "shrunk-and-converted", filter_plan(
        MEMORY, settings(4), picture(8, 40, 40), description((13, 11)))
    yield "stretched", filter_plan(
        MEMORY, settings(8), picture(4, 10, 10), description((37, 23)))
    yield "page-of-the-settings", filter_plan(
        MEMORY, settings(8, page=(1, 0.5, 60, 50)), picture(8, 12, 9), offered(0, 4, 3))
    yield "short-block", filter_plan(
        MEMORY, settings(8), picture(24, 20, 20, short=300), description())
    yield "depth-32", filter_plan(FILE, settings(8), picture(32, 9, 9), description())
    yield "no-memory", filter_plan(
        MEMORY, settings(4), picture(24, 16, 16), description(), failing=7)
    yield "cancelled", filter_plan(
        DOCUMENT, settings(24), picture(24, 16, 16), description(), cancels=True)
    yield "full-disk", filter_plan(FULL, settings(24), picture(24, 60, 60), description())
    begun = call_back()
    for name, target, call_backs in (
            ("settings-ended-while-opening", DOCUMENT, [call_back(act("DestroySetup", 0))]),
            ("format-changed-at-a-report", MEMORY, [call_back(act("setup.colorFormat", 0, 0, 1), answers=False)]),
            ("pixels-freed-while-writing", DOCUMENT, [begun, call_back(act("a block's end", 4))]),
            ("encoding-changed-late", DOCUMENT,
             [begun, pass_by(9), call_back(act("setup.compressionMode", 0, 1))]),
            ("document-taken-away", DOCUMENT, [begun, call_back(act("setup.documentStream", 0, 1))]),
            ("another-export-inside", DOCUMENT,
             [begun, call_back(act("ExportCellData", 1, 1, 1).add(begun).add(begun))])):
        yield name, filter_plan(target, settings(8), picture(24, 20, 12), description()).one_in(
            4, True).add(misbehaving(*call_backs))


# --- Driver ---------------------------------------------------------------------------------------

IN_ORDER, CELLS, PRIMITIVE, SET = 6, 14, 22, 26


def driver_host(target, bits, encoded=False, os2=False, color_mode=2, pattern=None, reply=None, disturbed=None):
    seed = Seed().u8(0 if disturbed is None else 7 * 8)  # no allocation fails
    if disturbed is not None:
        seed.u8(len(disturbed.data)).add(disturbed)
    seed.one_in(4).add(settings(bits, encoded, os2, sane=True))
    seed.one_in(32).u8(target).u8(color_mode).one_in(4, pattern is not None)
    if pattern is not None:
        seed.u32(pattern)
    seed.one_in(4).one_in(4, reply is not None)
    if reply is not None:
        seed.u8(reply)
    if target < 4:
        seed.one_in(4)
    return seed


def in_order(times=1):
    return Seed().raw(Seed().u8(IN_ORDER).one_in(4).data * times)


DEPTHS = {8: 0, 24: 1, 4: 2, 1: 3, -8: 4, -24: 5, 32: 8}


def cells(width, height, bits):
    seed = Seed().one_in(32).u8(width - 1).one_in(32).u8(height - 1)
    return seed.one_in(32).u8(DEPTHS[bits]).one_in(2, True)


def cell_array(width, height, bits, style=NOISE):
    return Seed().u8(CELLS).add(cells(width, height, bits)).add(drawing(style)).one_in(32)


def window(*corners):
    seed = Seed().u8(SET, 0)
    for value in corners:
        seed.one_in(8).u8(value)
    return seed


def colors(count, first=0):
    seed = Seed().u8(SET, 5).one_in(4).u8(count).one_in(8).u8(first)
    return seed.add(drawing(NOISE)).one_in(16)


def primitive(identifier, width=1, height=1, bits=8):
    return (Seed().u8(PRIMITIVE).one_in(32).u8({-5: 0, -6: 1, -3: 4}[identifier]).one_in(4)
            .add(cells(width, height, bits)).raw(b"\0\0\0\0" if identifier == -5 else b""))


def scale(mode, tenths):
    return Seed().u8(SET, 2).one_in(8).u8(mode).one_in(2).u8(tenths)


def query(opcode_window):
    return Seed().u8(SET, 6).one_in(2, opcode_window)


def session(host, *operations):
    seed = Seed().add(host)
    for operation in operations:
        seed.add(operation)
    return seed


def driver_route():
    begin = [in_order(2), window(0, 0, 0, 29, 19, 0), in_order()]
    finish = [in_order(2)]
    yield "cells-8-memory", session(driver_host(0, 8), *begin, colors(16), cell_array(30, 20, 8),
                                    *finish)
    yield "cells-24-file", session(driver_host(2, 8), *begin, cell_array(30, 20, 24), *finish)
    yield "cells-narrowed", session(driver_host(0, 24), *begin, cell_array(40, 9, 24), *finish)
    yield "cells-elsewhere", session(driver_host(0, 4, True), *begin, cell_array(20, 9, -8), *finish)
    yield "cells-document", session(driver_host(4, 1), *begin, cell_array(20, 9, 24), *finish)
    yield "cells-two", session(driver_host(0, 8, True, True), *begin, cell_array(20, 9, 8, RUNS),
                               cell_array(20, 8, 8), *finish)
    yield "cells-cancelled", session(driver_host(2, 8, pattern=2), *begin, cell_array(20, 9, 24),
                                     *finish)
    yield "image-8", session(driver_host(0, 8), *begin, colors(16), primitive(-5, 25, 12, 8),
                             cell_array(25, 5, 8), cell_array(25, 7, 8), primitive(-6), *finish)
    yield "image-24-to-4", session(driver_host(2, 4), *begin, primitive(-5, 25, 12, 24),
                                   cell_array(25, 12, 24), primitive(-6), *finish)
    yield "image-1", session(driver_host(0, 1), *begin, primitive(-5, 25, 12, 1),
                             cell_array(25, 12, 1), primitive(-6), *finish)
    yield "bottom-up", session(driver_host(0, 8), in_order(2), window(0, 19, 0, 29, 0, 0),
                               in_order(), primitive(-5, 25, 12, 8), cell_array(25, 12, 8),
                               primitive(-6), *finish)
    yield "scaled", session(driver_host(0, 24), in_order(2), window(0, 0, 0, 29, 19, 0),
                            scale(1, 5), in_order(), cell_array(12, 10, 24), *finish)
    yield "queries", session(driver_host(0, 8, reply=5), in_order(2), window(1, 2, 3, 4, 5, 6),
                             query(True), query(False), primitive(-3))
    yield "greys", session(driver_host(0, 8, color_mode=5), *begin, colors(16),
                           cell_array(20, 9, 24), *finish)
    begun = call_back()
    opened = [begun, begun]
    for name, target, call_backs in (
            ("device-ended-at-the-start", 0, [call_back(act("RASTER_dd_entry32", 5))]),
            ("rows-changed-at-a-report", 4, [*opened, call_back(act("device.nextRow", 0, 3), answers=False)]),
            ("image-replaced-while-writing", 4,
             [*opened, call_back(answers=False), begun, pass_by(4), call_back(act("device.imageMemory", 1))]),
            ("settings-replaced-while-writing", 4,
             [*opened, pass_by(9), call_back(act("device.hSetup", 1))]),
            ("operation-inside", 4, [*opened, call_back(act("RASTER_dd_entry32", 0, 9, 3, 3), answers=False)])):
        yield name, session(driver_host(target, 8, disturbed=misbehaving(*call_backs)), *begin,
                            cell_array(20, 9, 24), primitive(-5, 25, 12, 8), cell_array(25, 12, 8),
                            primitive(-6), *finish)


# --- Records, streams, profiles -------------------------------------------------------------------

LETTERS = "CSLFDcslfd123456789[]{}()|P0 x\xff"


def record_format(text):
    return Seed().u8(len(text)).u8(*[LETTERS.index(c) for c in text])


def data_format(big=False, fixed=False):
    seed = Seed()
    for chosen in (big, fixed):
        seed.one_in(3, chosen)
        if not chosen:
            seed.one_in(8)
    return seed


def struct_io():
    for i, text in enumerate(("SLSSL", "LLLSSLLLLLL", "CCCC", "{C2S}(L|S)D", "((L|S)|{CD})L",
                              "3C[2L]S", "12CFD|x")):
        yield f"measure-{i}", Seed().u8(0).add(record_format(text))
        yield f"read-{i}", Seed().u8(2).add(record_format(text)).one_in(16).u8(2).u16(200).add(
            drawing()).add(data_format(big=i % 2 == 1))
        yield f"write-{i}", Seed().u8(4).add(record_format(text)).one_in(16).u8(2).one_in(4).u8(
            3, 15).add(data_format(fixed=i % 2 == 0)).add(drawing())
    for i in range(5):
        yield f"items-{i}", Seed().u8(6, i, 9, 120).add(drawing()).add(
            data_format(True, True)).u8(40).one_in(2, True).add(data_format(True, True))
    yield "numbers", Seed().u8(7).u32(0x12345678).u8(3)


def write_some(count):
    return Seed().u8(0).one_in(32).u8(count).add(drawing())


def write_large(place):
    return Seed().u8(0).one_in(32, True).u8(place).add(drawing(RUNS))


def read(count):
    return Seed().u8(4).one_in(32).u8(count)


def seek(whence, offset, back=False):
    places = {0: 0, 1: 2, 2: 4}
    return Seed().u8(7, places[whence]).one_in(2).u8(offset).one_in(2 if whence else 16, back)


def line(capacity):
    return Seed().u8(12, capacity)


def write_line(text):
    return Seed().u8(13).text(text)


def steps(*operations):
    seed = Seed()
    for operation in operations:
        seed.add(operation)
    return seed


def file_stream(opening, size=None):
    seed = Seed().u8(0, opening)
    if size is None:
        return seed.one_in(4).u8(60).add(drawing())
    return seed.one_in(4, True).u16(size).add(drawing())


def block_stream(mode, grow):
    return Seed().u8(5, mode, grow).add(Seed().one_in(8).u8(60)).add(drawing()).one_in(2).u16(30)


def streams():
    mixed = [write_some(30), seek(0, 5), read(9), write_some(7), seek(2, 4, True), read(20), seek(1, 3, True),
             write_some(2)]
    lines = [write_line("one"), Seed().u8(15, 0), write_line("two"), Seed().u8(15, 1),
             write_line("three"), seek(0, 0), line(10), line(10), line(10), Seed().u8(14)]
    large = [write_large(3), seek(0, 200), write_large(1), read(60), write_large(7), Seed().u8(10),
             Seed().u8(11)]
    yield "file-read", file_stream(0).add(steps(read(20), seek(0, 3), read(60)))
    yield "file-update", file_stream(2, 30000).add(steps(*mixed))
    yield "file-create", file_stream(5).add(steps(*mixed))
    yield "file-large", file_stream(5).add(steps(*large))
    yield "file-lines", file_stream(5).add(steps(*lines))
    yield "file-lent", file_stream(9).add(steps(*mixed))
    yield "file-written-while-reading", file_stream(0).add(steps(*mixed))
    yield "block-create", block_stream(5, 5).add(steps(*mixed))
    yield "block-update", block_stream(2, 3).add(steps(*mixed))
    yield "block-fixed", block_stream(5, 0).add(steps(*mixed))
    yield "block-lines", block_stream(5, 4).add(steps(*lines))
    yield "document", Seed().u8(10).one_in(4).text("name").raw(bytes(range(64)))
    yield "embedded", Seed().u8(11, 9).add(drawing()).one_in(4).raw(bytes(range(9))).u8(8).raw(
        bytes(range(9))).u8(2).one_in(2).u16(700).u8(3).raw(bytes(range(40)))
    yield "embedded-mini", Seed().u8(11, 9).add(drawing()).one_in(4).raw(bytes(range(9))).u8(8).raw(
        bytes(range(9))).u8(2).one_in(2, True).u16(700).u8(3).raw(bytes(range(40)))
    yield "hostile", Seed().u8(13).add(drawing()).u8(90).add(drawing()).raw(bytes(range(80)))
    yield "names", Seed().u8(15).add(Seed().u16(9000)).add(drawing())


def raw_profile(text):
    encoded = text.encode("latin-1")
    return Seed().one_in(16).one_in(4, True).u8(len(encoded)).raw(encoded)


def name_of(text):
    return Seed().one_in(8, True).text(text)


def value_of(text):
    return Seed().one_in(4, True).text(text)


def ask(section, key, size=40):
    seed = Seed().u8(0).add(name_of(section)).one_in(4, key is None)
    if key is not None:
        seed.add(name_of(key))
    seed.add(value_of("none")).one_in(4, True).u8(size)
    if key is not None:
        seed.wild(7)
    return seed


def change(section, key, value, failing=0):
    seed = Seed().u8(3).add(name_of(section)).one_in(8, key is None)
    if key is not None:
        seed.add(name_of(key))
    seed.one_in(4, value is None)
    if value is not None:
        seed.add(value_of(value))
    seed.one_in(8, failing > 0)
    return seed.u8(failing) if failing else seed


ESCAPES = [1, 11, 12, 13, 14, 18, 19, 57, 16, 17]


def use_settings(mode, *escapes, filter_name="tivar", saves=True, failing=0):
    """Settings of a mode, and up to four escapes with a number each."""
    seed = Seed().u8(7).add(name_of(mode)).one_in(8, failing > 0)
    if failing:
        seed.u8(failing)
    seed.one_in(2, saves).add(name_of(filter_name))
    for escape, number in escapes:
        seed.u8(ESCAPES.index(escape)).wild(int(number)).number(number)
    return seed


def profiles():
    plain = "[TIVAR]\nMode=x\nWidth=6.5\n\n; note\n[Other]\na=1 ; b\nb=\"two\"\n"
    dos = plain.replace("\n", "\r\n")
    def on(text, *operations, in_directory=False):
        seed = (Seed().one_in(16, True) if text is None else raw_profile(text)).one_in(
            4, in_directory)
        for operation in operations:
            seed.add(operation)
        return seed
    yield "ask", on(plain, ask("TIVAR", "Width"), ask("other", "B"), ask("other", None, 3))
    yield "ask-for-lists", on(plain, *[ask("TIVAR", None, size) for size in (0, 1, 9, 10, 11)])
    yield "ask-between-the-lines", on("[a]\n\n;c\nno entry\n[]\n[a]\nb=1\n", ask("a", "b"),
                                      ask("[]", "b"), ask("", "b"))
    yield "hexadecimal", on("[a]\nb=0x1F\nc=12abc\nd=-5\n", ask("a", "b"), ask("a", "c"),
                            ask("a", "d"))
    yield "hexadecimal-in-other-dress", on("[a]\nb=0xfg\nc=0X1f\nd=0x\ne=07\n",
                                           *[ask("a", key) for key in "bcde"])
    yield "number-too-large", on("[a]\nb=99999999999999\n", ask("a", "b"))
    yield "quotes", on("[\"a\"]\nb=\"\"c\"\"\nd=\"\ne=f\"\nempty=\n", ask("a", "b"), ask("a", "d"),
                       ask("\"a\"", "e"), ask("a", "empty"))
    yield "replace", on(plain, change("tivar", "Width", "7"), ask("TIVAR", "Width"))
    yield "append", on(dos, change("Other", "new", "1"), change("Third", "x", "y"))
    yield "append-without-a-name", on(plain, change("", "a", "1"), change("[]", "a", "2"))
    yield "remove-entry", on(dos, change("Other", "a", None), change("Other", "b", None))
    yield "remove-one-of-many", on("[a]\nb=1\nc=2\nd=3\n", change("a", "b", None))
    yield "remove-section", on(plain, change("TIVAR", None, None))
    yield "remove-last-section", on(plain, change("Other", None, None))
    yield "line-ends-in-a-name", on("[ab]\nc=1\n", ask("a\rb", "c"), change("a\nb", "c", "2"))
    yield "blanks-around", on("[ tivar ]\n Width = 1\n\"Width\"=2\n", change("TIVAR", "Width", "3"),
                              ask("TIVAR", "Width"))
    yield "no-line-ending", on("[a]\nb=1", change("a", "c", "2"))
    yield "no-line", on("", change("a", "b", "c"), ask("a", "b"))
    yield "carriage-returns", on("[a]\rb=1\r", change("a", "c", "2"))
    yield "one-carriage-return", on("\r", change("a", "c", "2"), ask("a", "c"))
    yield "long-line", on("[a]\nb=" + "v" * 200 + "\n", change("a", "c", "2"), ask("a", "b", 255))
    yield "line-as-long-as-its-buffer", Seed().one_in(16).one_in(4).one_in(4).u8(0, 2).u8(
        7, 250, 250).one_in(2, True).u8(7, 100, 155).one_in(2, True).one_in(4).add(
            change("a", "c", "2")).add(ask("a", "c"))
    yield "same-section-twice", on("[a]\nb=1\n[a]\nb=2\n[c]\n[a]\nb=3\n", change("a", "b", "4"))
    yield "missing", on(None, ask("a", "b"), change("a", "b", "c"), ask("a", "b"))
    yield "in-the-directory", on(plain, ask("TIVAR", "Width"), change("TIVAR", "Width", "7"),
                                 use_settings("TIVAR"), in_directory=True)
    yield "missing-in-the-directory", on(None, ask("a", "b"), use_settings("m"), in_directory=True)
    for failing in range(1, 6):
        yield f"change-without-memory-{failing}", on(plain, change("tivar", "Width", "7", failing))
    yield "missing-without-memory", on(None, change("a", "b", "c", 3))
    yield "in-the-directory-without-memory", on(plain, change("a", "b", "c", 4), in_directory=True)
    mode = "[tivar]\n~Mode=m\n[m]\nDriver=TIVAR.1\nColor Format=222\nWidth=3\nHeight=1e9\n"
    yield "settings", on(mode, Seed().u8(7).add(name_of("m")).one_in(8).one_in(2, True).add(
        name_of("tivar")).raw(bytes(range(60))))
    yield "settings-saved", on(mode, use_settings("m", (1, 103), (11, 100), (12, 50), (13, 4)),
                               use_settings("m", (14, 5), (18, 2), (19, 2), (57, 0)))
    yield "settings-kept", on(mode, use_settings("m", (14, 5), (16, 0), (17, 0), (1, 101),
                                                 filter_name="", saves=False))
    yield "settings-read", on(mode, use_settings("m", (18, 2), (16, 0), (19, 0), (17, 0)),
                              use_settings("m", (19, 2), (17, 0)))
    yield "settings-refused", on(mode, use_settings("m", (1, 0), (11, 0), (13, 200), (18, 9)),
                                 use_settings("m", (1, 200), (12, 500), (13, 0), (18, -1)))
    yield "settings-of-no-color-mode", on(mode + "Color Mode=5\n", use_settings("m", (57, 0)))
    yield "settings-of-the-named-mode", on(mode, use_settings("", (11, 99)))
    yield "settings-of-no-mode", on("[tivar]\na=1\n", use_settings("", (11, 99)))
    yield "settings-out-of-range", on(mode + "X Resolution=9\nY Resolution=500\n",
                                      use_settings("m"))
    yield "settings-without-a-profile", on(None, use_settings("m", (14, 2)))
    yield "settings-without-memory", on(mode, use_settings("m", failing=1))


# --- Colour library and writer --------------------------------------------------------------------


def table(entries_place):
    return Seed().one_in(8).one_in(8).u8(entries_place).add(drawing())


def color_test(number, *parts):
    seed = Seed().u8(number, 0).one_in(16)
    for part in parts:
        seed.add(part)
    return seed


def color():
    count = Seed().one_in(8)
    yield "sizes", color_test(0, Seed().wild(33).wild(7).u8(24))
    yield "pixels", color_test(1, picture(4, 20, 9), table(1), count, Seed().one_in(2).raw(
        bytes(range(120))))
    yield "nearest", color_test(2, table(0), count, Seed().raw(bytes(range(200))))
    yield "colormap", color_test(3, Seed().u8(2, 2), table(0), table(1), count)
    yield "reduction", color_test(4, picture(24, 40, 30), Seed().u8(1))
    yield "reduction-256", color_test(4, picture(24, 40, 30), Seed().u8(0))
    yield "conversion", color_test(5, picture(24, 40, 30), table(0), table(0), Seed().u8(1), count)
    yield "conversion-indices", color_test(5, picture(8, 40, 30), table(0), table(1), Seed().u8(2),
                                           count)
    yield "resolution", color_test(6, picture(24, 30, 30), table(0), Seed().u8(1))
    yield "dither-table", color_test(7, picture(8, 30, 30), table(0), Seed().u8(1))
    yield "dithering", color_test(8, picture(24, 40, 30, GREYS), table(0), Seed().one_in(8, True),
                                  Seed().one_in(8).u8(1).add(drawing()), Seed().u8(0))
    yield "given-table", color_test(9, picture(24, 40, 30), table(0), table(1), Seed().u8(1), count)
    yield "one-line", color_test(10, Seed().u8(60).one_in(4), table(1), drawing(), drawing(RUNS))
    yield "scaling", color_test(11, picture(4, 33, 20), Seed().one_in(8).u8(50).one_in(8).u8(11))
    yield "mirroring", color_test(12, picture(24, 33, 20), Seed().one_in(2, True).u16(1))
    yield "color-spaces", color_test(13, Seed().one_in(8).u8(20).one_in(8).u8(10, 1), drawing(),
                                     Seed().u16(800))
    yield "transform", color_test(14, Seed().u8(4), drawing(), Seed().u8(90))


def bmp_output():
    looks = [(bits, encoded, os2) for bits in (1, 4, 8, 24) for encoded in (False, True)
             for os2 in (False, True) if not (encoded and bits in (1, 24))]
    for bits, encoded, os2 in looks:
        name = f"{bits}{'-encoded' if encoded else ''}{'-os2' if os2 else ''}"
        source = 24 if bits != 8 else 8
        yield "export-" + name, Seed().u8(3).add(settings(bits, encoded, os2, sane=True)).add(
            sound_picture(source, 37, 21, RUNS)).add(description(sane=True))
    yield "scaled", Seed().u8(3).add(settings(8, sane=True)).add(
        sound_picture(4, 20, 20)).add(description((33, 15), sane=True))
    yield "bands", Seed().u8(1).add(settings(4, True, sane=True)).add(
        sound_picture(4, 37, 21)).add(drawing()).add(drawing(RUNS)).u8(1).one_in(4).raw(
            bytes([3, 5, 2, 9]))
    yield "bands-tight", Seed().u8(1).add(settings(24, sane=True)).add(
        sound_picture(24, 37, 21)).add(drawing(RUNS)).add(drawing(RUNS)).u8(1).one_in(
            4, True).u16(900).raw(bytes([3, 5, 2, 9]))
    yield "row", Seed().u8(0).add(Seed().u16(700)).add(drawing(RUNS)).one_in(2, True)


# --- The direct interface -------------------------------------------------------------------------

RGB, BGR, RGBA, BGRA, GREY, INDEX1, INDEX4, INDEX8 = range(8)
WRITTEN_DEPTHS = {None: 0, 1: 1, 4: 2, 8: 3, 16: 4, 24: 5, 32: 6}


def choice(value):
    seed = Seed().one_in(40).one_in(2, value != 0)
    return seed.u8(value) if value else seed


def write_options(bits, header=0, encoding=0, order=0, length=0, masks=0, x=0, y=0, colors=0, most=0,
                  dither=0, alpha=0):
    seed = Seed().one_in(40).u8(WRITTEN_DEPTHS[bits])
    for value in (header, encoding, order, length, masks, x, y, colors):
        seed.add(choice(value))
    if colors != 3:
        seed.one_in(4, most != 0)
        if most:
            seed.u8(most - 2)  # at least 2
    seed.add(choice(dither)).add(choice(alpha))
    return seed.u8(9, 99, 199) if alpha == 1 else seed


def write_call(form, width, height, options, style=NOISE, entries=0, given=0):
    """entries: of the picture's palette; given: of that of the options."""
    seed = Seed().u8(form, width - 1, height - 1).add(drawing(style))
    if form >= INDEX1:
        seed.u8(entries - 1).add(drawing(NOISE, 0x77))
    return seed.u8(given).add(drawing(NOISE, 0x99)).add(options)


def other_way(from_rows=False, in_order=False, failing_row=0, room=None, failing=0):
    seed = Seed().one_in(2, in_order).one_in(2, from_rows)
    if from_rows:
        seed.one_in(4, failing_row != 0)
        if failing_row:
            seed.u8(failing_row)
    seed.one_in(3, room is not None)
    if room is not None:
        seed.u16(room)
    seed.one_in(4, failing != 0)
    return seed.u8(failing - 1) if failing else seed


def write():
    rows = other_way(from_rows=True, in_order=True)
    for form, name in enumerate(("rgb", "bgr", "rgba", "bgra", "grey")):
        for bits in (1, 4, 8, 16, 24, 32):
            yield f"{name}-{bits}", write_call(form, 37, 21, write_options(bits)).add(rows)
    for form, name, entries in ((INDEX1, "index1", 2), (INDEX4, "index4", 9), (INDEX8, "index8", 200)):
        for header in (0, 2, 3):
            yield f"{name}-{header}", write_call(form, 37, 21, write_options(None, header),
                                                 entries=entries).add(rows)
    for bits in (4, 8):
        for encoding in (1, 2):
            yield f"encoded-{bits}-{encoding}", write_call(
                INDEX4, 80, 21, write_options(bits, encoding=encoding), RUNS, 16).add(rows)
        for dither in (1, 2, 3):
            for colors in (1, 2, 4):
                yield f"dither-{bits}-{dither}-{colors}", write_call(
                    RGB, 37, 21, write_options(bits, dither=dither, colors=colors), FEW).add(rows)
        yield f"limited-{bits}", write_call(RGB, 37, 21, write_options(bits, most=5)).add(rows)
        yield f"two-{bits}", write_call(BGRA, 37, 21, write_options(bits, most=2)).add(rows)
        yield f"given-{bits}", write_call(BGR, 37, 21, write_options(bits, colors=3), given=16).add(rows)
    yield "top-down", write_call(RGB, 37, 21, write_options(24, order=1)).add(rows)
    yield "full-palette", write_call(GREY, 9, 5, write_options(4, length=1)).add(rows)
    yield "masks-555", write_call(RGB, 9, 5, write_options(16, masks=1, dither=2)).add(rows)
    yield "over", write_call(RGBA, 37, 21, write_options(32, alpha=1)).add(rows)
    yield "dropped", write_call(BGRA, 37, 21, write_options(8, alpha=2)).add(rows)
    yield "resolution", write_call(RGB, 9, 5, write_options(24, x=72, y=96)).add(rows)
    yield "failing-row", write_call(RGB, 37, 21, write_options(8)).add(other_way(True, False, 7))
    yield "failing-sink", write_call(RGB, 37, 21, write_options(8)).add(other_way(room=99))
    yield "no-memory", write_call(RGB, 37, 21, write_options(8)).add(other_way(failing=4))
    yield "contradiction", write_call(RGB, 37, 21, write_options(24, encoding=1)).add(rows)


def bmp():
    """Every kind of file that programs write."""
    for kind in bmp_kinds.KINDS:
        yield re.sub(r"[^a-z0-9]+", "-", kind.name.lower()), Seed().raw(kind.data)


def palette():
    act, gpl, hexadecimal, pal = range(4)
    three = [(255, 0, 0), (0, 255, 0), (18, 52, 86)]
    table = bytes(value for color in three for value in color) + bytes(3 * 253)
    lines = "".join(f"{r:3} {g:3} {b:3}\tname\n" for r, g, b in three).encode()
    chunk = struct.pack("<HH", 0x300, 3) + b"".join(bytes((*color, 0)) for color in three)
    riff = b"PAL data" + struct.pack("<I", len(chunk)) + chunk
    other = b"PAL else" + struct.pack("<I", 3) + b"odd\0" + riff[4:]
    yield "table", Seed().u8(act).raw(table)
    yield "table-counted", Seed().u8(act).raw(table + bytes((0, 3, 255, 255)))
    yield "lines", Seed().u8(gpl).raw(b"GIMP Palette\nName: x\nColumns: 3\n# note\n" + lines)
    yield "digits", Seed().u8(hexadecimal).raw(b"; note\nff0000\r\n#00FF00\n\n123456")
    yield "counted-lines", Seed().u8(pal).raw(b"JASC-PAL\r\n0100\r\n3\r\n" + lines.replace(b"\tname", b"\r"))
    for name, body in (("chunks", riff), ("another-chunk", other), ("cut-short", riff[:-5])):
        yield name, Seed().u8(pal).raw(b"RIFF" + struct.pack("<I", len(body)) + body)


def host():
    """Sequences of any acts: the host's choices are all alike. One in four is a long one."""
    for i in range(24):
        is_long = i % 4 == 0
        yield f"sequence-{i}", Seed().one_in(32, is_long).u8(*([] if is_long else [i % 16])).raw(
            random.Random(i).randbytes(160 if is_long else 80))


def main():
    targets = (filter_route, driver_route, struct_io, streams, profiles, color, bmp_output, write, bmp, palette,
               host)
    for target in targets:
        directory = CORPUS / target.__name__
        directory.mkdir(parents=True, exist_ok=True)
        for old in directory.iterdir():
            old.unlink()
        for name, seed in target():
            (directory / name).write_bytes(seed.data)


if __name__ == "__main__":
    main()
