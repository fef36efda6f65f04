"""A browser without a window, told what to do by the protocol that its driver speaks."""

import base64
import json
import os
import re
import shutil
import subprocess
import tempfile
import time
import urllib.request

ARGUMENTS = (
    "--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
    "--disable-component-update --disable-sync --hide-scrollbars --force-color-profile=srgb"
).split()
START_LIMIT = 60  # seconds


class Browser:
    """Lives as long as the `with` that it is made for. Whatever the browser keeps goes with it."""

    def __enter__(self):
        self.profile = tempfile.mkdtemp(prefix="qxfl-browser-")
        self.log = open(os.path.join(self.profile, "driver.log"), "w+")
        self.driver = subprocess.Popen(
            ["chromedriver", "--port=0"], stdout=self.log, stderr=self.log, stdin=subprocess.DEVNULL,
            env={**os.environ, "HOME": self.profile},
        )
        try:
            self.base = f"http://127.0.0.1:{self.port()}/session"
            options = {"args": ARGUMENTS + [f"--user-data-dir={self.profile}/data"]}
            made = self.post("", {"capabilities": {"alwaysMatch": {
                "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
            self.base += "/" + made["sessionId"]
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        if "/session/" in getattr(self, "base", ""):
            try:
                self.request(self.base, "DELETE")
            except OSError:
                pass
        self.driver.terminate()
        self.driver.wait()
        self.log.close()
        shutil.rmtree(self.profile, ignore_errors=True)

    def port(self):
        end = time.monotonic() + START_LIMIT
        while time.monotonic() < end and self.driver.poll() is None:
            with open(self.log.name) as log:
                started = re.search(r"successfully on port (\d+)", log.read())
            if started:
                return int(started[1])
            time.sleep(0.05)
        raise RuntimeError("chromedriver does not start")

    def request(self, address, method, body=None):
        data = None if body is None else json.dumps(body).encode()
        asked = urllib.request.Request(address, data, {"Content-Type": "application/json"}, method=method)
        try:
            # Not by a proxy: the driver is on this machine.
            opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
            with opener.open(asked, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"].split("\n")[0]) from None

    def post(self, command, body):
        return self.request(self.base + command, "POST", body)

    def open(self, address):
        self.post("/url", {"url": address})

    def size(self, width, height):
        self.post("/goog/cdp/execute", {"cmd": "Emulation.setDeviceMetricsOverride", "params": {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600}})

    def run(self, script):
        return self.post("/execute/sync", {"script": script, "args": []})

    def type(self, selector, text):
        element = self.post("/element", {"using": "css selector", "value": selector})
        self.post(f"/element/{next(iter(element.values()))}/value", {"text": text})

    def enter_frame(self, selector):
        """Scripts look into this frame from now on; into the page again with null."""
        self.post("/frame", {"id": selector and self.post("/element", {"using": "css selector", "value": selector})})

    def wait_for(self, script, limit=10):
        end = time.monotonic() + limit
        while True:
            value = self.run(script)
            if value or time.monotonic() > end:
                return value
            time.sleep(0.05)

    def picture(self, path):
        path.write_bytes(base64.b64decode(self.request(self.base + "/screenshot", "GET")))

    def errors(self):
        """What the pages complained of since the last call."""
        return [entry["message"] for entry in self.post("/se/log", {"type": "browser"}) if entry["level"] == "SEVERE"]
