"""Chromium without a window, driven over its pipe: real keys, both colour schemes, any width."""

import base64
import io
import json
import os
import select
import shutil
import subprocess
import time
from contextlib import contextmanager

from PIL import Image

TIME_LIMIT = 60  # seconds for one answer
KEYS = {
    "Tab": {"code": "Tab", "windowsVirtualKeyCode": 9},
    "Enter": {"code": "Enter", "windowsVirtualKeyCode": 13, "text": "\r"},
    " ": {"code": "Space", "windowsVirtualKeyCode": 32, "text": " "},
}


class Browser:
    """One page. Complaints are what its console and its network have to say."""

    def __init__(self, reading, writing):
        self.reading, self.writing = reading, writing
        self.pending, self.number, self.session = b"", 0, None
        self.complaints, self.loaded, self.requests = [], False, []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")

    def message(self):
        end = time.monotonic() + TIME_LIMIT
        while b"\0" not in self.pending:
            ready, _, _ = select.select([self.reading], [], [], max(0, end - time.monotonic()))
            assert ready, "the browser does not answer"
            self.pending += os.read(self.reading, 1 << 20)
        text, _, self.pending = self.pending.partition(b"\0")
        return json.loads(text)

    def take(self, event):
        method = event.get("method")
        if method in ("Runtime.exceptionThrown", "Runtime.consoleAPICalled", "Log.entryAdded"):
            self.complaints.append(event["params"])
        if method == "Network.requestWillBeSent":
            self.requests.append(event["params"]["request"]["url"])
        self.loaded = self.loaded or method == "Page.loadEventFired"

    def call(self, method, **parameters):
        self.number += 1
        request = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            request["sessionId"] = self.session
        os.write(self.writing, json.dumps(request).encode() + b"\0")
        while True:
            answer = self.message()
            if answer.get("id") == self.number:
                assert "error" not in answer, answer
                return answer["result"]
            self.take(answer)

    def open(self, path, width=1280, height=900, dark=False):
        self.call(
            "Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False
        )
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.call("Emulation.setEmulatedMedia", features=[scheme])
        self.loaded = False
        self.call("Page.navigate", url=path.as_uri())
        while not self.loaded:
            self.take(self.message())

    def run(self, expression):
        """The value of a JavaScript expression."""
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in answer, answer
        return answer["result"].get("value")

    def settle(self):
        """Until what was scrolled or changed is on the screen, where the mouse finds it."""
        self.run("new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => done(0))))")

    def key(self, kind, key):
        details = dict(KEYS[key])
        if kind == "up":
            details.pop("text", None)
        self.call("Input.dispatchKeyEvent", type="keyDown" if kind == "down" else "keyUp", key=key, **details)

    def press(self, key):
        self.key("down", key)
        self.key("up", key)

    def mouse(self, kind, x, y):
        button = "none" if kind == "Moved" else "left"
        self.call("Input.dispatchMouseEvent", type=f"mouse{kind}", x=x, y=y, button=button, clickCount=1)

    def screenshot(self, whole=False):
        data = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)["data"]
        return Image.open(io.BytesIO(base64.b64decode(data))).convert("RGB")


@contextmanager
def browser(directory):
    assert shutil.which("chromium"), "chromium is missing"
    (their_input, ours), (mine, their_output) = os.pipe(), os.pipe()
    command = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars"]
    command += ["--remote-debugging-pipe", f"--user-data-dir={directory}/profile"]
    # Its pipe has the numbers 3 and 4.
    script = f'exec "$@" 3<&{their_input} 4>&{their_output}'
    process = subprocess.Popen(
        ["bash", "-c", script, "bash", *command],
        pass_fds=(their_input, their_output),
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        env=dict(os.environ, HOME=str(directory)),
    )
    os.close(their_input)
    os.close(their_output)
    try:
        page = Browser(mine, ours)
        yield page
        page.session = None
        page.call("Browser.close")
        assert process.wait(TIME_LIMIT) == 0
    finally:
        process.kill()
        process.wait()
        os.close(ours)
        os.close(mine)
