"""Headless Chromium for tests: pages of a file, what their console says, the keyboard, screenshots.

    with Chromium() as browser:
        page = browser.open(path, width=400, dark=True)
        page.evaluate("document.title")
        page.press("Tab")
        page.screenshot("shot.png")

It speaks the DevTools protocol over a pair of pipes (--remote-debugging-pipe): no port is open, and nothing but
Chromium itself is needed. The page has no network: each request for one is a problem of the page.
"""

import base64
import json
import os
import pathlib
import select
import shutil
import signal
import subprocess
import tempfile
import time

TIMEOUT_SECONDS = 60
KEYS = {"Tab": 9, "Enter": 13, " ": 32}


class Chromium:
    def __init__(self):
        self._home = tempfile.mkdtemp(prefix="nimbrel-chromium-")
        to_browser, self._write = os.pipe()
        self._read, from_browser = os.pipe()
        # The protocol's descriptors are 3 and 4.
        command = ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                   "--hide-scrollbars", "--disable-background-networking", "--disable-component-update", "--no-first-run",
                   "--remote-debugging-pipe", f"--user-data-dir={self._home}/profile", "about:blank"]
        shell = f"exec 3<&{to_browser} 4>&{from_browser}; exec \"$@\""
        self._process = subprocess.Popen(["bash", "-c", shell, "bash", *command], pass_fds=(to_browser, from_browser),
                                         stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                         env={**os.environ, "HOME": self._home}, start_new_session=True)
        os.close(to_browser)
        os.close(from_browser)
        self._buffer = b""
        self._number = 0
        self.events = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self._write)
        try:
            os.killpg(self._process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self._process.wait()
        os.close(self._read)
        shutil.rmtree(self._home, ignore_errors=True)

    def send(self, method, session=None, **parameters):
        """A command of the protocol; returns its result. Events that come before are in self.events."""
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        os.write(self._write, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._message()
            if answer.get("id") == self._number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def wait_for(self, method):
        """The parameters of the next event of that name."""
        while True:
            for place, event in enumerate(self.events):
                if event.get("method") == method:
                    return self.events.pop(place)["params"]
            self.events.append(self._message())

    def _message(self):
        end = time.monotonic() + TIMEOUT_SECONDS
        while b"\0" not in self._buffer:
            if not select.select([self._read], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError("Chromium does not answer")
            data = os.read(self._read, 1 << 20)
            if not data:
                raise RuntimeError("Chromium ended")
            self._buffer += data
        message, _, self._buffer = self._buffer.partition(b"\0")
        return json.loads(message)

    def open(self, path, width=1280, height=900, dark=False, scripts=True):
        target = self.send("Target.createTarget", url="about:blank")["targetId"]
        session = self.send("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        return Page(self, session, width, height, dark, scripts).load(path)


class Page:
    def __init__(self, browser, session, width, height, dark, scripts):
        self._browser = browser
        self._session = session
        self.send("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.send("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])
        self.send("Emulation.setScriptExecutionDisabled", value=not scripts)
        for domain in ("Page", "Runtime", "Log", "Network", "Performance"):
            self.send(f"{domain}.enable")
        self.send("Page.bringToFront")  # a page in the background draws nothing

    def send(self, method, **parameters):
        return self._browser.send(method, self._session, **parameters)

    def load(self, path):
        self._browser.events.clear()
        begin = time.monotonic()
        self.send("Page.navigate", url=pathlib.Path(path).resolve().as_uri())
        self._browser.wait_for("Page.loadEventFired")
        self.load_seconds = time.monotonic() - begin
        return self

    def problems(self):
        """What the page complained of, and what it asked the network for."""
        self.evaluate("0")  # After the answer, all events from before it are here.
        found = []
        for event in self._browser.events:
            method, parameters = event.get("method"), event.get("params", {})
            if method in ("Runtime.exceptionThrown", "Runtime.consoleAPICalled") or (
                    method == "Log.entryAdded"):
                found.append(json.dumps(parameters)[:500])
            if method == "Network.requestWillBeSent" and not parameters["request"]["url"].startswith(("file:", "data:")):
                found.append(parameters["request"]["url"][:200])
        return found

    def processor_seconds(self):
        """Of the page's main thread, since the page was made."""
        metrics = self.send("Performance.getMetrics")["metrics"]
        return next(metric["value"] for metric in metrics if metric["name"] == "ThreadTime")

    def evaluate(self, expression):
        answer = self.send("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(json.dumps(answer["exceptionDetails"])[:500])
        return answer["result"].get("value")

    def press(self, key):
        code = {"key": key, "windowsVirtualKeyCode": KEYS[key]}
        text = {"Enter": "\r", " ": " "}.get(key)
        self.send("Input.dispatchKeyEvent", type="keyDown" if text else "rawKeyDown", **code,
                  **({"text": text} if text else {}))
        self.send("Input.dispatchKeyEvent", type="keyUp", **code)

    def type(self, text):
        self.send("Input.insertText", text=text)

    def screenshot(self, path, full=True):
        size = self.send("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"clip": {"x": 0, "y": 0, "width": size["width"], "height": min(size["height"], 6000), "scale": 1}}
        data = self.send("Page.captureScreenshot", format="png", captureBeyondViewport=full, **(clip if full else {}))
        pathlib.Path(path).write_bytes(base64.b64decode(data["data"]))

    def pdf(self):
        return base64.b64decode(self.send("Page.printToPDF", printBackground=False)["data"])
