# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
"""picture.py BUILD FILE: draws the page amid a run, with the programs built in BUILD, as the PNG file FILE."""

import base64
import pathlib
import sys
import tempfile

from browser import Browser, Simulator, until

ROOT = pathlib.Path(__file__).parents[2]


def main():
    build, file = sys.argv[1:]
    simulator = Simulator(build, str(ROOT / "simulator/scenarios"))
    with tempfile.TemporaryDirectory() as folder:
        browser = Browser(folder)
        browser.look(1280, 860)
        browser.open(simulator.address)
        browser.click("#plot-range [data-seconds='30']")
        for line in ("volume 90", "light 100", "charge 52", "charge 34 over 9", "load 80 for 6", "charge 22 over 6"):
            browser.run(line)
            browser.until_text("#scenario-state", "")
        browser.run("fail lightmanager.GetIntensity error")
        browser.run("charge 12 over 2")
        browser.until_text("#zone-text", "Critical")
        browser.run("repair all")
        until(lambda: "ceiling 40" in browser.text("#volume-ceiling"), "the ceiling")
        browser.eval("document.activeElement.blur(); window.scrollTo(0, 0)")
        picture = browser.driver.execute_cdp_cmd("Page.captureScreenshot", {})["data"]
        pathlib.Path(file).write_bytes(base64.b64decode(picture))
        browser.close()
    return simulator.stop()


sys.exit(main())
