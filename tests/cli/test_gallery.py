"""tivar gallery: every kind of file by every route, and one page that shows them without any other file."""

import base64
import html
import io
import os
import re
import resource
from urllib.parse import unquote

import drawing
import numpy
import pytest
from browser import browser
from conftest import fails
from PIL import Image, ImageFilter
from test_sizes import scaled

# The files, in the page's order, with what asks tivar export for each.
OPTIONS = {
    **{
        f"{bits}-{name}": f"--route filter --bits {bits}{more}"
        for bits, forms in (
            (24, ["windows", "os2"]),
            (8, ["windows", "windows-native", "windows-portable", "os2", "os2-native"]),
            (4, ["windows", "windows-native", "windows-portable", "os2", "os2-native"]),
            (1, ["windows", "os2"]),
        )
        for name in forms
        for more in [
            {
                "windows": "",
                "windows-native": " --compress native",
                "windows-portable": " --compress portable",
                "os2": " --os2",
                "os2-native": " --os2 --force --compress native",
            }[name]
        ]
    },
    **{f"driver-{bits}-windows": f"--route driver --bits {bits}" for bits in (24, 8, 4, 1)},
    **{f"direct-{bits}-windows": f"--route direct --bits {bits}" for bits in (24, 8, 4, 1, 32)},
    **{f"direct-{bits}-os2": f"--route direct --bits {bits} --os2" for bits in (24, 8, 4, 1)},
    **{f"direct-{bits}-windows-portable": f"--route direct --bits {bits} --compress portable" for bits in (8, 4)},
    **{
        f"direct-{bits}-windows-{kind}": f"--route direct --bits {bits} --dither {kind}"
        for bits in (4, 1)
        for kind in ("none", "ordered")
    },
    **{f"direct-16-windows-{digits}": f"--route direct --bits 16 --rgb{digits}" for digits in (565, 555)},
    **{
        f"direct-{1 if name == 'bw' else 4}-windows-{name}": (
            f"--route direct --bits {1 if name == 'bw' else 4} --palette {name}"
        )
        for name in ("epaper7", "epaper6", "bwr", "bwy", "bw", "grey4", "grey16")
    },
}


def gallery(tivar, picture, name="in.png", *options):
    """The directory and the page of a gallery that must succeed in silence."""
    picture.save(tivar.directory / name)
    result = tivar.run("gallery", name, "-o", "deep/gallery", *options)
    assert (result.returncode, result.stdout, result.stderr) == (0, b"", b"")
    directory = tivar.directory / "deep" / "gallery"
    return directory, (directory / "index.html").read_text()


def rows_of(page):
    """The files in the page's tables: name, address, what the page has to compute with, what it shows."""
    found = re.findall(
        r'<tr data-file="([^"]*)" data-psnr="([^"]*)" data-blurred="([^"]*)"><td>'
        r'<a href="([^"]*)">([^<]*)</a></td>(.*?)</tr>',
        page,
    )
    assert all(name == shown for name, _, _, _, shown, _ in found)
    return {html.unescape(name): (address, plain, blurred, rest) for name, plain, blurred, address, _, rest in found}


def cards_of(page):
    """What the page has about the pictures that it shows, by the files' names."""
    found = re.findall(r'<article class="card" data-file="([^"]*)">(.*?)</article>', page, re.DOTALL)
    return {html.unescape(name): text for name, text in found}


def widened(data):
    """The colours of a file of 16 bits: v of n levels is v * 255 / (n - 1), rounded."""
    offset, width, height = (int.from_bytes(data[at : at + 4], "little") for at in (10, 18, 22))
    words = numpy.frombuffer(data, "<u2", offset=offset).reshape(height, -1)[::-1, :width].astype(int)
    green = 6 if data[30] == 3 else 5  # masks behind the header are those of 565
    parts = [(words >> green + 5, 5), (words >> 5, green), (words, 5)]
    levels = [(part & (1 << bits) - 1, (1 << bits) - 1) for part, bits in parts]
    return Image.fromarray(numpy.stack([(2 * v * 255 + most) // (2 * most) for v, most in levels], 2).astype("uint8"))


def pixels_in(tivar, path):
    """The colours; of kinds that Pillow does not read as tivar decode has them, which other tests judge."""
    if path.name.endswith(("os2-native.bmp", "windows-native.bmp", "direct-32-windows.bmp")):
        assert tivar.run("decode", path, "decoded.png").returncode == 0
        path = tivar.directory / "decoded.png"
    if "-16-" in path.name:
        return widened(path.read_bytes())
    picture = Image.open(path)
    if "A" in picture.mode:
        return Image.alpha_composite(Image.new("RGBA", picture.size, "white"), picture.convert("RGBA")).convert("RGB")
    return picture.convert("RGB")


def ratio(picture, source):
    error = ((numpy.asarray(picture, float) - numpy.asarray(source, float)) ** 2).mean()
    return 10 * numpy.log10(255**2 / error) if error else "identical"


def is_measured_in_greys(name):
    return re.search(r"-1-(windows|os2)|-grey\d+\.bmp", "-" + name) is not None


def likeness(name, picture, source):
    """The measure of bench/quality: of the pictures, and of both after Pillow's blur."""
    if is_measured_in_greys(name):
        picture, source = picture.convert("L"), source.convert("L")
    blur = ImageFilter.GaussianBlur(2)
    return ratio(picture, source), ratio(picture.filter(blur), source.filter(blur))


def check_likeness(tivar, directory, page, source, even=None, only=""):
    """Every figure; even: the source as the filter and the driver have it."""
    rows, cards = rows_of(page), cards_of(page)
    for name, (_, *told, shown) in rows.items():
        if only not in name:
            continue
        own = source if even is None or "direct" in name else even
        picture = pixels_in(tivar, directory / name)
        for value, right in zip(told, likeness(name, picture, own)):
            if right == "identical":
                assert value == "identical", name
                text = "identical" if picture.tobytes() == own.tobytes() else "no error"
            else:
                assert abs(float(value) - right) < 2e-6, name
                text = f"{right:.2f}&nbsp;dB"
            assert f">{text}<" in shown, name
            assert name not in cards or f"<dd>{text}</dd>" in cards[name]
    return rows


def even_of(picture):
    """The source at the next even height, by the plain rule of the library's scaler."""
    width, height = picture.size
    even = Image.new("RGB", (width, height + height % 2))
    even.putdata([color for row in scaled(picture, *even.size) for color in row])
    return even


def test_every_kind_of_file_is_there_with_its_right_figures(tivar):
    picture = drawing.chart(61, 44)
    directory, page = gallery(tivar, picture)
    rows = check_likeness(tivar, directory, page, picture)
    names = {f"in-{suffix}.bmp" for suffix in OPTIONS}
    assert set(rows) == names
    assert set(os.listdir(directory)) == names | {"index.html"}
    for name, (address, *_, shown) in rows.items():
        assert address == name
        size = f">{(directory / name).stat().st_size:,}<".replace(",", "&#8239;")
        assert size in shown and re.search(r">\d+\.\d&nbsp;ms<", shown)
    for name in ("in-24-windows.bmp", "in-driver-24-windows.bmp", "in-direct-24-os2.bmp", "in-direct-32-windows.bmp"):
        assert rows[name][1:3] == ("identical", "identical")


def test_the_files_are_those_that_export_writes_for_the_options_that_the_page_tells(tivar):
    directory, page = gallery(tivar, drawing.clouds(50, 33, 5))
    rows = rows_of(page)
    for suffix, options in OPTIONS.items():
        assert f"<code>{options}</code>" in rows[f"in-{suffix}.bmp"][-1]
        expected = tivar.export("in.png", "out.bmp", *options.split())
        assert (directory / f"in-{suffix}.bmp").read_bytes() == expected, suffix


def test_each_depth_has_the_routes_side_by_side_and_the_filter_in_every_flavour_first(tivar):
    _, page = gallery(tivar, drawing.chart(61, 44))
    chapters = re.findall(r'<section id="([\w-]+)">(.*?)</section>', page, re.DOTALL)
    assert [anchor for anchor, _ in chapters] == ["bits-24", "bits-8", "bits-4", "bits-1", "bits-16-32", "panels"]
    for bits, (_, text) in zip((24, 8, 4, 1), chapters):
        routes = [f"in-{bits}-windows.bmp", f"in-driver-{bits}-windows.bmp", f"in-direct-{bits}-windows.bmp"]
        assert list(cards_of(text))[:3] == routes
        sizes = re.findall(r'<svg class="shot[^"]*" (width="\d+" height="\d+")', text)
        assert len(set(sizes)) == 1
        order = [re.sub(r"in-|\d.*", "", name) for name in rows_of(text)]
        assert order == sorted(order, key=["", "driver-", "direct-"].index)
    titles = [re.findall("<h3>(.*?)</h3>", text) for _, text in chapters]
    choices = ["Direct, not dithered", "Direct, ordered pattern"]
    assert titles[0] == ["Filter route", "Driver route", "Direct route"]
    assert titles[2][3:] == [*choices, "Filter route, colours lost"] and titles[3][3:] == choices


def test_a_source_of_an_odd_height_is_compared_as_each_route_has_it(tivar):
    picture = drawing.clouds(50, 33, 5)
    directory, page = gallery(tivar, picture)
    rows = check_likeness(tivar, directory, page, picture, even_of(picture))
    for name in ("in-24-os2.bmp", "in-driver-24-windows.bmp", "in-direct-24-os2.bmp"):
        assert rows[name][1] == "identical"
    assert "50 &times; 33 pixels" in page


def test_no_error_of_greys_is_identical_only_where_the_colours_are(tivar):
    picture = Image.new("RGB", (40, 16), (57, 0, 0))  # which has the grey 17, one of sixteen
    rows = check_likeness(tivar, *gallery(tivar, picture), picture)
    assert ">no error<" in rows["in-direct-4-windows-grey16.bmp"][-1]
    picture.paste((0, 0, 255), (5, 5, 20, 15))
    picture = picture.quantize(2)
    rows = check_likeness(tivar, *gallery(tivar, picture), picture.convert("RGB"))
    assert ">identical<" in rows["in-direct-1-windows.bmp"][-1]


@pytest.mark.parametrize("size", [(1, 1), (2, 3), (30, 117)])
def test_pictures_smaller_than_the_blur_and_larger_than_a_strip_are_measured_alike(tivar, size):
    picture = drawing.clouds(50, 160, 7).crop((5, 4, 5 + size[0], 4 + size[1]))
    directory, page = gallery(tivar, picture)
    check_likeness(tivar, directory, page, picture, even_of(picture))
    # Enlarged alike, whether their heights are even or odd.
    assert len(set(re.findall(r'<svg class="shot[^"]*" width="(\d+)"', page))) == 1


def test_transparent_pixels_are_compared_as_they_look_over_the_background(tivar):
    picture = drawing.clouds(50, 34, 3)
    picture.putalpha(Image.linear_gradient("L").resize(picture.size))
    directory, page = gallery(tivar, picture)
    rows = rows_of(page)
    assert "24 bits with alpha" in page
    for name in ("in-24-windows.bmp", "in-direct-24-windows.bmp", "in-direct-32-windows.bmp"):
        assert rows[name][1] == "identical"
    assert (directory / "in-direct-32-windows.bmp").read_bytes()[14] == 108  # it has the alpha itself


def store_of(page):
    """The pictures on the page, by their names there."""
    found = re.findall(r'<image id="(\w+)"[^>]* href="data:image/\w+;base64,([^"]+)"/>', page)
    assert len({text for _, text in found}) == len(found), "one is there twice"
    return {name: Image.open(io.BytesIO(base64.b64decode(text))) for name, text in found}


def shown_in(text):
    """The names of the pictures that a part of the page shows, and of those that take their places."""
    uses = re.findall(r'<use href="#(\w+)"(?: data-original="#(\w+)")?/>', text)
    return [name for name, _ in uses], [original or name for name, original in uses]


def test_the_page_shows_the_pixels_of_the_files(tivar):
    picture = drawing.chart(61, 44)
    directory, page = gallery(tivar, picture)
    store = store_of(page)
    (source,), _ = shown_in(page[page.index('class="source"') : page.index('class="legend"')])
    assert store[source].convert("RGB").tobytes() == picture.tobytes()
    cards = cards_of(page)
    for name, text in cards.items():
        (shown,), (original,) = shown_in(text)
        assert store[shown].convert("RGB").tobytes() == pixels_in(tivar, directory / name).tobytes(), name
        assert original == source
    # The rest are flavours and encodings of a picture that is shown; but for the damaged palettes of OS/2 files in
    # the native form.
    plain = [suffix for suffix in OPTIONS if not re.search("os2|native|portable", suffix)]
    assert set(cards) == {f"in-{suffix}.bmp" for suffix in [*plain, "8-os2-native", "4-os2-native"]}
    assert page.count("overwrites entries 2 and 3") == 2


def test_large_pictures_are_shown_reduced_with_their_middle_pixel_by_pixel(tivar):
    picture = drawing.clouds(801, 301, 2)
    directory, page = gallery(tivar, picture)
    store = store_of(page)
    cards = cards_of(page)
    for name in ("in-direct-8-windows.bmp", "in-direct-4-windows.bmp", "in-direct-24-windows.bmp"):
        whole, detail = (store[part].convert("RGB") for part in shown_in(cards[name])[0])
        written = pixels_in(tivar, directory / name)
        assert whole.size == (267, 101) and ratio(whole, written.reduce(3)) > 33
        assert detail.tobytes() == written.crop((312, 95, 488, 205)).tobytes()
    assert shown_in(cards["in-direct-24-windows.bmp"])[0] == shown_in(page[page.index('class="source"') :])[0][:2]
    # Held, an even picture is compared with the even source.
    even = even_of(picture)
    whole, detail = (store[part].convert("RGB") for part in shown_in(cards["in-8-windows.bmp"])[1])
    assert detail.tobytes() == even.crop((312, 96, 488, 206)).tobytes()
    check_likeness(tivar, directory, page, picture, even, only="8-windows.bmp")


@pytest.mark.parametrize("picture", [drawing.chart(61, 44), drawing.clouds(40, 30, 1).convert("L")])
def test_the_palettes_are_on_the_page_those_of_files_with_the_same_pixels_too(tivar, picture):
    directory, page = gallery(tivar, picture)
    for name, text in cards_of(page).items():
        swatches = re.findall(r'background:#([0-9A-F]{6})" title="(\d+): #\1"', text)
        if re.search("-(16|24|32)-", "-" + name):
            assert not swatches
            continue
        data = (directory / name).read_bytes()
        offset, header = (int.from_bytes(data[at : at + 4], "little") for at in (10, 14))
        entry = 3 if header == 12 else 4
        colors = [data[at : at + 3][::-1].hex().upper() for at in range(14 + header, offset, entry)]
        assert swatches == [(color, str(number)) for number, color in enumerate(colors)], name


NASTY = "it's <b>&\"#?%20 é.png"


def test_names_are_text_and_never_markup(tivar):
    directory, page = gallery(tivar, drawing.quarters(20, 10), NASTY)
    assert "<b>" not in page and NASTY[:-4] not in page
    rows = rows_of(page)
    assert set(rows) == {f"{NASTY[:-4]}-{suffix}.bmp" for suffix in OPTIONS}
    for name, (address, *_) in rows.items():
        assert re.fullmatch(r"[A-Za-z0-9._~%-]+", address) and unquote(address) == name
        assert (directory / name).exists()


def test_the_page_needs_no_other_file_and_is_small(tivar):
    _, page = gallery(tivar, drawing.clouds(640, 480, 4))
    assert len(page) < 2 << 20
    links = re.findall(r'\b(?:href|src|data-original)\s*=\s*"([^"]*)"', page)
    inside = set(re.findall(r'\bid="([^"]*)"', page))
    for link in links:
        if link.startswith("#"):
            assert link[1:] in inside
        else:
            assert re.match(r"data:(image/(png|jpeg);base64|$|,$)", link) or re.fullmatch(r"in-[\w-]+\.bmp", link)
    for forbidden in ("http:", "https:", "//", "url(", "@import", "fetch(", "XMLHttp", "import "):
        assert forbidden not in re.sub(r"base64,[A-Za-z0-9+/=]+", "", page), forbidden


def luminance(color):
    parts = [int(color[at : at + 2], 16) / 255 for at in (0, 2, 4)]
    parts = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]


def contrast(one, other):
    dark, light = sorted([luminance(one), luminance(other)])
    return (light + 0.05) / (dark + 0.05)


def test_text_has_the_contrast_that_accessible_pages_have(tivar):
    _, page = gallery(tivar, drawing.quarters(20, 10))
    schemes = re.findall(r":root \{(.*?)\}", page, re.DOTALL)
    assert len(schemes) == 2
    for scheme in schemes:
        colors = dict(re.findall(r"--([\w-]+): #(\w+)", scheme))
        colors = {name: color if len(color) == 6 else "".join(c * 2 for c in color) for name, color in colors.items()}
        for text in ("text", "soft", "accent", "warn"):
            assert min(contrast(colors[text], colors[ground]) for ground in ("page", "card")) >= 4.5, text
        assert contrast(colors["on-accent"], colors["accent"]) >= 4.5


# --- In a browser --------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def chromium(tmp_path_factory):
    with browser(tmp_path_factory.mktemp("browser")) as opened:
        yield opened


@pytest.mark.parametrize("name", ["in.png", NASTY])
def test_a_browser_shows_it_without_complaint(tivar, chromium, name):
    directory, _ = gallery(tivar, drawing.chart(61, 44), name)
    chromium.requests.clear()
    chromium.open(directory / "index.html")
    colors = {color for _, color in chromium.screenshot().getcolors(1 << 24)}
    # Not blank: the chart's own colours and the page's are there.
    assert len(colors) > 500 and {(246, 245, 242), (255, 255, 255)} <= colors
    assert chromium.complaints == []
    page = (directory / "index.html").as_uri()
    assert [url for url in chromium.requests if not url.startswith("data:")] == [page]


def test_it_fits_wide_and_narrow_windows_in_both_colour_schemes(tivar, chromium):
    directory, _ = gallery(tivar, drawing.clouds(640, 480, 4))
    for width, dark in ((1280, False), (1280, True), (400, False), (400, True)):
        chromium.open(directory / "index.html", width=width, dark=dark)
        assert chromium.run("document.documentElement.scrollWidth") == width
        ground = chromium.screenshot().getpixel((2, 2))
        assert ground == ((22, 23, 26) if dark else (246, 245, 242))
        tops = chromium.run(
            "[...document.querySelectorAll('#bits-8 .card')].slice(0, 3).map((e) => e.getBoundingClientRect().top)"
        )
        assert len(set(tops)) == (1 if width == 1280 else 3)
        sizes = chromium.run(
            "[...new Set([...document.querySelectorAll('.card .shot')].map((e) => e.getBoundingClientRect())"
            ".map((r) => r.width + 'x' + r.height))]"
        )
        assert sizes == ["320x240", "352x220"]


FOCUSED = "document.activeElement"
HELD = f"{FOCUSED}.closest('.card').querySelector('use').getAttribute('href')"


def test_the_keyboard_reaches_everything_and_holds_the_source_in_place_of_a_result(tivar, chromium):
    directory, page = gallery(tivar, drawing.chart(61, 44))
    (source,), _ = shown_in(page[page.index('class="source"') : page.index('class="legend"')])
    chromium.open(directory / "index.html")
    order = []
    for _ in range(200):
        chromium.press("Tab")
        what = chromium.run(f"{FOCUSED} === document.body ? '' : {FOCUSED}.tagName + ' ' + ({FOCUSED}.className)")
        if not what:
            break
        order.append(what.strip())
        assert chromium.run(f"getComputedStyle({FOCUSED}).outlineStyle") == "solid"
        assert chromium.run(f"parseFloat(getComputedStyle({FOCUSED}).outlineWidth)") >= 2
        if what.startswith("BUTTON") and order.count("BUTTON") in (2, 7):
            for key in (" ", "Enter"):
                before = chromium.run(HELD)
                chromium.key("down", key)
                assert chromium.run(HELD) == f"#{source}"
                assert chromium.run(f"{FOCUSED}.getAttribute('aria-pressed')") == "true"
                chromium.key("up", key)
                assert chromium.run(HELD) == before
                assert chromium.run(f"{FOCUSED}.getAttribute('aria-pressed')") == "false"
    cards, rows = cards_of(page), rows_of(page)
    assert order[:6] == ["A"] * 6  # the chapters
    assert order.count("BUTTON") == len(cards) and order.count("DIV scroll") == 6
    assert order.count("A") == 6 + len(rows)
    # A chapter's buttons, then its table and the files in it.
    assert order[6:15] == ["BUTTON"] * 3 + ["DIV scroll"] + ["A"] * 5


def test_the_mouse_holds_the_source_on_the_button_and_on_the_picture(tivar, chromium):
    directory, page = gallery(tivar, drawing.chart(61, 44))
    (source,), _ = shown_in(page[page.index('class="source"') : page.index('class="legend"')])
    chromium.open(directory / "index.html")
    card = "document.querySelector('#panels .card')"
    shown = f"{card}.querySelector('use').getAttribute('href')"
    before = chromium.run(shown)
    assert before != f"#{source}"
    chromium.run(f"{card}.scrollIntoView()")
    chromium.settle()
    for target in ("button", ".shot"):
        place = f"{card}.querySelector('{target}').getBoundingClientRect()"
        x, y = chromium.run(f"(r => [r.x + r.width / 2, r.y + r.height / 2])({place})")
        chromium.mouse("Moved", x, y)
        chromium.mouse("Pressed", x, y)
        assert chromium.run(shown) == f"#{source}"
        chromium.mouse("Released", x, y)
        assert chromium.run(shown) == before


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
    old = "<!DOCTYPE html>\n<title>chart.png &middot; tivar</title>\n"
    (tivar.directory / "out" / "index.html").write_text(old)
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (3000, 3000))
    result = tivar.run("gallery", "chart.png", "-o", "out", limits=limit)
    fails(result, 1, "chart-24-windows.bmp", "File too large")
    assert os.listdir(tivar.directory / "out") == ["index.html"]
    assert (tivar.directory / "out" / "index.html").read_text() == old


def test_a_page_that_is_no_gallery_s_stays(tivar, chart):
    (tivar.directory / "site").mkdir()
    page = tivar.directory / "site" / "index.html"
    page.write_text("<!DOCTYPE html>\n<title>Mine</title>\n")
    fails(tivar.run("gallery", chart, "-o", "site"), 1, "site/index.html: is there already and no gallery's")
    assert os.listdir(tivar.directory / "site") == ["index.html"]
    page.unlink()
    for _ in range(2):
        assert tivar.run("gallery", chart, "-o", "site", "--quiet").returncode == 0
