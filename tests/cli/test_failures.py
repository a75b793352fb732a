"""Whatever goes wrong: one line that names the file, a non-zero code, the old file as it was."""

import io
import os
import resource
import shutil
import subprocess
import tempfile
import time
import zlib
from pathlib import Path

import drawing
import pytest
from conftest import Tivar, fails
from PIL import Image

VIAS = ["file", "memory", "document"]


def encoded(format, **options):
    stream = io.BytesIO()
    drawing.clouds(64, 48, 3).save(stream, format, **options)
    return stream.getvalue()


def expect_failure(tivar, data, *fragments):
    """data as an input fails, and the old output stays."""
    (tivar.directory / "in.dat").write_bytes(data)
    (tivar.directory / "out.bmp").write_bytes(b"old")
    result = tivar.run("export", "in.dat", "-o", "out.bmp")
    fails(result, 1, "in.dat", *fragments)
    assert (tivar.directory / "out.bmp").read_bytes() == b"old"


def test_a_missing_file(tivar):
    fails(tivar.run("export", "none.png", "-o", "out.bmp"), 1, "none.png", "No such file")
    assert not (tivar.directory / "out.bmp").exists()


def test_a_directory_as_input(tivar):
    (tivar.directory / "folder").mkdir()
    fails(tivar.run("export", "folder", "-o", "out.bmp"), 1, "folder", "directory")


@pytest.mark.parametrize("data", [b"", b"x", b"plain text\n", b"P", b"P7\n", b"PNG", b"BM" * 40])
def test_files_that_are_no_pictures(tivar, data):
    expect_failure(tivar, data)


PNG = encoded("PNG")


@pytest.mark.parametrize("keep", [2, 8, 20, 33, 40, len(PNG) // 2, -40, -13, -12, -4, -1])
def test_a_truncated_png(tivar, keep):
    expect_failure(tivar, PNG[:keep])


def test_a_png_with_a_damaged_byte(tivar):
    damaged = bytearray(PNG)
    damaged[len(damaged) // 2] ^= 0x40
    expect_failure(tivar, bytes(damaged))


JPEG = encoded("JPEG", quality=90)


@pytest.mark.parametrize("progressive", [False, True])
@pytest.mark.parametrize("keep", [2, 20, 300, 0.5, 0.9, -20, -2, -1])
def test_a_truncated_jpeg(tivar, keep, progressive):
    data = encoded("JPEG", quality=90, progressive=True) if progressive else JPEG
    expect_failure(tivar, data[: int(len(data) * keep) if 0 < keep < 1 else int(keep)])


def test_a_jpeg_with_damaged_data(tivar):
    damaged = bytearray(JPEG)
    middle = len(damaged) * 2 // 3
    damaged[middle : middle + 2] = b"\xff\xd9"
    expect_failure(tivar, bytes(damaged))


PNM = {
    "P1": b"P1\n4 4\n" + b"0 1 0 1\n" * 4,
    "P2": b"P2\n4 4\n255\n" + b"1 2 3 44\n" * 4,
    "P3": b"P3\n2 4\n255\n" + b"1 2 3 4 5 66\n" * 4,
    "P4": b"P4\n16 8\n" + b"\x55" * 16,
    "P5": b"P5\n8 8\n255\n" + b"\x55" * 64,
    "P5 of 15": b"P5\n8 8\n15\n" + b"\x05" * 64,
    "P6": b"P6\n8 8\n255\n" + b"\x55" * 192,
    "P6 of 65535": b"P6\n8 8\n65535\n" + b"\x55" * 384,
}


@pytest.mark.parametrize("kind", PNM)
def test_the_truncated_pnm_files_below_are_pictures_when_whole(tivar, kind):
    (tivar.directory / "in.pnm").write_bytes(PNM[kind])
    tivar.export("in.pnm", "out.bmp")


@pytest.mark.parametrize("keep", [2, 5, 10, 0.6, -6])
@pytest.mark.parametrize("kind", PNM)
def test_a_truncated_pnm(tivar, kind, keep):
    data = PNM[kind]
    expect_failure(tivar, data[: int(len(data) * keep) if 0 < keep < 1 else int(keep)])


def test_a_truncated_raw_pnm_tells_how_much_is_there(tivar):
    expect_failure(tivar, PNM["P6"][:-1], "7 of 8 rows")


def png_of_width(width):
    header = b"IHDR" + width.to_bytes(4, "big") + PNG[20:29]
    return PNG[:12] + header + zlib.crc32(header).to_bytes(4, "big") + PNG[33:]


@pytest.mark.parametrize(
    "data",
    [
        b"P4 65536 1\n" + bytes(8192),
        b"P4 1 65536\n" + bytes(65536),
        b"P6 70000 70000 255\n",
        png_of_width(70000),
    ],
    ids=["one too wide", "one too tall", "both", "png"],
)
def test_a_side_over_65535_pixels(tivar, data):
    expect_failure(tivar, data, "65535")


@pytest.mark.parametrize("data", [b"P5 0 4 255\n", b"P6 4 0 255\n", b"P6 -4 4 255\n" + bytes(48)])
def test_a_picture_without_pixels(tivar, data):
    expect_failure(tivar, data)


def test_more_than_four_gigabytes_of_pixels(tivar):
    expect_failure(tivar, b"P6 60000 60000 255\n", "4 gigabytes")


@pytest.mark.parametrize(
    "size,bits", [("60000x60000", 24), ("65000x33040", 8)]
)
def test_a_file_of_more_than_two_gigabytes(tivar, chart, size, bits):
    options = ["--route", "filter", "--size", size, "--bits", bits]
    result = tivar.run("export", chart, "-o", "out.bmp", *options)
    fails(result, 1, "chart.png", "2 gigabytes")
    assert not (tivar.directory / "out.bmp").exists()


def test_more_rows_than_the_os2_flavour_holds(tivar):
    (tivar.directory / "in.pbm").write_bytes(b"P4 1 65535\n" + bytes(65535))
    asked = ["export", "in.pbm", "-o", "out.bmp", "--os2"]
    fails(tivar.run(*asked, "--route", "filter"), 1, "65534")
    assert tivar.run(*asked).returncode == 0


def test_a_missing_target_directory(tivar, chart):
    fails(tivar.run("export", chart, "-o", "none/out.bmp"), 1, "none/out.bmp", "No such file")


def test_a_file_as_target_directory(tivar, chart):
    fails(tivar.run("export", chart, "-o", f"{chart}/out.bmp"), 1, "Not a directory")


@pytest.mark.skipif(os.geteuid() == 0, reason="root may write everywhere")
def test_an_unwritable_directory(tivar, chart):
    (tivar.directory / "closed").mkdir(mode=0o555)
    result = tivar.run("export", chart, "-o", "closed/out.bmp")
    fails(result, 1, "closed/out.bmp", "Permission denied")


@pytest.mark.skipif(os.geteuid() == 0, reason="root may write everywhere")
def test_a_write_protected_file_is_not_replaced(tivar, chart):
    old = tivar.directory / "out.bmp"
    old.write_bytes(b"old")
    old.chmod(0o444)
    fails(tivar.run("export", chart, "-o", "out.bmp"), 1, "out.bmp", "Permission denied")
    assert old.read_bytes() == b"old"


@pytest.fixture
def open_place(program, library, chart):
    """A directory that everybody can read and only its owner can write, with all that a run needs."""
    with tempfile.TemporaryDirectory() as place:
        os.chmod(place, 0o755)
        shutil.copy(program, f"{place}/tivar")
        shutil.copy(library, f"{place}/libtivar.so.2")
        shutil.copy(chart, f"{place}/in.png")
        with open(f"{place}/old.bmp", "wb") as old:
            old.write(b"old")
        yield Path(place)


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can become somebody else")
@pytest.mark.parametrize("target", ["out.bmp", "old.bmp"])
def test_an_unwritable_directory_for_somebody_else(open_place, target):
    def become_somebody_else():
        os.setgid(65534)
        os.setuid(65534)

    other = Tivar(f"{open_place}/tivar", open_place)
    before = sorted(os.listdir(open_place))
    result = other.run(
        "export", "in.png", "-o", target, "--library", "libtivar.so.2", limits=become_somebody_else
    )
    fails(result, 1, target, "Permission denied")
    assert sorted(os.listdir(open_place)) == before
    assert (open_place / "old.bmp").read_bytes() == b"old"


def become(user, group):
    def change():
        os.setgroups([])
        os.setgid(group)
        os.setuid(user)

    return change


# A group that the user is not in would otherwise be given what only the old group had.
@pytest.mark.skipif(os.geteuid() != 0, reason="only root can become somebody else")
def test_a_group_that_cannot_be_kept_gets_no_more_than_everybody(open_place):
    target = open_place / "old.bmp"
    os.chown(target, 65534, 4321)
    target.chmod(0o664)
    open_place.chmod(0o777)
    other = Tivar(f"{open_place}/tivar", open_place)
    result = other.run(
        "export", "in.png", "-o", "old.bmp", "--library", "./libtivar.so.2", limits=become(65534, 65534)
    )
    assert (result.returncode, result.stderr) == (0, b"")
    status = target.stat()
    assert (status.st_mode & 0o777, status.st_uid, status.st_gid) == (0o644, 65534, 65534)


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can become somebody else")
def test_somebody_elses_file_in_a_sticky_directory_is_told_before_the_work(open_place, slow_picture):
    shutil.copy(slow_picture, open_place / "slow.ppm")
    (open_place / "slow.ppm").chmod(0o644)
    (open_place / "old.bmp").chmod(0o666)
    open_place.chmod(0o1777)
    other = Tivar(f"{open_place}/tivar", open_place)
    arguments = ["export", "slow.ppm", "-o", "old.bmp", "--bits", "8", "--route", "filter"]
    arguments += ["--library", "./libtivar.so.2"]
    begin = time.monotonic()
    result = other.run(*arguments, limits=become(65534, 65534))
    refused = time.monotonic() - begin
    fails(result, 1, "old.bmp", "Operation not permitted")
    assert (open_place / "old.bmp").read_bytes() == b"old"
    os.chown(open_place / "old.bmp", 65534, 65534)
    begin = time.monotonic()
    assert other.run(*arguments, limits=become(65534, 65534)).returncode == 0
    assert refused < (time.monotonic() - begin) / 2


# Every limit until one is enough: what fails is told to be the limit.
@pytest.mark.parametrize("options", [[], ["--route", "driver"], ["--via", "document"], ["--via", "memory"]])
def test_a_limit_on_open_files_is_blamed(tivar, chart, options):
    refusals = 0
    for count in range(5, 30):
        limits = lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (count, count))
        result = tivar.run("export", chart, "-o", "out.bmp", *options, limits=limits)
        if result.returncode == 0:
            assert refusals > 0
            return
        if b"error while loading shared" in result.stderr or b"cannot be loaded" in result.stderr:
            continue
        fails(result, 1, "Too many open files", "ulimit -n")
        refusals += 1
    raise AssertionError("30 open files are not enough")


@pytest.mark.parametrize("via", VIAS)
def test_a_device_without_room(tivar, chart, via):
    result = tivar.run("export", chart, "-o", "/dev/full", "--via", via)
    fails(result, 1, "/dev/full", "No space left on device")
    assert os.path.exists("/dev/full")


def test_standard_output_without_room(tivar, chart):
    with open("/dev/full", "wb") as full:
        result = tivar.run("export", chart, "-o", "-", stdout=full)
    fails(result, 1, "standard output", "No space left on device")


def limited(kind, count):
    return lambda: resource.setrlimit(kind, (count, count))


@pytest.mark.parametrize("bits", [1, 8, 24])
@pytest.mark.parametrize("encode", [False, True])
@pytest.mark.parametrize("via", VIAS)
@pytest.mark.parametrize("room", [0, 10, 100, 4096])
def test_a_file_cut_off_by_a_limit(tivar, via, room, encode, bits):
    drawing.clouds(400, 300, 3).save(tivar.directory / "in.png")
    (tivar.directory / "out.bmp").write_bytes(b"old")
    options = ["--via", via, "--bits", bits] + (["--compress", "native"] if encode else [])
    result = tivar.run(
        "export", "in.png", "-o", "out.bmp", *options, limits=limited(resource.RLIMIT_FSIZE, room)
    )
    fails(result, 1, "out.bmp", "File too large")
    assert (tivar.directory / "out.bmp").read_bytes() == b"old"


@pytest.fixture
def tiny_disk(tmp_path):
    place = tmp_path / "disk"
    place.mkdir()
    mounted = subprocess.run(
        ["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", str(place)], capture_output=True
    )
    if mounted.returncode != 0:
        pytest.skip("mounting is not allowed")
    yield place
    subprocess.run(["umount", str(place)], check=True)


@pytest.mark.parametrize("via", VIAS)
def test_a_full_disk(tivar, tiny_disk, via):
    drawing.clouds(400, 300, 3).save(tivar.directory / "in.png")
    (tiny_disk / "out.bmp").write_bytes(b"old")
    result = tivar.run("export", "in.png", "-o", tiny_disk / "out.bmp", "--via", via)
    fails(result, 1, "out.bmp", "No space left on device")
    assert sorted(p.name for p in tiny_disk.iterdir()) == ["out.bmp"]
    assert (tiny_disk / "out.bmp").read_bytes() == b"old"


@pytest.mark.parametrize("bits", [1, 4, 8, 24])
@pytest.mark.parametrize("megabytes", [40, 75, 100, 115, 130])
def test_exhausted_memory_is_one_line_and_never_a_wrong_file(tivar, sanitized, megabytes, bits):
    if sanitized:
        pytest.skip("the sanitizer needs the address space itself")
    (tivar.directory / "in.pgm").write_bytes(b"P5 6000 5000 255\n" + bytes(30_000_000))
    (tivar.directory / "out.bmp").write_bytes(b"old")
    result = tivar.run(
        "export",
        "in.pgm",
        "-o",
        "out.bmp",
        "--bits",
        bits,
        limits=limited(resource.RLIMIT_AS, megabytes << 20),
    )
    if result.returncode == 0:
        assert Image.open(tivar.directory / "out.bmp").convert("L").getextrema() == (0, 0)
    else:
        fails(result, 1, "memory")
        assert (tivar.directory / "out.bmp").read_bytes() == b"old"
