"""tivar gallery: every kind of file, and one page that shows them without any other file."""

import base64
import html
import io
import math
import os
import re
import resource
import shutil
import subprocess
from urllib.parse import unquote

import bmp
import drawing
import pytest
from conftest import fails
from PIL import Image
from test_sizes import scaled

SUFFIXES = (
    [f"{bits}-{header}" for bits in (24, 8, 4, 1) for header in ("windows", "os2")]
    + [f"{bits}-{kind}" for bits in (8, 4) for kind in ("windows-native", "os2-native")]
    + ["8-windows-portable", "4-windows-portable", "8-windows-driver"]
)


def gallery(tivar, picture, name="in.png"):
    """The directory and the page of a gallery that must succeed in silence."""
    picture.save(tivar.directory / name)
    result = tivar.run("gallery", name, "-o", "deep/gallery")
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    directory = tivar.directory / "deep" / "gallery"
    return directory, (directory / "index.html").read_text()


def rows_of(page):
    """The table of files: name, address, PSNR as the page has it to compute with, what it shows."""
    found = re.findall(
        r'<tr data-file="([^"]*)" data-psnr="([^"]*)"><td><a href="([^"]*)">([^<]*)</a>(.*?)</tr>',
        page,
    )
    assert all(name == shown for name, _, _, shown, _ in found)
    return {html.unescape(name): (address, psnr, rest) for name, psnr, address, _, rest in found}


def pixels_in(path):
    """Colours by a reader of our own, which knows the native form."""
    data = path.read_bytes()
    if "portable" in path.name:
        return bmp.grid(Image.open(path).convert("RGB"))
    return bmp.read(data, encoded="native" in path.name).pixels()


def psnr(pixels, source):
    error = count = 0
    for row, wanted in zip(pixels, source, strict=True):
        for color, right in zip(row, wanted, strict=True):
            error += sum((a - b) ** 2 for a, b in zip(color, right))
            count += 3
    return "identical" if error == 0 else 10 * math.log10(255 * 255 * count / error)


def check_psnr(directory, page, source):
    rows = rows_of(page)
    for name, (_, told, shown) in rows.items():
        right = psnr(pixels_in(directory / name), source)
        if right == "identical":
            assert told == "identical" and ">identical<" in shown
        else:
            assert abs(float(told) - right) < 1e-5
            assert f">{right:.2f}&nbsp;dB<" in shown
    return rows


def test_every_kind_of_file_is_there_with_its_right_figures(tivar):
    picture = drawing.chart(61, 44)
    directory, page = gallery(tivar, picture)
    rows = check_psnr(directory, page, bmp.grid(picture))
    names = {f"in-{suffix}.bmp" for suffix in SUFFIXES}
    assert set(rows) == names
    assert set(os.listdir(directory)) == names | {"index.html"}
    for name, (address, _, shown) in rows.items():
        assert address == name
        size = (directory / name).stat().st_size
        assert f">{size:,}<".replace(",", "&#8239;") in shown
        assert re.search(r">\d+\.\d&nbsp;ms<", shown)
    assert rows["in-24-windows.bmp"][1] == "identical"


def test_the_files_are_those_that_export_writes(tivar):
    directory, _ = gallery(tivar, drawing.chart(61, 44))
    for suffix in SUFFIXES:
        bits, header, *rest = suffix.split("-")
        options = ["--route", "filter", "--bits", bits] + (["--os2", "--force"] if header == "os2" else [])
        options += ["--compress", rest[0]] if rest and rest[0] != "driver" else []
        expected = tivar.export("in.png", "out.bmp", *options)
        assert (directory / f"in-{suffix}.bmp").read_bytes() == expected, suffix


def test_a_source_of_an_odd_height_is_compared_at_the_even_one(tivar):
    picture = drawing.clouds(50, 33, 5)
    directory, page = gallery(tivar, picture)
    rows = check_psnr(directory, page, scaled(picture, 50, 34))
    assert rows["in-24-os2.bmp"][1] == "identical"
    assert "50 &times; 33 pixels" in page


def images_of(page):
    data = re.findall(r'<img class="(\w+)"[^>]* src="data:image/png;base64,([^"]+)">', page)
    return [(kind, Image.open(io.BytesIO(base64.b64decode(text)))) for kind, text in data]


def test_the_page_shows_the_pixels_of_the_files(tivar):
    picture = drawing.chart(61, 44)
    directory, page = gallery(tivar, picture)
    shown = [bmp.grid(image.convert("RGB")) for _, image in images_of(page)]
    assert shown[0] == bmp.grid(picture)
    for suffix in SUFFIXES:
        assert pixels_in(directory / f"in-{suffix}.bmp") in shown[1:], suffix
    # One for every depth; the damaged palettes of OS/2 files in the native form make their own.
    assert len(shown) == 1 + 4 + 2
    assert page.count("overwrites entries 2 and 3") == 2


def test_large_pictures_are_shown_reduced_with_a_detail_at_full_size(tivar):
    picture = drawing.clouds(1026, 500, 2)
    directory, page = gallery(tivar, picture)
    images = images_of(page)
    assert {(kind, image.size) for kind, image in images} == {
        ("whole", (513, 250)),
        ("detail", (160, 100)),
    }
    assert images[0][1].tobytes() == picture.reduce(2).tobytes()
    assert images[1][1].tobytes() == picture.crop((433, 200, 593, 300)).tobytes()
    # The figure is that of all pixels.
    written = Image.open(directory / "in-8-windows.bmp").convert("RGB").tobytes()
    error = sum((a - b) ** 2 for a, b in zip(written, picture.tobytes())) / len(written)
    told = float(rows_of(page)["in-8-windows.bmp"][1])
    assert abs(told - 10 * math.log10(255 * 255 / error)) < 1e-5


def test_the_palettes_are_on_the_page(tivar):
    directory, page = gallery(tivar, drawing.chart(61, 44))
    lists = re.findall(r'<ul class="palette[^>]*>(.*?)</ul>', page, re.DOTALL)
    swatches = [re.findall(r'background:#([0-9A-F]{6})" title="(\d+): #\1"', one) for one in lists]
    for bits in (8, 4, 1):
        colors = bmp.read((directory / f"in-{bits}-windows.bmp").read_bytes()).palette
        wanted = [("%02X%02X%02X" % color, str(i)) for i, color in enumerate(colors)]
        assert wanted in swatches


NASTY = "it's <b>&\"#?%20 é.png"


def test_names_are_text_and_never_markup(tivar):
    directory, page = gallery(tivar, drawing.quarters(20, 10), NASTY)
    assert "<b>" not in page and NASTY[:-4] not in page
    rows = rows_of(page)
    assert set(rows) == {f"{NASTY[:-4]}-{suffix}.bmp" for suffix in SUFFIXES}
    for name, (address, _, _) in rows.items():
        assert re.fullmatch(r"[A-Za-z0-9._~%-]+", address) and unquote(address) == name
        assert (directory / name).exists()


def test_the_page_needs_no_other_file(tivar):
    _, page = gallery(tivar, drawing.chart(61, 44))
    sources = re.findall(r'\bsrc\s*=\s*"([^"]*)"', page)
    assert sources and all(source.startswith("data:") for source in sources)
    links = re.findall(r'\bhref\s*=\s*"([^"]*)"', page)
    assert all(re.fullmatch(r"data:,|#p\d+-\d+|in-[\w-]+\.bmp", link) for link in links)
    for forbidden in ("http:", "https:", "//", "url(", "@import", "fetch(", "XMLHttp", "import "):
        assert forbidden not in re.sub(r"base64,[A-Za-z0-9+/=]+", "", page), forbidden


def browse(tivar, page, *options):
    """What headless Chromium says about the page, and what it prints."""
    assert shutil.which("chromium"), "chromium is missing"
    result = subprocess.run(
        ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--window-size=1280,1600"]
        + ["--hide-scrollbars", "--enable-logging=stderr", "--v=0", *options]
        + [f"--user-data-dir={tivar.directory}/profile", page.as_uri()],
        capture_output=True,
        timeout=60,
        env=dict(os.environ, HOME=str(tivar.directory)),
    )
    assert result.returncode == 0
    return result.stderr.decode(), result.stdout.decode()


@pytest.mark.parametrize("name", ["in.png", NASTY])
def test_a_browser_shows_it_without_complaint(tivar, name):
    directory, _ = gallery(tivar, drawing.chart(61, 44), name)
    shot = tivar.directory / "shot.png"
    log, _ = browse(tivar, directory / "index.html", f"--screenshot={shot}")
    assert "CONSOLE" not in log, log
    picture = Image.open(shot).convert("RGB")
    assert picture.size == (1280, 1600)
    colors = {color for _, color in picture.getcolors(1 << 24)}
    # Not blank: the chart's own colours and the page's are there.
    assert len(colors) > 500 and {(246, 245, 242), (255, 255, 255)} <= colors


COMPARE = """<script>
const [source, shown] = [".source", ".result:last-child"].map((s) => document.querySelector(s + " img"));
const before = shown.src, button = document.querySelector(".result:last-child button");
const told = [before !== source.src];
for (const kind of ["pointerdown", "pointerup"]) {
  button.dispatchEvent(new PointerEvent(kind));
  told.push(shown.src === source.src, shown.src === before);
}
console.log("told " + told.join(" "));
</script></body>"""


def test_holding_the_button_shows_the_source_in_place_of_the_result(tivar):
    directory, page = gallery(tivar, drawing.chart(61, 44))
    (directory / "probe.html").write_text(page.replace("</body>", COMPARE))
    log, _ = browse(tivar, directory / "probe.html", "--dump-dom")
    assert "told true true false false true" in log


# --- Failures ------------------------------------------------------------------------------------


def test_galleries_that_cannot_be(tivar, chart):
    fails(tivar.run("gallery", "chart.png"), 2, "see tivar gallery --help")
    fails(tivar.run("gallery", "-", "-o", "out"), 2, "standard input")
    fails(tivar.run("gallery", "none.png", "-o", "out"), 1, "none.png", "No such file")
    (tivar.directory / "text.png").write_text("text")
    fails(tivar.run("gallery", "text.png", "-o", "out"), 1, "text.png", "no picture of a known kind")
    assert sorted(os.listdir(tivar.directory)) == ["chart.png", "text.png"]
    os.rename(tivar.directory / "chart.png", tivar.directory / "index.html")
    fails(tivar.run("gallery", "index.html", "-o", "."), 1, "index.html", "the input itself")
    os.rename(tivar.directory / "index.html", tivar.directory / "chart.png")
    fails(tivar.run("gallery", "chart.png", "-o", "text.png"), 1, "text.png")
    assert (tivar.directory / "text.png").read_text() == "text"


def test_a_failing_export_leaves_the_old_page(tivar, chart):
    (tivar.directory / "out").mkdir()
    (tivar.directory / "out" / "index.html").write_text("old")
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (3000, 3000))
    result = tivar.run("gallery", "chart.png", "-o", "out", limits=limit)
    fails(result, 1, "chart-24-windows.bmp", "File too large")
    assert os.listdir(tivar.directory / "out") == ["index.html"]
    assert (tivar.directory / "out" / "index.html").read_text() == "old"
