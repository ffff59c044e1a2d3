# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
"""A simulator with its page, and a browser that looks at it."""

import base64
import os
import re
import subprocess
import tempfile
import threading
import time

from selenium import webdriver
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

# Nothing takes as long on a machine that works; what waits longer has failed.
PATIENCE = 30


class Simulator:
    """device-simulator with the power daemon on a bus of their own, and its page."""

    def __init__(self, build, scenarios, port=0):
        command = [f"{build}/simulator/device-simulator", "--private-bus", "--run",
                   f"{build}/powermanager/powermanager", "--page", "--port", str(port), "--scenarios", scenarios]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True)
        self.lines = []
        self.address = None
        # Somebody has to read what it prints, or it would stand still.
        self.reader = threading.Thread(target=self._read)
        self.reader.start()
        until(lambda: self.address or self.process.poll() is not None, "the address of the page")
        if not self.address:
            raise AssertionError("the simulator ended:\n" + "".join(self.lines))
        self.port = re.search(r":(\d+)/", self.address).group(1)

    def _read(self):
        for line in self.process.stdout:
            self.lines.append(line)
            found = re.match(r"page: (\S+)", line)
            if found:
                self.address = found.group(1)

    def stop(self):
        """Ends it as a user does; it has to end well."""
        self.process.terminate()
        status = self.process.wait(PATIENCE)
        self.reader.join()
        self.process.stdout.close()
        return status


def until(condition, what, patience=PATIENCE):
    """Waits until the condition is true, and returns what it returned."""
    end = time.monotonic() + patience
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"in vain waited for {what}")
        time.sleep(0.05)


class Browser:
    """One browser with any number of tabs. Its methods concern the present one."""

    def __init__(self, screenshots):
        options = Options()
        self.profile = tempfile.TemporaryDirectory()
        for flag in ("headless", "no-sandbox", "disable-gpu", "disable-quic", "no-first-run", "disable-sync",
                     "disable-background-networking", "disable-component-update", "hide-scrollbars",
                     f"user-data-dir={self.profile.name}"):
            options.add_argument(f"--{flag}")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.driver.set_script_timeout(PATIENCE)
        self.screenshots = screenshots
        self.look(1280, 900)

    def close(self):
        self.driver.quit()
        self.profile.cleanup()

    def look(self, width, height, is_dark=False):
        """Sets the window's size and what the system prefers."""
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark" if is_dark else "light"}]})

    def open(self, address):
        self.driver.get(address)
        self.until_text("#connection", "Connected")
        until(lambda: self.text("#charge-text") != "–", "the device's state")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def eval(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def text(self, selector):
        return self.eval("return document.querySelector(arguments[0]).textContent", selector)

    def attribute(self, selector, name):
        return self.eval("return document.querySelector(arguments[0]).getAttribute(arguments[1])", selector, name)

    def until_text(self, selector, text, patience=PATIENCE):
        """Waits for an element whose whole text is that."""
        until(lambda: self.eval("return document.querySelector(arguments[0])?.textContent === arguments[1]",
                                selector, text),
              f'"{text}" in {selector}, which has "{self.text(selector)}"', patience)

    def until_attribute(self, selector, name, value):
        until(lambda: self.attribute(selector, name) == value, f'{name}="{value}" of {selector}')

    def click(self, selector):
        element = self.find(selector)
        self.eval("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def type(self, selector, text):
        """Replaces what is in a field."""
        field = self.find(selector)
        self.eval("arguments[0].scrollIntoView({block: 'center'})", field)
        field.send_keys(Keys.CONTROL, "a", Keys.NULL, Keys.BACKSPACE, text)

    def choose(self, selector, value):
        self.eval("""const [field, value] = [document.querySelector(arguments[0]), arguments[1]];
                     field.value = value;
                     field.dispatchEvent(new Event("input", {bubbles: true}));
                     field.dispatchEvent(new Event("change", {bubbles: true}))""", selector, value)

    def run(self, line):
        """Types a line of the simulator's language."""
        self.type("#command", line)
        self.find("#command").send_keys(Keys.ESCAPE, Keys.ENTER)
        self.until_text("#command", "")
        until(lambda: self.find("#command").get_property("value") == "", f'the line "{line}" to be taken')

    def run_at_once(self, *lines):
        """Gives lines to the command line without typing them."""
        self.eval("""for (const line of arguments[0]) {
                       document.querySelector("#command").value = line;
                       document.querySelector("#command-form").requestSubmit();
                     }""", lines)

    def actions(self):
        return ActionChains(self.driver, duration=20)

    def rows(self):
        """The rows that exist, from top to bottom: (place, kind, text)."""
        return [(int(n), kind, text) for n, kind, text in self.eval(
            """return [...document.querySelectorAll(".row:not([hidden])")]
                   .map(row => [row.dataset.n, row.dataset.kind, row.querySelector(".row-text").textContent])
                   .sort((a, b) => a[0] - b[0])""")]

    def filter(self, text):
        self.eval("document.querySelector('#filters').open = true")
        self.choose("#filter-text", text)

    def until_row(self, kind, text, patience=PATIENCE):
        """Waits for a row of that kind with that text in it, wherever in the timeline it is. Returns its place."""
        self.filter(text)
        try:
            return until(lambda: next((n for n, its_kind, its in self.rows() if its_kind == kind and text in its), None),
                         f'a row "{kind}" with "{text}"', patience)
        finally:
            self.filter("")

    def row(self, n):
        """The row at that place, as soon as it is drawn."""
        return until(lambda: next(iter(self.all(f".row[data-n='{n}']:not([hidden])")), None), f"row {n}")

    def screenshot(self, name, is_whole=True):
        """Keeps a picture of the page."""
        self.eval("window.scrollTo(0, 0)")
        area = {}
        if is_whole:
            size = self.driver.execute_cdp_cmd("Page.getLayoutMetrics", {})["cssContentSize"]
            area = {"captureBeyondViewport": True,
                    "clip": {"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1}}
        picture = self.driver.execute_cdp_cmd("Page.captureScreenshot", area)["data"]
        os.makedirs(self.screenshots, exist_ok=True)
        with open(f"{self.screenshots}/{name}.png", "wb") as file:
            file.write(base64.b64decode(picture))
