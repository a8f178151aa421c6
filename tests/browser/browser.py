# SPDX-License-Identifier: MIT
"""A headless Chromium in a home of its own, driven over the WebDriver protocol."""

import base64
import json
import re
import shutil
import subprocess
import tempfile
import time
import urllib.error
import urllib.request
from pathlib import Path

WAIT = 120


class BrowserError(Exception):
    """A command that the browser could not carry out: WebDriver's name of the error and its message."""

    def __init__(self, name, text):
        super().__init__(f"{name}: {text}")
        self.name = name
        self.text = text


class Browser:
    """One window. It trusts the given CA as one that its user has installed; without a CA file it trusts the
    usual ones. It reaches the given hosts at a port of this machine, and any other as its user would."""

    def __init__(self, hosts=(), port=0, ca_file=None, dark=False):
        self.folder = Path(tempfile.mkdtemp(prefix="orxaccount-browser."))
        self.driver = None
        self.session = None
        try:
            environment = self.make_home(ca_file)
            self.start_driver(environment)
            self.open_window(hosts, port, dark)
        except BaseException:
            self.close()
            raise

    def make_home(self, ca_file):
        database = self.folder / ".pki" / "nssdb"
        database.mkdir(parents=True)
        place = f"sql:{database}"
        subprocess.run(["certutil", "-d", place, "-N", "--empty-password"], check=True)
        if ca_file:
            subprocess.run(["certutil", "-d", place, "-A", "-t", "C,,", "-n", "development CA",
                            "-i", str(ca_file)], check=True)
        runtime = self.folder / "run"
        runtime.mkdir(mode=0o700)
        temporary = self.folder / "tmp"
        temporary.mkdir()
        return {"PATH": "/usr/local/bin:/usr/bin:/bin", "HOME": str(self.folder),
                "LANG": "C.UTF-8", "XDG_RUNTIME_DIR": str(runtime), "TMPDIR": str(temporary)}

    def start_driver(self, environment):
        self.driver = subprocess.Popen(
            ["chromedriver", "--port=0"], env=environment, cwd=self.folder, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, start_new_session=True)
        for line in self.driver.stdout:
            started = re.search(r"started successfully on port (\d+)", line)
            if started:
                self.address = f"http://127.0.0.1:{started[1]}"
                return
        raise BrowserError("no driver", "chromedriver ended without becoming ready")

    def open_window(self, hosts, port, dark):
        arguments = [
            "--headless", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--disable-dev-shm-usage", "--window-size=1000,760",
            # Chromium does not start with its sandbox as root or in most containers. Only the test's own
            # pages are opened, so none is needed.
            "--no-sandbox",
            f"--user-data-dir={self.folder / 'profile'}",
        ]
        if hosts:
            arguments.append("--host-resolver-rules=" + ",".join(
                f"MAP {host}:443 127.0.0.1:{port}" for host in hosts))
        if dark:
            arguments.append("--force-dark-mode")
        capabilities = {"alwaysMatch": {
            "browserName": "chrome", "acceptInsecureCerts": False,
            "goog:chromeOptions": {"binary": shutil.which("chromium"), "args": arguments}}}
        self.session = self.new_session(capabilities)

    def new_session(self, capabilities, tries=4):
        # On a busy machine the browser can start more slowly than its driver waits; try again then.
        for left in reversed(range(tries)):
            try:
                return self.send("POST", "/session", {"capabilities": capabilities})["sessionId"]
            except BrowserError as error:
                if left == 0 or "session not created" not in str(error):
                    raise

    def send(self, method, path, parameters=None):
        body = None if parameters is None else json.dumps(parameters).encode()
        request = urllib.request.Request(self.address + path, body, method=method,
                                         headers={"Content-Type": "application/json"})
        # Without this, a proxy named in the environment would get the requests to the driver.
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=WAIT) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            value = json.load(error)["value"]
            raise BrowserError(value["error"], value["message"]) from None

    def command(self, name, parameters=None):
        method = "GET" if parameters is None else "POST"
        return self.send(method, f"/session/{self.session}/{name}", parameters)

    def open(self, url):
        self.command("url", {"url": url})

    def title(self):
        return self.command("title")

    def resize(self, width, height):
        self.command("window/rect", {"width": width, "height": height})

    def evaluate(self, script, *arguments):
        """Runs the body of a function in the page and returns its result."""
        return self.command("execute/sync", {"script": script, "args": list(arguments)})

    def text(self, selector):
        return self.evaluate("return document.querySelector(arguments[0])?.innerText", selector)

    def screenshot(self, file):
        Path(file).write_bytes(base64.b64decode(self.command("screenshot")))

    def close(self):
        if self.session:
            try:
                self.send("DELETE", f"/session/{self.session}")
            except (BrowserError, OSError):
                pass  # Terminating the driver below ends the browser too.
        if self.driver:
            self.driver.terminate()
            try:
                self.driver.wait(WAIT)
            except subprocess.TimeoutExpired:
                self.driver.kill()
                self.driver.wait()
            self.driver.stdout.close()
        self.remove_folder()

    def remove_folder(self):
        # Child processes of the browser still write files for a moment after it has ended.
        end = time.monotonic() + WAIT
        while self.folder.exists():
            shutil.rmtree(self.folder, ignore_errors=time.monotonic() < end)
            time.sleep(0.05)
