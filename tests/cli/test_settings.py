"""Profiles from the command line: what is in force, changing it, starting one."""

import os
import re
import resource
import stat

import bmp
import drawing
import pytest
from conftest import Tivar, fails
from test_failures import open_place  # noqa: F401, a fixture

DEFAULTS = {
    "Driver": "TIVAR.1",
    "Color Mode": "103",
    "Color Format": "221",
    "Compression Mode": "310",
    "File Type": "331",
    "Line Mode": "119",
    "Resolution Mode": "310",
    "X Resolution": "96",
    "Y Resolution": "96",
    "Size Mode": "602",
    "Width": "6.67",
    "Height": "5",
}


def shown(tivar, *options, **settings):
    """What settings show prints: {key: (value, meaning, origin)}."""
    result = tivar.run("settings", "show", *options, **settings)
    assert (result.returncode, result.stderr) == (0, b""), result.stderr
    lines = result.stdout.decode().splitlines()
    assert lines[1] == ""
    rows = [re.fullmatch(r"(.{16})  (\S+) +(.{34})  (\S.*)", line).groups() for line in lines[2:]]
    return {key.strip(): (value, words.strip(), origin) for key, value, words, origin in rows}


def values(tivar, *options, **settings):
    return {key: row[0] for key, row in shown(tivar, *options, **settings).items()}


def origins(tivar, *options, **settings):
    return {key: row[2] for key, row in shown(tivar, *options, **settings).items()}


@pytest.fixture
def profile(tivar):
    """Writes the profile my.ini: its options."""

    def write(text="[Mode]\nDriver=TIVAR.1\n", name="my.ini"):
        data = text if isinstance(text, bytes) else text.encode()
        (tivar.directory / name).write_bytes(data)
        return ["--profile", name, "--mode", "Mode"]

    return write


def contents(tivar, name="my.ini"):
    return (tivar.directory / name).read_bytes()


def change(tivar, options, *assignments, **settings):
    """A change that must succeed in silence."""
    result = tivar.run("settings", "set", *assignments, *options, **settings)
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")


# --- Showing -------------------------------------------------------------------------------------


def test_without_a_profile_the_built_in_settings_are_shown(tivar):
    wanted = dict(DEFAULTS, **{"Line Mode": "0", "Resolution Mode": "309"})
    assert values(tivar) == wanted
    assert set(origins(tivar).values()) == {"default"}
    assert tivar.run("settings", "show").stdout.startswith(b"no profile")


def test_a_file_called_ini_in_the_directory_changes_nothing(tivar):
    before = tivar.run("settings", "show").stdout
    (tivar.directory / ".ini").write_text("[TIVAR]\n~Mode=Mode\n[Mode]\nDriver=X\nColor Format=219\n")
    assert tivar.run("settings", "show").stdout == before
    drawing.chart(8, 4).save(tivar.directory / "in.png")
    assert bmp.read(tivar.export("in.png", "out.bmp", "--route", "driver")).bits == 24


def test_the_keys_are_those_of_the_library(tivar):
    text = tivar.run("info").stdout.decode()
    strings = set(re.findall(r'^ +\d+ +"(.*)"$', text, re.MULTILINE))
    assert set(shown(tivar)) <= strings
    assert list(shown(tivar)) == list(DEFAULTS)


def test_settings_are_shown_in_words(tivar, profile):
    options = profile("[Mode]\nDriver=D\nColor Mode=107\nColor Format=219\nFile Type=332\n")
    meanings = {key: row[1] for key, row in shown(tivar, *options).items()}
    assert meanings["Color Mode"] == "grey, inverted"
    assert meanings["Color Format"] == "4 bits, 16 colours"
    assert meanings["File Type"] == "OS/2 flavour"
    assert meanings["X Resolution"] == "pixels per inch"
    assert meanings["Width"] == "inches"


def test_what_the_profile_leaves_out_is_a_default(tivar, profile):
    options = profile("[Mode]\nDriver=D\nColor Format=222\nWidth=3.5\nX Resolution=\n")
    found = origins(tivar, *options)
    assert {key for key in found if found[key] == "profile"} == {"Driver", "Color Format", "Width"}
    assert {found[key] for key in found if found[key] != "profile"} == {"default"}
    assert values(tivar, *options)["Width"] == "3.5"


def test_values_out_of_range_are_shown_as_what_they_become(tivar, profile):
    options = profile("[Mode]\nDriver=D\nX Resolution=500\nWidth=.36.67\nHeight=0.01\n")
    rows = shown(tivar, *options)
    assert rows["X Resolution"][::2] == ("96", "default (the profile has 500)")
    assert rows["Width"][::2] == ("0.36", "profile")
    assert rows["Height"][::2] == ("5", "default (the profile has 0.01)")


def test_settings_of_the_display_are_shown_with_what_they_are(tivar, profile):
    options = profile("[Mode]\nDriver=D\nSize Mode=600\nResolution Mode=307\nWidth=3\n")
    environment = dict(os.environ, DISPLAYINFO="800x600x100x50")
    rows = shown(tivar, *options, env=environment)
    assert rows["Width"][::2] == ("8", "display") and rows["Height"][::2] == ("12", "display")
    assert rows["X Resolution"][0] == "100" and rows["Y Resolution"][0] == "50"
    assert values(tivar, *options)["X Resolution"] == "96"


def test_the_printer_falls_back_to_the_display(tivar, profile):
    rows = shown(tivar, *profile("[Mode]\nDriver=D\nSize Mode=601\nResolution Mode=308\n"))
    assert rows["Size Mode"][::2] == ("600", "display (the profile has 601)")
    assert rows["Resolution Mode"][::2] == ("307", "display (the profile has 308)")
    assert rows["Width"][2] == "display"


def test_the_profile_s_own_mode_is_shown_when_none_is_named(tivar, profile):
    profile("[TIVAR]\n~Mode=B\n[A]\nDriver=D\nWidth=2\n[B]\nDriver=D\nWidth=3\n")
    assert values(tivar, "--profile", "my.ini")["Width"] == "3"
    assert values(tivar, "--profile", "my.ini", "--mode", "a")["Width"] == "2"
    assert b"profile my.ini, mode B\n" in tivar.run(
        "settings", "show", "--profile", "my.ini"
    ).stdout


def test_a_mode_that_is_not_there_is_told_with_those_that_are(tivar, profile):
    profile("[TIVAR]\nLine Mode=3\n[One]\nDriver=A\n[Other]\nWidth=3\n[ Two ];\r\nDriver=B\n")
    cases = [([], "no mode is named"), (["--mode", "nix"], "no section nix with a key Driver")]
    for options, fragment in cases:
        result = tivar.run("settings", "show", "--profile", "my.ini", *options)
        fails(result, 1, "my.ini", fragment, "--mode: One, Two\n")


@pytest.mark.parametrize("text", ["", "[Other]\nWidth=3\n"])
def test_a_profile_without_modes_is_told_as_such(tivar, profile, text):
    profile(text)
    result = tivar.run("settings", "show", "--profile", "my.ini")
    fails(result, 1, "my.ini", "no mode", "settings init")


@pytest.mark.parametrize("command", [["show"], ["set", "bits=4"]])
def test_profiles_and_modes_that_are_not_there(tivar, profile, command):
    profile("[Mode]\nDriver=TIVAR.1\n[Other]\nWidth=3\n")
    cases = [
        (["--profile", "none.ini"], "none.ini"),
        (["--profile", "p" * 150], "143"),
        (["--profile", "my.ini"], "no mode"),
        (["--profile", "my.ini", "--mode", "Missing"], "Missing"),
        (["--profile", "my.ini", "--mode", "Other"], "Driver"),
    ]
    before = contents(tivar)
    for options, fragment in cases:
        fails(tivar.run("settings", *command, *options), 1, fragment)
    assert contents(tivar) == before
    assert os.listdir(tivar.directory) == ["my.ini"]


# --- Changing ------------------------------------------------------------------------------------

ACCEPTED = [
    ("Color Mode=105", "Color Mode=105"),
    ("color mode=inverted", "Color Mode=104"),
    ("colors=grey", "Color Mode=106"),
    ("bits=1", "Color Format=215"),
    ("BITS=24", "Color Format=222"),
    ("Color Format=219", "Color Format=219"),
    ("header=os2", "File Type=332"),
    ("file-type=Windows", "File Type=331"),
    ("compress=native", "Compression Mode=228"),
    ("compress=none", "Compression Mode=310"),
    ("x-resolution=32", "X Resolution=32"),
    ("Y_Resolution=400", "Y Resolution=400"),
    ("Resolution Mode=fixed", "Resolution Mode=310"),
    ("resolution-mode=308", "Resolution Mode=308"),
    ("size mode=display", "Size Mode=600"),
    ("line mode=0", "Line Mode=0"),
    ("Line Mode=-0", "Line Mode=0"),
    ("Line Mode=2147483647", "Line Mode=2147483647"),
    ("width=0.03125", "Width=0.03125"),
    ("WIDTH=22", "Width=22"),
    ("Width=6.67", "Width=6.67"),
    ("Width=1e1", "Width=10"),
    ("height=22.0", "Height=22"),
    ("Height=10.0625", "Height=10.0625"),
    ("Height=0.1234567890123456", "Height=0.1234567890123456"),
    ("Driver=ABCDEFGHIJKL", "Driver=ABCDEFGHIJKL"),
]


@pytest.mark.parametrize("assignment,entry", ACCEPTED)
def test_a_setting_is_written_and_read_back(tivar, profile, assignment, entry):
    options = profile("; mine\n[Mode]\nDriver=TIVAR.1\n\n[Next]\nWidth=1\n")
    change(tivar, options, assignment)
    key, value = entry.split("=")
    lines = contents(tivar).decode().splitlines()
    assert entry in lines[: lines.index("[Next]")]
    found = shown(tivar, *options)[key]
    fallback = {"Resolution Mode=308": "307"}.get(entry, value)
    assert found[0] == fallback and (found[2] == "profile" or fallback != value)
    others = [line for line in lines if line != entry and line != "Driver=TIVAR.1"]
    assert others == ["; mine", "[Mode]", "", "[Next]", "Width=1"]


REFUSED = [
    ("X Resolution=31", "32 to 400"),
    ("y-resolution=401", "32 to 400"),
    ("X Resolution=96.5", "32 to 400"),
    ("X Resolution=", "32 to 400"),
    ("X Resolution=0x60", "32 to 400"),
    ("X Resolution= 96", "32 to 400"),
    ("Width=0.03124", "0.03125 to 22"),
    ("Width=22.000001", "0.03125 to 22"),
    ("Height=-5", "0.03125 to 22"),
    ("Height=nan", "0.03125 to 22"),
    ("Height=inf", "0.03125 to 22"),
    ("Height=5,5", "0.03125 to 22"),
    ("Color Mode=102", "as-given (103)"),
    ("Color Mode=108", "grey-inverted (107)"),
    ("bits=5", "1 (215), 4 (219), 8 (221), 24 (222)"),
    ("Color Format=217", "1 (215), 4 (219), 8 (221), 24 (222)"),
    ("header=unix", "windows (331), os2 (332)"),
    ("compress=rle", "native (228)"),
    ("Resolution Mode=311", "fixed (310)"),
    ("Size Mode=603", "given (602)"),
    ("Line Mode=-1", "0 to 2147483647"),
    ("Line Mode=2147483648", "0 to 2147483647"),
    ("Driver=", "12 characters"),
    ("Driver=ABCDEFGHIJKLM", "12 characters"),
    ("Driver=A;B", "12 characters"),
    ("Driver=A\nB", "12 characters"),
    ("Font=Courier", "is no setting"),
    ("=4", "is no setting"),
    ("bits", "KEY=VALUE"),
]


@pytest.mark.parametrize("assignment,fragment", REFUSED)
def test_a_refused_value_leaves_the_profile_byte_identical(tivar, profile, assignment, fragment):
    text = b"[Mode]\r\nDriver=TIVAR.1\nWidth=3\rlast line without an end"
    options = profile(text)
    # Also behind a value that is fine.
    for assignments in ([assignment], ["height=2.5", assignment]):
        fails(tivar.run("settings", "set", *assignments, *options), 2, fragment)
        assert contents(tivar) == text


def test_a_key_that_is_given_twice_is_refused(tivar, profile):
    options = profile()
    before = contents(tivar)
    result = tivar.run("settings", "set", "bits=4", "Color Format=222", *options)
    fails(result, 2, "Color Format", "twice")
    assert contents(tivar) == before


def test_several_settings_are_changed_at_once(tivar, profile):
    options = profile()
    wanted = [f"{key}={value}" for key, value in DEFAULTS.items()]
    change(tivar, options, *wanted)
    assert contents(tivar).decode().splitlines() == ["[Mode]", *wanted]
    assert set(origins(tivar, *options).values()) == {"profile"}


def test_a_setting_that_was_set_is_what_an_export_uses(tivar, profile):
    options = profile()
    drawing.chart(60, 30).save(tivar.directory / "in.png")
    change(tivar, options, "bits=4", "header=os2", "width=2.5", "height=4", "x-resolution=200")
    written = bmp.read(tivar.export("in.png", "out.bmp", *options))
    # The page is 500 x 384 pixels, the picture twice as wide as high.
    assert (written.bits, written.os2, written.width, written.height) == (4, True, 500, 250)
    change(tivar, options, "compress=native", "width=1", "x-resolution=96", "bits=8")
    written = bmp.read(tivar.export("in.png", "out.bmp", *options, "--force"), True)
    assert (written.bits, written.encoded, written.width, written.height) == (8, True, 96, 48)
    change(tivar, options, "colors=inverted", "bits=24")
    fails(tivar.run("export", "in.png", "-o", "f.bmp", *options), 0, "colours", "--route driver")
    plain = bmp.read(tivar.export("in.png", "f.bmp", *options, "--quiet")).pixels()
    changed = bmp.read(tivar.export("in.png", "d.bmp", *options, "--route", "driver")).pixels()
    assert changed == [[tuple(255 - c for c in color) for color in row] for row in plain]


def test_an_entry_with_blanks_around_its_sign_is_replaced(tivar, profile):
    options = profile("[Mode]\nDriver=TIVAR.1\nWidth = 3 ; inches\n")
    assert origins(tivar, *options)["Width"] == "default"
    change(tivar, options, "width=4")
    assert contents(tivar) == b"[Mode]\nDriver=TIVAR.1\nWidth=4\n"


@pytest.mark.parametrize("ending", [b"\n", b"\r\n", b"\r"])
@pytest.mark.parametrize("ended", [True, False])
def test_every_line_survives_whatever_ends_it(tivar, profile, ending, ended):
    lines = [b"; \xff\x00 rubbish", b"[Mode]", b"Driver=TIVAR.1", b"", b"[Other]", b"Last=1"]
    options = profile(ending.join(lines) + (ending if ended else b""))
    change(tivar, options, "width=3", "bits=4", "height=1.5")
    wanted = lines[:4] + [b"Width=3", b"Color Format=219", b"Height=1.5"] + lines[4:]
    # A carriage return at a file's very end is no line end to the library, so another follows.
    extra = b"\r" if ending == b"\r" else b""
    assert contents(tivar) == ending.join(wanted) + ending + extra
    assert values(tivar, *options)["Height"] == "1.5"


def test_a_last_line_without_an_end_counts_once_it_is_ended(tivar, profile):
    options = profile("[Mode]\nDriver=TIVAR.1\nHeight=3")
    assert values(tivar, *options)["Height"] == "5"
    change(tivar, options, "width=2")
    assert contents(tivar) == b"[Mode]\nDriver=TIVAR.1\nHeight=3\nWidth=2\n"


def test_half_an_ending_is_completed(tivar, profile):
    options = profile("[Mode]\r\nDriver=TIVAR.1\r\nHeight=3\r")
    change(tivar, options, "width=2")
    assert contents(tivar) == b"[Mode]\r\nDriver=TIVAR.1\r\nHeight=3\r\nWidth=2\r\n"


def test_what_a_rewrite_changes_is_what_the_page_about_settings_says(tivar, profile):
    longest, longer = b"; " + b"x" * 253, b"; " + b"y" * 254
    text = b"%b\n%b\r\n[Mode]\rDriver=TIVAR.1\n" % (longest, longer)
    options = profile(text)
    change(tivar, options, "bits=4")
    split = longer[:256] + b"\n" + longer[256:] + b"\n"
    assert contents(tivar) == longest + b"\n" + split + b"[Mode]\nDriver=TIVAR.1\nColor Format=219\n"


def test_a_section_becomes_a_mode_by_its_driver(tivar, profile):
    profile("[Mode]\nDriver=TIVAR.1\n")
    options = ["--profile", "my.ini", "--mode", "Second"]
    before = contents(tivar)
    fails(tivar.run("settings", "set", "bits=4", *options), 1, "Second", "Driver=TIVAR.1")
    assert contents(tivar) == before
    change(tivar, options, "bits=4", "Driver=TIVAR.1")
    assert values(tivar, *options)["Color Format"] == "219"
    assert values(tivar, "--profile", "my.ini", "--mode", "Mode")["Color Format"] == "221"


def test_permissions_and_links_survive(tivar, profile):
    profile()
    (tivar.directory / "my.ini").chmod(0o640)
    (tivar.directory / "link.ini").symlink_to("my.ini")
    change(tivar, ["--profile", "link.ini", "--mode", "Mode"], "bits=4")
    assert (tivar.directory / "link.ini").is_symlink()
    assert stat.S_IMODE((tivar.directory / "my.ini").stat().st_mode) == 0o640
    assert b"219" in contents(tivar)
    assert sorted(os.listdir(tivar.directory)) == ["link.ini", "my.ini"]


def test_a_profile_in_inidir_is_found_and_changed_there(tivar, profile):
    (tivar.directory / "etc").mkdir()
    profile(name="etc/my.ini")
    options = ["--profile", "my.ini", "--mode", "Mode"]
    environment = dict(os.environ, INIDIR=str(tivar.directory / "etc"))
    change(tivar, options, "bits=4", env=environment)
    assert b"Color Format=219" in contents(tivar, "etc/my.ini")
    assert os.listdir(tivar.directory) == ["etc"]


def test_a_profile_that_cannot_be_written_is_an_error(tivar, profile):
    options = profile()
    before = contents(tivar)
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10, 10))
    for assignment in ("Line Mode=5", "width=3", "bits=4"):
        result = tivar.run("settings", "set", assignment, *options, limits=limit)
        fails(result, 1, "my.ini", "could not be written")
        assert contents(tivar) == before
    assert os.listdir(tivar.directory) == ["my.ini"]


@pytest.mark.skipif(os.geteuid() == 0, reason="root may write everywhere")
def test_a_write_protected_profile_is_not_replaced(tivar, profile):
    options = profile()
    (tivar.directory / "my.ini").chmod(0o444)
    fails(tivar.run("settings", "set", "bits=4", *options), 1, "my.ini", "Permission denied")
    assert b"219" not in contents(tivar)


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can become somebody else")
@pytest.mark.parametrize("mode,named", [(0o644, "my.ini"), (0o666, "")])
def test_a_profile_is_not_changed_by_somebody_else(open_place, mode, named):  # noqa: F811
    def become_somebody_else():
        os.setgid(65534)
        os.setuid(65534)

    (open_place / "my.ini").write_text("[Mode]\nDriver=TIVAR.1\n")
    (open_place / "my.ini").chmod(mode)
    before = sorted(os.listdir(open_place))
    result = Tivar(f"{open_place}/tivar", open_place).run(
        *["settings", "set", "bits=4", "--profile", "my.ini", "--mode", "Mode"],
        *["--library", "libtivar.so.2"],
        limits=become_somebody_else,
    )
    fails(result, 1, named, "Permission denied")
    assert (open_place / "my.ini").read_text() == "[Mode]\nDriver=TIVAR.1\n"
    assert sorted(os.listdir(open_place)) == before


def test_settings_go_through_the_library_s_escapes_where_it_has_them(
    tivar, profile, witness_library
):
    options = [*profile(), "--library", witness_library]
    wanted = [f"{key}={value}" for key, value in DEFAULTS.items()]
    change(tivar, options, *wanted, env=dict(os.environ, WITNESS_LOG="witness.log"))
    assert (tivar.directory / "witness.log").read_text().splitlines() == [
        "escape 1 4 1 = 1",
        "escape 11 4 1 = 1",
        "escape 12 4 1 = 1",
        "escape 13 8 1 = 1",
        "escape 14 8 1 = 1",
    ]
    assert contents(tivar).decode().splitlines() == ["[Mode]", *wanted]


# --- Starting ------------------------------------------------------------------------------------


def test_a_fresh_profile_holds_every_key_with_its_default(tivar):
    result = tivar.run("settings", "init", "--profile", "my.ini")
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    assert values(tivar, "--profile", "my.ini") == DEFAULTS
    assert set(origins(tivar, "--profile", "my.ini").values()) == {"profile"}
    lines = contents(tivar).decode().splitlines()
    assert all(len(line) <= 255 for line in lines)
    for text in ("; ", "32 to 400", "0.03125 to 22", "~Mode=Default", "332"):
        assert any(text in line for line in lines)


def test_a_fresh_profile_can_be_used_and_changed(tivar, chart):
    assert tivar.run("settings", "init", "--profile", "my.ini", "--mode", "My Mode").returncode == 0
    before = contents(tivar).decode()
    for options in (["--profile", "my.ini"], ["--profile", "my.ini", "--mode", "MY MODE"]):
        written = bmp.read(tivar.export(chart, "out.bmp", *options))
        assert (written.width, written.height, written.bits) == (640, 462, 8)
    change(tivar, ["--profile", "my.ini"], "bits=4")
    assert contents(tivar).decode() == before.replace("Color Format=221", "Color Format=219")


def test_a_profile_is_not_overwritten_unless_forced(tivar, profile):
    profile("mine\n")
    fails(tivar.run("settings", "init", "--profile", "my.ini"), 1, "my.ini", "--force")
    assert contents(tivar) == b"mine\n"
    (tivar.directory / "my.ini").chmod(0o640)
    assert tivar.run("settings", "init", "--profile", "my.ini", "--force").returncode == 0
    assert values(tivar, "--profile", "my.ini") == DEFAULTS
    assert stat.S_IMODE((tivar.directory / "my.ini").stat().st_mode) == 0o640


def test_without_a_name_the_default_profile_is_written(tivar):
    assert tivar.run("settings", "init").returncode == 0
    assert os.listdir(tivar.directory) == ["OXL.INI"]
    (tivar.directory / "etc").mkdir()
    environment = dict(os.environ, INIDIR=str(tivar.directory / "etc"))
    assert tivar.run("settings", "init", "--mode", "Etc", env=environment).returncode == 0
    assert os.listdir(tivar.directory / "etc") == ["OXL.INI"]
    text = tivar.run("settings", "show", "--profile", "OXL.INI", env=environment).stdout.decode()
    assert text.startswith(f"profile {tivar.directory}/etc/OXL.INI, mode Etc\n")


def test_a_profile_that_another_one_would_hide_is_not_started(tivar, profile):
    (tivar.directory / "etc").mkdir()
    profile(name="etc/my.ini")
    environment = dict(os.environ, INIDIR="etc")
    fails(tivar.run("settings", "init", "--profile", "my.ini", env=environment), 1, "etc/my.ini")
    assert os.listdir(tivar.directory) == ["etc"]


def test_a_fresh_profile_may_go_to_standard_output(tivar):
    assert tivar.run("settings", "init", "--profile", "my.ini").returncode == 0
    result = tivar.run("settings", "init", "--profile", "-")
    assert (result.returncode, result.stdout) == (0, contents(tivar))


@pytest.mark.parametrize("mode", ["TIVAR", "tivar", "a[b", "a]", 'a"', "a;b", " a", "a ", "a\nb"])
def test_modes_that_cannot_name_a_section_are_refused(tivar, mode):
    fails(tivar.run("settings", "init", "--profile", "my.ini", "--mode", mode), 2, "--mode")
    assert os.listdir(tivar.directory) == []


def test_a_place_that_cannot_be_written_is_an_error(tivar):
    result = tivar.run("settings", "init", "--profile", "none/my.ini")
    fails(result, 1, "none/my.ini", "No such file")
    fails(tivar.run("settings", "init", "--profile", "/" + "p" * 150), 1, "143")
    with open("/dev/full", "wb") as full:
        result = tivar.run("settings", "init", "--profile", "-", stdout=full)
    fails(result, 1, "standard output", "No space left")


# --- Usage ---------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    "arguments",
    [
        [],
        ["unknown"],
        ["show", "--mode", "Mode"],
        ["show", "extra"],
        ["set"],
        ["set", "bits=4"],
        ["set", "--profile", "my.ini"],
        ["set", "bits=4", "--profile", ""],
        ["set", "bits=4", "--profile"],
        ["init", "extra"],
        ["show", "--force"],
    ],
)
def test_wrong_usage_is_one_line_and_code_2(tivar, profile, arguments):
    profile()
    before = contents(tivar)
    fails(tivar.run("settings", *arguments), 2)
    assert contents(tivar) == before and os.listdir(tivar.directory) == ["my.ini"]


@pytest.mark.parametrize("command", [[], ["show"], ["set"], ["init"]])
def test_help_goes_to_standard_output(tivar, command):
    result = tivar.run("settings", *command, "--help")
    assert (result.returncode, result.stderr) == (0, b"")
    assert b"Usage: tivar settings" in result.stdout


def test_a_full_disk_behind_standard_output_is_an_error(tivar):
    with open("/dev/full", "wb") as full:
        fails(tivar.run("settings", "show", stdout=full), 1, "standard output", "No space left")


COMMANDS = [["settings", "show"], ["settings", "set", "bits=4"], ["export", "chart.png", "-o", "out.bmp"]]


@pytest.mark.parametrize("command", COMMANDS)
@pytest.mark.parametrize("inidir", [False, True])
def test_a_directory_is_no_profile(tivar, chart, command, inidir):
    (tivar.directory / "place" / "my.ini").mkdir(parents=True)
    environment = {**os.environ, "INIDIR": "place"} if inidir else None
    name = "my.ini" if inidir else "place/my.ini"
    result = tivar.run(*command, "--profile", name, env=environment)
    fails(result, 1, "place/my.ini", "Is a directory")
    assert not (tivar.directory / "out.bmp").exists()


@pytest.mark.parametrize("command", COMMANDS)
def test_a_profile_without_an_end_is_refused(tivar, chart, command):
    fails(tivar.run(*command, "--profile", "/dev/zero"), 1, "/dev/zero", "no regular file")
    os.mkfifo(tivar.directory / "pipe")
    fails(tivar.run(*command, "--profile", "pipe"), 1, "pipe", "no regular file")
    with open(tivar.directory / "long.ini", "wb") as profile:
        profile.write(b"[TIVAR]\n~Mode=Mode\n")
        profile.truncate(1 << 32)
    fails(tivar.run(*command, "--profile", "long.ini"), 1, "long.ini", "more than 1 megabyte")
