"""A headless Chromium that is told what to do through two pipes."""

import base64
import json
import os
import shutil
import subprocess
import tempfile
import time


def find() -> str | None:
    for name in ("chromium", "chromium-browser", "google-chrome"):
        if shutil.which(name):
            return shutil.which(name)
    return None


class Browser:
    def __init__(self) -> None:
        self.profile = tempfile.mkdtemp()
        ours_read, theirs_write = os.pipe()
        theirs_read, ours_write = os.pipe()

        def connect() -> None:  # Chromium reads from 3 and writes to 4
            read, write = os.dup(theirs_read), os.dup(theirs_write)
            os.dup2(read, 3)
            os.dup2(write, 4)

        self.process = subprocess.Popen(
            [find(), "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             "--hide-scrollbars", f"--user-data-dir={self.profile}", "--remote-debugging-pipe",
             "about:blank"], preexec_fn=connect, close_fds=False, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(theirs_read)
        os.close(theirs_write)
        self.read, self.write = os.fdopen(ours_read, "rb", 0), os.fdopen(ours_write, "wb", 0)
        self.rest, self.number, self.session = b"", 0, None
        targets = self.call("Target.getTargets")["targetInfos"]
        page = next(t for t in targets if t["type"] == "page")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=page, flatten=True)["sessionId"]
        self.call("Page.enable")

    def call(self, method: str, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        self.write.write(json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.rest:
                got = self.read.read(1 << 16)
                if not got:
                    raise RuntimeError("the browser has ended")
                self.rest += got
            text, self.rest = self.rest.split(b"\0", 1)
            answer = json.loads(text)
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]

    def open(self, url: str) -> None:
        self.call("Page.navigate", url=url)

    def value(self, script: str):
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{script}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait(self, script: str, seconds: float = 10) -> None:
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            try:
                if self.value(script):
                    return
            except RuntimeError:
                pass  # between two pages
            time.sleep(0.05)
        raise AssertionError(f"not within {seconds} s: {script}\n" + self.text())

    def text(self) -> str:
        return self.value("document.body.className + ': ' + document.body.innerText")[:2000]

    def screen(self, width: int, height: int, dark: bool, phone: bool = False) -> None:
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=phone)
        self.call("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def picture(self, path: str) -> None:
        shot = self.call("Page.captureScreenshot", format="png")
        with open(path, "wb") as file:
            file.write(base64.b64decode(shot["data"]))

    def close(self) -> None:
        self.process.kill()
        self.process.wait()
        shutil.rmtree(self.profile, ignore_errors=True)
