"""Chromium as a reader: one page with all files, which says in its text what it sees in each."""

import base64
import re
import subprocess
import tempfile
from pathlib import Path

PROGRAM = "chromium"

PAGE = """<!doctype html><body>%s<script>
function look(image) {
    if (!image.naturalWidth) return "refused";
    const canvas = document.createElement("canvas");
    canvas.width = image.naturalWidth;
    canvas.height = image.naturalHeight;
    const context = canvas.getContext("2d");
    context.drawImage(image, 0, 0);
    const data = context.getImageData(0, 0, canvas.width, canvas.height).data;
    let text = "";
    for (let i = 0; i < data.length; i += 4) text += String.fromCharCode(...data.subarray(i, i + 3));
    return canvas.width + " " + canvas.height + " " + btoa(text);
}
onload = () => {
    for (const image of document.querySelectorAll("img")) {
        const line = document.createElement("pre");
        line.textContent = look(image);
        document.body.append(line);
    }
};
</script>"""


def read_all(paths):
    """A picture as pnm.read has it, or None, for each file."""
    images = "".join(
        f'<img src="data:image/bmp;base64,{base64.b64encode(path.read_bytes()).decode()}">' for path in paths
    )
    with tempfile.TemporaryDirectory(prefix="tivar-readers-") as home:
        page = Path(home, "page.html")
        page.write_text(PAGE % images)
        run = subprocess.run(
            [PROGRAM, "--headless", "--no-sandbox", "--disable-gpu",
             f"--user-data-dir={home}/profile", "--dump-dom", page.as_uri()],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, timeout=120,
        )  # fmt: skip
    answers = re.findall("<pre>(.*?)</pre>", run.stdout)
    return [picture_of(answer) for answer in answers] if len(answers) == len(paths) else None


def picture_of(answer):
    if answer == "refused":
        return None
    width, height, pixels = answer.split()
    return int(width), int(height), base64.b64decode(pixels)
