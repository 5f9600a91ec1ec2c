"""Drives a headless Chromium through its debugging pipe: nothing but the browser itself is needed."""

import base64
import contextlib
import json
import os
import select
import shutil
import subprocess
import tempfile
import time
import urllib.parse

CHROMIUM = shutil.which("chromium")
LIMIT = 120  # seconds for one answer, far beyond what anything here takes

ARGUMENTS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-extensions",
             "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
             "--hide-scrollbars", "--remote-debugging-pipe", "about:blank"]

# For keys that are not the character they type: the name that pages see, and the number that the browser acts by.
KEYS = {"Enter": 13, "Escape": 27, "End": 35, "Home": 36, "ArrowLeft": 37, "ArrowUp": 38, "ArrowRight": 39, "ArrowDown": 40,
        "PageUp": 33, "PageDown": 34, "Tab": 9}


class Browser:
    """Shows one page after another. `errors` are what a page's console said and exceptions that nothing caught,
    `requests` what it asked for."""

    def __init__(self):
        self.errors, self.requests = [], []
        self._number = 0
        self._unread = b""
        self._session = None
        self._stack = contextlib.ExitStack()
        profile = self._stack.enter_context(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))
        their_input, self._output = os.pipe()
        self._input, their_output = os.pipe()
        # The browser reads commands from descriptor 3 and writes to 4, so those are opened in a shell.
        self._process = subprocess.Popen(  # pylint: disable=consider-using-with
            ["sh", "-c", f'exec 3<&{their_input} 4>&{their_output}; exec "$@"', "sh", CHROMIUM,
             f"--user-data-dir={profile}", *ARGUMENTS],
            pass_fds=(their_input, their_output), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "HOME": profile})
        os.close(their_input)
        os.close(their_output)
        targets = self.send("Target.getTargets")["targetInfos"]
        target = next(target["targetId"] for target in targets if target["type"] == "page")
        self._session = self.send("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in "Page", "Runtime", "Log", "Network":
            self.send(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(OSError, AssertionError):
            self._session = None
            self.send("Browser.close")
        self._process.wait(LIMIT)
        os.close(self._output)
        os.close(self._input)
        self._stack.close()

    def open(self, path, ready, width=1400, height=950, dark=False):
        """Shows a page from a file, as soon as the expression `ready` holds."""
        self.send("Page.navigate", url="about:blank")
        self.send("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.media(dark)
        self.errors.clear()
        self.requests.clear()
        self.send("Page.navigate", url="file://" + urllib.parse.quote(os.path.abspath(path)))
        self.wait(f"location.protocol === 'file:' && document.readyState === 'complete' && ({ready})")
        self.settled()

    def _message(self):
        while b"\0" not in self._unread:
            assert select.select([self._input], [], [], LIMIT)[0], "the browser does not answer"
            piece = os.read(self._input, 1 << 20)
            assert piece, "the browser ended"
            self._unread += piece
        message, _, self._unread = self._unread.partition(b"\0")
        return json.loads(message)

    def send(self, method, **parameters):
        self._number += 1
        session = {"sessionId": self._session} if self._session else {}
        os.write(self._output, json.dumps({"id": self._number, "method": method, "params": parameters, **session}).encode()
                 + b"\0")
        while True:
            message = self._message()
            if message.get("id") == self._number:
                assert "error" not in message, (method, message["error"])
                return message["result"]
            self._note(message.get("method"), message.get("params", {}))

    def _note(self, event, parameters):
        if event == "Runtime.exceptionThrown":
            details = parameters["exceptionDetails"]
            self.errors.append(details.get("exception", {}).get("description", details["text"]))
        elif event == "Runtime.consoleAPICalled":
            self.errors.append(str([argument.get("value") for argument in parameters["args"]]))
        elif event == "Log.entryAdded":
            self.errors.append(parameters["entry"]["text"])
        elif event == "Network.requestWillBeSent":
            self.requests.append(parameters["request"]["url"])

    def media(self, dark):
        value = "dark" if dark else "light"
        self.send("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": value}])

    def value(self, expression):
        result = self.send("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in result, result["exceptionDetails"]
        return result["result"].get("value")

    def wait(self, expression):
        end = time.monotonic() + LIMIT
        while not self.value(expression):
            assert time.monotonic() < end, expression
            time.sleep(0.02)

    def settled(self):
        """Until the browser has drawn what was changed."""
        self.value("new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => done(1))))")

    def press(self, *keys):
        for key in keys:
            code = {"windowsVirtualKeyCode": KEYS[key]} if key in KEYS else {"text": key}
            self.send("Input.dispatchKeyEvent", type="keyDown", key=key, **code)
            self.send("Input.dispatchKeyEvent", type="keyUp", key=key)
        self.settled()

    def type(self, text):
        self.send("Input.insertText", text=text)
        self.settled()

    def click(self, selector):
        x, y = self.value(f"(box => [box.x + box.width / 2, box.y + box.height / 2])"
                          f"(document.querySelector({json.dumps(selector)}).getBoundingClientRect())")
        for kind in "mousePressed", "mouseReleased":
            self.send("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)
        self.settled()

    def drag(self, selector, first, last):
        """Across an element, from one share of its width to another."""
        box = self.value(f"(box => [box.x, box.y, box.width, box.height])"
                         f"(document.querySelector({json.dumps(selector)}).getBoundingClientRect())")
        for kind, share in ("mouseMoved", first), ("mousePressed", first), ("mouseMoved", last), ("mouseReleased", last):
            self.send("Input.dispatchMouseEvent", type=kind, x=box[0] + share * box[2], y=box[1] + box[3] / 2,
                      button="none" if kind == "mouseMoved" and share == first else "left", clickCount=1)
        self.settled()

    def picture(self, path):
        self.settled()
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.send("Page.captureScreenshot", format="png")["data"]))
