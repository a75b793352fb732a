"""The command line itself: usage, help, versions, what the library offers, profiles."""

import os
import re

import bmp
import drawing
import pytest
from conftest import fails


@pytest.mark.parametrize(
    "arguments",
    [
        [],
        ["unknown"],
        ["export"],
        ["export", "a.png", "--bits", "5"],
        ["export", "a.png", "--bits", "x"],
        ["export", "a.png", "--compress", "zip"],
        ["export", "a.png", "--via", "pigeon"],
        ["export", "a.png", "--unknown"],
        ["export", "a.png", "-o"],
        ["export", "a.png", "-j", "0"],
        ["export", "a.png", "--size", "640"],
        ["export", "a.png", "--size", "0x480"],
        ["export", "a.png", "--size", "640x-1"],
        ["export", "a.png", "--size", "640x480px"],
        ["export", "a.png", "--size", "65536x2"],
        ["export", "a.png", "--size", "6.5x5"],
        ["export", "a.png", "--size", "nanxinfin"],
        ["export", "a.png", "--size", "700x1in", "--resolution", "400"],
        ["export", "a.png", "--size", "5x5in", "--resolution", "31"],
        ["export", "a.png", "--size", "5x5in", "--resolution", "401"],
        ["export", "a.png", "--size", "5x5", "--resolution", "200"],
        ["export", "a.png", "--size", "5x5", "--resolution", "96"],
        ["export", "a.png", "--resolution", "200"],
        ["export", "a.png", "--mode", "Fax"],
        ["export", "a.png", "--background", "reddish"],
        ["export", "a.png", "--background", "12345"],
        ["export", "a.png", "--background", "12345G"],
        ["export", "a.png", "b.png", "-o", "none"],
        ["export", "a.png", "b.png", "-o", "-"],
        ["export", "-"],
        ["info", "extra"],
    ],
)
def test_wrong_usage_is_one_line_and_code_2(tivar, arguments):
    fails(tivar.run(*arguments), 2, "--help" if len(arguments) < 2 else "")
    assert os.listdir(tivar.directory) == []


@pytest.mark.parametrize(
    "arguments,wanted",
    [
        (["export", "a.png", "--bits"], "--bits needs a value, 1|4|8|16|24|32; see tivar export --help"),
        (["export", "--bits", "1", "--bits", "4", "a"], "--bits is given more than once; see"),
        (["export", "a.png", "--bits", "5"], "--bits: 5 is none of 1, 4, 8, 16, 24, 32; see"),
        (["export", ""], "the name is empty; see tivar export --help"),
        (["decode", "a.bmp", ""], "the name is empty; see tivar decode --help"),
        (["settings", "bogus"], "bogus is no command of tivar settings; see"),
        (["bogus"], "bogus is no command; see tivar --help"),
        (["info", "--bogus"], "--bogus is no option of tivar info; see tivar info --help"),
        (["decode", "a", "b", "c"], "c is one argument too many; see tivar decode --help"),
        (["export", "-dash.png"], "-dash.png is taken for options; name the file as ./-dash.png"),
    ],
)
def test_wrong_usage_is_told_in_plain_words(tivar, arguments, wanted):
    (tivar.directory / "-dash.png").touch()
    fails(tivar.run(*arguments), 2, wanted)


def test_control_characters_of_names_do_not_reach_the_terminal(tivar):
    name = "a\x1b[31m\tb\x7f\u009bc\u00e9.png"
    result = tivar.run("export", name)
    fails(result, 1, r"a\x1b[31m\x09b\x7f\x9bcé.png: No such file")


@pytest.mark.parametrize(
    "name,shown",
    [
        (b"a\x9b31mb", rb"a\x9b31mb"),  # a control character of terminals with 8 bits
        ("a\u202egnp.b".encode(), rb"a\u202egnp.b"),  # what follows would be shown backwards
        ("\u2066a\u200f\u2028b".encode(), rb"\u2066a\u200f\u2028b"),
        ("d\u00e9j\u00e0 \u5c4f \U0001f600".encode(), "d\u00e9j\u00e0 \u5c4f \U0001f600".encode()),
        (b"d\xe9j\xe0", b"d\xe9j\xe0"),  # names of another encoding stay
        (b"\xc0\x9b\xe2\x80", rb"\x9b".join([b"\xc0", b"\xe2"]) + rb"\x80"),
    ],
)
def test_names_do_not_command_the_terminal(tivar, name, shown):
    result = tivar.run("export", os.fsdecode(name))
    assert result.stderr.startswith(b"tivar: " + shown + b": No such file"), result.stderr


def test_a_size_may_have_a_capital_cross(tivar):
    drawing.chart(30, 20).save(tivar.directory / "in.png")
    written = bmp.read(tivar.export("in.png", "out.bmp", "--size", "12X10"))
    assert (written.width, written.height) == (12, 10)


@pytest.mark.parametrize("arguments", [["--help"], ["export", "--help"], ["info", "--help"]])
def test_help_goes_to_standard_output(tivar, arguments):
    result = tivar.run(*arguments)
    assert (result.returncode, result.stderr) == (0, b"")
    assert b"--library" in result.stdout


def test_help_names_every_export_option(tivar):
    text = tivar.run("export", "--help").stdout.decode()
    for option in (
        "-o", "--bits", "--os2", "--compress", "--size", "--resolution", "--profile", "--mode",
        "--force", "--via", "-j", "--background", "--quiet", "--library", "-r", "--files-from", "-0",
        "--base", "--overwrite", "--skip-existing", "--report",
    ):  # fmt: skip
        assert option in text
    assert "few readers" in text and "standard RLE8 and RLE4" in text


def test_version_names_program_and_library(tivar):
    result = tivar.run("--version")
    assert result.returncode == 0
    assert re.fullmatch(
        r"tivar (\d+\.\d+\.\d+) \(library \1, /.*libtivar\.so.*\)\n", result.stdout.decode()
    )


def test_info_lists_entries_versions_and_strings(tivar):
    text = tivar.run("info").stdout.decode()
    entries = re.findall(r"^ +(\d+) +(function|data) +(\w+)$", text, re.MULTILINE)
    assert entries == [
        ("1001", "function", "CreateSetup"),
        ("1002", "function", "DestroySetup"),
        ("1003", "function", "EditSetup"),
        ("1004", "function", "EscapeSetup"),
        ("1005", "function", "OXLGetFilterVersion"),
        ("1006", "function", "dd_entry"),
        ("1008", "function", "RASTER_dd_entry"),
        ("1009", "function", "ExportCellData"),
        ("1010", "data", "szDLLName"),
    ]
    assert "2.0.5 (0x02000005)" in text
    assert re.search(r"FilterVersion +1$", text, re.MULTILINE)
    assert re.search(r"FilterID +16$", text, re.MULTILINE)
    strings = dict(re.findall(r'^ +(\d+) +"(.*)"$', text, re.MULTILINE))
    assert strings["1"] == "~Mode" and strings["4"] == "Driver"
    assert strings["21"] == "Width" and strings["26"] == "Line Mode"
    assert strings["65535"] == "Not Defined"
    assert list(strings.values()).count("Not Defined") == 1  # identifiers in gaps are left out


@pytest.mark.parametrize("arguments", [["info"], ["--version"], ["--help"]])
def test_a_full_disk_behind_standard_output_is_an_error(tivar, arguments):
    with open("/dev/full", "wb") as full:
        fails(tivar.run(*arguments, stdout=full), 1, "standard output", "No space left")


# --- The library ---------------------------------------------------------------------------------


def other_library():
    """A library that every process of this system has loaded and that is not the right one."""
    maps = open("/proc/self/maps").read()
    return re.search(r"(/\S*/libc\.so\S*)", maps).group(1)


@pytest.mark.parametrize("command", [["info"], ["--version"], ["export", "chart.png"]])
def test_a_file_that_is_no_library(tivar, chart, command):
    (tivar.directory / "fake.so").write_bytes(b"not a library")
    fails(tivar.run("--library", "fake.so", *command), 1, "fake.so", "library")


def test_a_library_that_is_another_one(tivar, chart):
    result = tivar.run("export", chart, "--library", other_library())
    fails(result, 1, other_library(), "fltLoadPointers")


def test_a_library_that_is_missing(tivar, chart):
    fails(tivar.run("export", chart, "--library", "none/libtivar.so"), 1, "none/libtivar.so")


def test_the_library_option_goes_before_the_environment(tivar, library):
    wrong = dict(os.environ, TIVAR_LIBRARY="/nowhere/libtivar.so")
    fails(tivar.run("info", env=wrong), 1, "/nowhere/libtivar.so")
    assert tivar.run("info", "--library", library, env=wrong).returncode == 0


def test_the_library_beside_the_program_is_found(tivar, program, library):
    for place in ("bin", "lib"):
        root = tivar.directory / place
        (root / "bin").mkdir(parents=True)
        os.makedirs(root / place, exist_ok=True)
        copy = root / "bin" / "tivar"
        copy.write_bytes(open(program, "rb").read())
        copy.chmod(0o755)
        (root / place / "libtivar.so.2").symlink_to(library)
        tivar.program = str(copy)
        bare = {k: v for k, v in os.environ.items() if k != "TIVAR_LIBRARY"}
        text = tivar.run("info", env=bare).stdout.decode()
        assert f"library\n  {root / place / 'libtivar.so.2'}\n" in text


# --- Profiles ------------------------------------------------------------------------------------

PROFILE = """[TIVAR]
~Mode=Poster

[Poster]
Driver=TIVAR.1
Color Format=219
File Type=332
Compression Mode=310
Size Mode=602
Resolution Mode=310
X Resolution=96
Y Resolution=96
Width=2.00
Height=1.00

[Plain]
Driver=TIVAR.1
Color Format=221

[Packed]
Driver=TIVAR.1
Color Format=221
Compression Mode=228

[Silent]
Driver=TIVAR.1
Color Format=221
File Type=332
Compression Mode=228

[Screen]
Driver=TIVAR.1
Color Format=222
Size Mode=600
Resolution Mode=307

[Strange]
Driver=TIVAR.1
Color Format=217

[Driverless]
Color Format=219
"""


@pytest.fixture
def profile(tivar):
    (tivar.directory / "my.ini").write_text(PROFILE)
    drawing.chart(60, 30).save(tivar.directory / "in.png")
    return ["--profile", "my.ini"]


def test_the_profile_s_own_mode_sets_depth_flavour_and_size(tivar, profile):
    written = bmp.read(tivar.export("in.png", "out.bmp", *profile))
    assert (written.bits, written.os2) == (4, True)
    assert (written.width, written.height) == (192, 96)


def test_a_picture_of_another_shape_is_fitted_into_the_profile_s_page(tivar, profile):
    drawing.chart(30, 60).save(tivar.directory / "tall.png")
    written = bmp.read(tivar.export("tall.png", "out.bmp", *profile))
    assert (written.width, written.height) == (48, 96)


def test_a_mode_without_a_size_keeps_the_picture_s_size(tivar, profile):
    written = bmp.read(tivar.export("in.png", "out.bmp", *profile, "--mode", "Plain"))
    assert (written.bits, written.os2, written.width, written.height) == (8, False, 60, 30)


def test_a_mode_sets_the_compression(tivar, profile):
    written = bmp.read(tivar.export("in.png", "out.bmp", *profile, "--mode", "Packed"))
    assert written.encoded and (written.width, written.height) == (60, 30)


def test_a_mode_that_asks_for_encoded_os2_files_needs_force(tivar, profile):
    options = [*profile, "--mode", "Silent"]
    result = tivar.run("export", "in.png", "-o", "out.bmp", *options)
    fails(result, 2, "in.png", "native", "--force")
    assert not (tivar.directory / "out.bmp").exists()
    forced = bmp.read(tivar.export("in.png", "out.bmp", *options, "--force"), True)
    assert (forced.os2, forced.encoded) == (True, True)
    plain = bmp.read(tivar.export("in.png", "out.bmp", *options, "--compress", "none"))
    assert (plain.os2, plain.encoded) == (True, False)
    # True colour is never encoded.
    assert bmp.read(tivar.export("in.png", "out.bmp", *options, "--bits", 24)).bits == 24


def test_a_mode_of_os2_files_refuses_the_portable_form(tivar, profile):
    for mode in ("Poster", "Silent"):
        options = ["--mode", mode, "--compress", "portable"]
        fails(tivar.run("export", "in.png", *profile, *options), 2, "in.png", "OS/2")


def test_a_mode_of_windows_files_takes_the_portable_form(tivar, profile):
    for mode in ("Plain", "Packed"):
        options = ["--mode", mode, "--compress", "portable"]
        data = tivar.export("in.png", "out.bmp", *profile, *options)
        assert data[30:34] == b"\1\0\0\0" and data.endswith(b"\0\1")


def test_a_mode_of_the_display_s_size_fills_the_display(tivar, profile):
    environment = dict(os.environ, DISPLAYINFO="800x600x100x100")
    data = tivar.export("in.png", "out.bmp", *profile, "--mode", "Screen", env=environment)
    written = bmp.read(data)
    assert (written.bits, written.width, written.height) == (24, 800, 400)


@pytest.mark.parametrize("route", ["filter", "driver"])
@pytest.mark.parametrize("value", ["junk", "1280x1024", "100000x100000x1x1"])
def test_a_display_without_a_usable_size_is_named_as_the_cause(tivar, profile, route, value):
    environment = dict(os.environ, DISPLAYINFO=value)
    options = [*profile, "--mode", "Screen", "--route", route]
    result = tivar.run("export", "in.png", "-o", "out.bmp", *options, env=environment)
    fails(result, 1, "my.ini", f"DISPLAYINFO={value}", "1280x1024x96x96", "--size")
    assert tivar.run("export", "in.png", *options, "--size", "9x8", env=environment).returncode == 0


def test_a_display_without_a_size_shows_none(tivar, profile):
    environment = dict(os.environ, DISPLAYINFO="junk")
    command = ["settings", "show", *profile, "--mode", "Screen"]
    shown = tivar.run(*command, env=environment).stdout.decode()
    assert "nan" not in shown and "inches" not in shown
    assert [line.split()[1:] for line in shown.splitlines() if line.startswith("Width")] == [
        ["none", "display", "(DISPLAYINFO=junk)"]
    ]


def test_options_go_before_the_profile(tivar, profile):
    options = ["--bits", 8, "--size", "50x40", "--compress", "native", "--force"]
    written = bmp.read(tivar.export("in.png", "out.bmp", *profile, *options), True)
    assert (written.bits, written.os2, written.width, written.height) == (8, True, 50, 40)
    none = ["--mode", "Packed", "--compress", "none"]
    assert not bmp.read(tivar.export("in.png", "out.bmp", *profile, *none)).encoded


@pytest.mark.parametrize("via", ["file", "memory", "document"])
def test_a_page_that_shrinks_one_axis_and_grows_the_other_scales_both(tivar, via):
    # 20 x 1 pixels at 0.18 inches: 17 wide, and its only row is doubled to an even number.
    (tivar.directory / "my.ini").write_text("[Thin]\nDriver=TIVAR.1\nColor Format=222\nWidth=0.18\n")
    picture = drawing.chart(20, 1)
    picture.save(tivar.directory / "in.png")
    options = ["--profile", "my.ini", "--mode", "Thin", "--via", via]
    written = bmp.read(tivar.export("in.png", "out.bmp", *options))
    assert (written.width, written.height) == (17, 2)
    row = bmp.grid(picture)[0]
    expected = [row[x * 20 // 17] for x in range(16)] + [row[19]]
    assert written.pixels() == [expected, expected]


def test_profiles_that_cannot_be_used(tivar, profile):
    cases = [
        (["--profile", "none.ini"], "none.ini"),
        (["--profile", "p" * 150], "143"),
        (["--profile", "my.ini", "--mode", "Missing"], "Missing"),
        (["--profile", "my.ini", "--mode", "Driverless"], "Driver"),
        (["--profile", "my.ini", "--mode", "Strange"], "217"),
    ]
    for options, fragment in cases:
        fails(tivar.run("export", "in.png", "-o", "out.bmp", *options), 1, fragment)
    assert not (tivar.directory / "out.bmp").exists()


def test_a_strange_depth_of_the_profile_may_be_overruled(tivar, profile):
    data = tivar.export("in.png", "out.bmp", *profile, "--mode", "Strange", "--bits", 8)
    assert bmp.read(data).bits == 8
