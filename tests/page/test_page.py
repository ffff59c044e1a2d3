# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
"""The simulator's page in a real browser, with the power daemon: see "run" beside this file."""

import json
import os
import pathlib
import shutil
import tempfile
import unittest

from selenium.webdriver.common.keys import Keys

import accessibility
from browser import Browser, Simulator, until

ROOT = pathlib.Path(__file__).parents[2]
BUILD = os.environ["ZELT_BUILD"]
SCREENSHOTS = f"{ROOT}/build/page-screenshots"

# All files of the page together, in bytes.
MOST_WEIGHT = 300_000

browser = None
scenarios = None
simulator = None


def setUpModule():
    global browser, scenarios, simulator
    shutil.rmtree(SCREENSHOTS, ignore_errors=True)
    scenarios = tempfile.mkdtemp()
    pathlib.Path(scenarios, "long.scenario").write_text("note it begins\nwait 600\n", encoding="utf-8")
    simulator = Simulator(BUILD, scenarios)
    browser = Browser(SCREENSHOTS)


def tearDownModule():
    browser.close()
    shutil.rmtree(scenarios)
    status = simulator.stop()
    assert status == 0, f"the simulator ended with {status}:\n" + "".join(simulator.lines[-20:])


class PageTest(unittest.TestCase):
    """A fresh tab; the session goes on from test to test. Nothing may complain in the browser's console."""

    expected_in_console = ()

    def setUp(self):
        browser.open(simulator.address)
        # As the tests expect the device, whatever the one before left.
        browser.run_at_once("repair all", "charge 100", "charge 80", "volume 90", "light 100", "light on")
        browser.until_text("#charge-text", "80 %")
        browser.until_text("#zone-text", "Normal")

    def tearDown(self):
        outcome = self._outcome.result
        if any(test is self for test, _ in outcome.failures + outcome.errors):
            browser.screenshot(f"failed-{self._testMethodName}")
        messages = [entry["message"] for entry in browser.driver.get_log("browser")]
        unexpected = [text for text in messages if not any(part in text for part in self.expected_in_console)]
        self.assertEqual(unexpected, [], "the browser's console")


class Device(PageTest):
    def drag(self, selector, percent):
        """Drags a scale from where it is to a percentage."""
        element = browser.find(selector)
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", element)
        width = element.size["width"] - 2 * float(browser.eval(
            "return parseFloat(getComputedStyle(arguments[0]).getPropertyValue('--inset'))", element))
        now = int(element.get_attribute("aria-valuenow"))
        at = [round((each / 100 - 0.5) * width) for each in (now, (now + percent) / 2, percent)]
        actions = browser.actions().move_to_element_with_offset(element, at[0], 0).click_and_hold()
        for x in at[1:]:
            actions.move_to_element_with_offset(element, x, 0)
        actions.release().perform()

    def colours(self, plot):
        """How many pixels of a plot have which of the style sheet's colours."""
        return browser.eval("""
            const canvas = document.querySelector(`#${arguments[0]}-plot canvas`);
            const copy = Object.assign(document.createElement("canvas"), {width: canvas.width, height: canvas.height});
            const context = copy.getContext("2d", {willReadFrequently: true});
            context.drawImage(canvas, 0, 0);
            const pixels = new Uint32Array(context.getImageData(0, 0, copy.width, copy.height).data.buffer);
            const probe = document.body.appendChild(document.createElement("i"));
            const names = ["--line-charge", "--line-volume", "--line-light", "--line-load", "--zone-0", "--zone-4", "--mark-command", "--mark-zone"];
            const counts = {};
            for (const name of names) {
              probe.style.color = `var(${name})`;
              const [r, g, b] = getComputedStyle(probe).color.match(/\\d+/g).map(Number);
              const wanted = (255 << 24 | b << 16 | g << 8 | r) >>> 0;
              counts[name] = pixels.reduce((count, pixel) => count + (pixel === wanted), 0);
            }
            probe.remove();
            return counts;""", plot)

    def test_dragged_battery_changes_zone_ceilings_plots_and_timeline(self):
        browser.until_text("#volume-ceiling", "no ceiling")

        self.drag("#charge", 12)

        browser.until_text("#charge-text", "12 %")
        browser.until_text("#zone-text", "Critical")
        until(lambda: browser.eval("return document.querySelector('#zone-strip [aria-current]')?.textContent")
              .startswith("Critical"), "the zone in force on the strip")
        browser.until_text("#volume-ceiling", "ceiling 40")
        browser.until_text("#light-ceiling", "ceiling 20")
        browser.until_text("#volume-text", "40")
        browser.until_text("#light-text", "20")
        browser.until_row("command", "charge 12")
        browser.until_row("signal", "powermanager.PowerZoneChanged(Critical)")
        browser.until_row("call", "soundmanager.SetMasterVolume(40) -> 0")
        until(lambda: all(self.colours("levels")[name] > 50 for name in (
            "--line-charge", "--line-volume", "--line-light", "--zone-0", "--mark-zone")), "the lines of the levels")
        until(lambda: self.colours("cpu")["--line-load"] > 50, "the line of the load")

        browser.find("#charge").send_keys(Keys.ARROW_UP, Keys.PAGE_UP)
        browser.until_text("#charge-text", "23 %")
        browser.until_text("#zone-text", "Low")

    def test_switches_and_store_act_on_the_device(self):
        browser.click("#switches button:nth-of-type(1)")
        browser.until_attribute("#switches button:nth-of-type(1)", "aria-checked", "false")
        browser.until_row("command", "light off")
        browser.click("#switches button:nth-of-type(1)")
        browser.until_attribute("#switches button:nth-of-type(1)", "aria-checked", "true")
        browser.click("#mode [value=access-point]")
        browser.until_row("command", "mode access-point")
        browser.click("#mode [value=infrastructure]")
        browser.click(".rung[aria-label='96 MHz']")
        browser.until_row("command", "freq 96")

        for field, text in (("group", "GENERAL"), ("key", "Nickname"), ("value", 'Kitchen "upstairs", left')):
            browser.type(f"#store-{field}", text)
        browser.click("#store-form button")
        value = until(lambda: next(iter(browser.all("[data-key='GENERAL/Nickname'] input")), None), "the new key")
        until(lambda: value.get_property("value") == 'Kitchen "upstairs", left', "the value, with its quotation marks")
        browser.type("[data-key='GENERAL/Nickname'] input", "Hall")
        value.send_keys(Keys.ENTER)
        browser.until_row("command", "config GENERAL Nickname Hall")
        browser.type("#store-search", "no such thing")
        until(lambda: not browser.find("[data-key='GENERAL/Nickname']").is_displayed(), "the key to be hidden")
        browser.type("#store-search", "hall")
        until(lambda: browser.find("[data-key='GENERAL/Nickname']").is_displayed(), "the key to be found by its value")
        browser.click("[data-key='GENERAL/Nickname'] button")
        until(lambda: not browser.all("[data-key='GENERAL/Nickname']"), "the key to be removed")


class Buttons(PageTest):
    RESET = "#buttons .hold:nth-child(1)"
    SEEK = "#buttons .hold:nth-child(2)"

    def test_held_button_resets_and_reboots_the_device(self):
        browser.eval("""
            window.seenStates = new Set();
            window.blinks = 0;
            new MutationObserver(() => window.seenStates.add(document.querySelector("#daemon-state").textContent))
                .observe(document.querySelector("#daemon-state"), {childList: true, characterData: true, subtree: true});
            new MutationObserver(() => { window.blinks += 1; })
                .observe(document.querySelector("#lamp"), {attributes: true, attributeFilter: ["aria-label"]});""")
        reset = browser.find(self.RESET)
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", reset)

        browser.actions().click_and_hold(reset).perform()
        browser.until_attribute(self.RESET, "aria-pressed", "true")
        until(lambda: "is-full" in browser.attribute(self.RESET, "class"), "the ring to be full")
        browser.until_row("log", "SOFT FACTORY RESET timer elapsed")
        browser.actions().release().perform()

        browser.until_attribute(self.RESET, "aria-pressed", "false")
        browser.until_row("command", "release reset_factory")
        browser.until_row("call", "freqmanager.Reboot")
        until(lambda: "Restarting" in browser.eval("return [...window.seenStates]"), "the restart")
        browser.until_text("#daemon-state", "Up")
        seen = browser.eval("return [...window.seenStates]")
        self.assertTrue(any(state.startswith("Blocked in") for state in seen), seen)
        self.assertGreaterEqual(browser.eval("return window.blinks"), 4)
        self.assertIn("restore", browser.text("#record"))

    def test_button_is_released_whatever_happens(self):
        seek = browser.find(self.SEEK)
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", seek)
        endings = {
            "the window loses the focus": "window.dispatchEvent(new Event('blur'))",
            "the pointer is taken away": "arguments[0].dispatchEvent(new PointerEvent('pointercancel'))",
        }
        for name, ending in endings.items():
            with self.subTest(name):
                browser.actions().click_and_hold(seek).perform()
                browser.until_attribute(self.SEEK, "aria-pressed", "true")
                browser.eval(ending, seek)
                browser.until_attribute(self.SEEK, "aria-pressed", "false")
                browser.actions().release().perform()
        with self.subTest("keys"):
            seek.send_keys("")
            browser.actions().key_down(Keys.SPACE).perform()
            browser.until_attribute(self.SEEK, "aria-pressed", "true")
            browser.actions().key_up(Keys.SPACE).perform()
            browser.until_attribute(self.SEEK, "aria-pressed", "false")

    def test_finger_holds_a_button(self):
        seek = browser.find(self.SEEK)
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", seek)
        box = seek.rect
        at = {"x": box["x"] + box["width"] / 2, "y": box["y"] + box["height"] / 2 - browser.eval("return scrollY")}
        browser.driver.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": "touchStart", "touchPoints": [at]})
        browser.until_attribute(self.SEEK, "aria-pressed", "true")
        browser.driver.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": "touchEnd", "touchPoints": []})
        browser.until_attribute(self.SEEK, "aria-pressed", "false")


class Services(PageTest):
    def test_broken_service_shows_and_is_repaired(self):
        tile = "[data-service=lightmanager]"
        browser.click(f"{tile} summary")
        browser.choose(f"{tile} [aria-label^=Method]", "GetIntensity")
        browser.choose(f"{tile} [aria-label=Fault]", browser.eval(
            "return [...document.querySelectorAll(`${arguments[0]} [aria-label=Fault] option`)]"
            ".find(each => each.textContent === 'error').value", tile))
        browser.type(f"{tile} [aria-label^=Value]", "no light today")
        browser.click(f"{tile} .fault-form button")
        until(lambda: "GetIntensity: error" in browser.text(f"{tile} .fault-list"), "the fault in the tile")

        browser.run("charge 20")

        n = browser.until_row("call", "no light today")
        browser.filter("no light today")
        until(lambda: browser.eval("return document.querySelector(`[data-n='${arguments[0]}']`)?.dataset.tone", n) == "bad",
              "the failed call in red")
        browser.filter("")
        browser.until_row("log", "Can't read current light intensity")
        browser.click(f"{tile} .fault-list button")
        until(lambda: browser.text(f"{tile} .fault-list") == "", "the repair")

        browser.click("[data-service=micmanager] summary")
        browser.click("[data-service=micmanager] details button")
        browser.until_attribute("[data-service=micmanager]", "data-state", "down")
        browser.click("[data-service=micmanager] details button")
        browser.until_attribute("[data-service=micmanager]", "data-state", "up")


class Timeline(PageTest):
    def test_row_opens_to_the_whole_event_and_shows_what_its_command_caused(self):
        browser.run("charge 77")
        signal = browser.until_row("signal", "CBATT=77")
        command = browser.until_row("command", "charge 77")
        browser.row(signal).click()
        until(lambda: len(browser.all(".detail .values tr")) == 50, "the 50 values of the broadcast")
        values = {row.find_element("tag name", "th").text: row.text.split()[-1] for row in browser.all(".detail .values tr")}
        self.assertEqual(values["CBATT"], "77")
        browser.find("#rows").send_keys(Keys.ESCAPE)
        until(lambda: not browser.all(".detail"), "the event to be closed")

        browser.actions().move_to_element(browser.row(signal)).perform()
        until(lambda: browser.all(f".row.is-caused[data-n='{command}']"), "the command to be highlighted")
        highlighted = [int(row.get_attribute("data-n")) for row in browser.all(".row.is-caused")]
        self.assertIn(signal, highlighted)
        self.assertEqual(min(highlighted), command)  # nothing from before it

    def test_filters_pause_clear_and_download(self):
        browser.run("charge 60")
        browser.until_row("signal", "CBATT=60")
        browser.eval("document.querySelector('#filters').open = true")
        for group in range(1, len(browser.all(".filter-chip"))):
            browser.click(f".filter-chip[data-group='{group}']")
        until(lambda: {kind for _, kind, _ in browser.rows()} == {"command"}, "commands alone")
        browser.click("#filter-reset")
        browser.choose("#filter-service", "statusmanager")
        until(lambda: {kind for _, kind, _ in browser.rows()} <= {"signal", "call"}, "events of one service alone")
        browser.click("#filter-reset")
        browser.choose("#filter-level", "4")
        browser.filter("CurrZone")  # a line of level 9
        until(lambda: browser.rows() == [], "no line of a higher level")
        browser.click("#filter-reset")

        browser.click("#timeline-pause")
        browser.run("note while it is paused")
        until(lambda: "waiting" in browser.text("#timeline-count"), "rows that wait")
        browser.filter("while it is paused")
        until(lambda: browser.rows() == [], "no row while it is paused")
        browser.click("#timeline-pause")
        until(lambda: browser.rows(), "the row afterwards")
        browser.filter("")

        lines = browser.driver.execute_async_script(
            "fetch('/events.jsonl').then(reply => reply.text()).then(arguments[0])").splitlines()
        events = [json.loads(line) for line in lines]
        self.assertIn({"kind": "note", "text": "while it is paused"},
                      [{"kind": each["kind"], "text": each.get("text")} for each in events])

        browser.click("#timeline-clear")
        until(lambda: all("while it is paused" not in text for _, _, text in browser.rows()), "an empty timeline")
        browser.run("note afterwards")
        browser.until_row("note", "afterwards")

    def test_hundred_thousand_events(self):
        browser.click("#timeline-clear")
        browser.until_text("#timeline-count", "0 events")
        # Through a stream of its own: the command line takes one line at a time.
        browser.driver.set_script_timeout(120)
        answer = browser.driver.execute_async_script("""
            const done = arguments[arguments.length - 1];
            const socket = new WebSocket(`ws://${location.host}/stream`);
            let next = 0;
            const ask = () => {
              const lines = Array.from({length: 2000}, (_, index) => `note number ${next + index}`);
              next += lines.length;
              socket.send(JSON.stringify({id: next, run: lines.join("\\n")}));
            };
            socket.addEventListener("open", ask);
            socket.addEventListener("message", event => {
              const frame = JSON.parse(event.data);
              if (frame.ok === false || frame.answer === 100000) {
                done(frame);
              } else if (frame.answer) {
                ask();
              }
            });""")
        self.assertTrue(answer["ok"], answer)
        until(lambda: browser.text("#timeline-count").startswith("100,000"), "all events", 120)

        self.assertLess(len(browser.all(".row")), 80)
        self.assertIn("number 99999", [text for _, _, text in browser.rows()])
        browser.eval("document.querySelector('#rows').scrollTop = 50_000 * 30")
        until(lambda: "number 50003" in [text for _, _, text in browser.rows()], "the middle")
        rows = [n for n, _, _ in browser.rows()]
        self.assertEqual(rows, list(range(rows[0], rows[0] + len(rows))))
        browser.find("#rows").send_keys(Keys.HOME)
        until(lambda: "number 0" in [text for _, _, text in browser.rows()], "the beginning")
        browser.filter("number 4242")
        until(lambda: [text for _, _, text in browser.rows()] == ["number 4242"] + [f"number 4242{n}" for n in range(10)],
              "those that the filter lets through")
        browser.filter("")
        browser.click("#timeline-clear")


class CommandLine(PageTest):
    def test_completion_history_and_wrong_lines(self):
        line = browser.find("#command")
        line.send_keys("fail lightmanager.GetSw")
        until(lambda: "lightmanager.GetSwitch" in browser.text("#command-words"), "the completion")
        line.send_keys(Keys.TAB)
        until(lambda: line.get_property("value") == "fail lightmanager.GetSwitch ", "the completed word")
        browser.type("#command", "charge 101")
        line.send_keys(Keys.ESCAPE, Keys.ENTER)
        until(lambda: '"101"' in browser.text("#command-answer"), "what was wrong")
        self.assertIn("0 to 100", browser.text("#command-answer"))
        until(lambda: line.get_property("value") == "charge 101", "the wrong line, to be mended")

        browser.run("help charge")
        until(lambda: "percent by percent" in browser.text("#command-answer"), "the help")
        line.send_keys(Keys.ARROW_UP, Keys.ARROW_UP)
        self.assertEqual(line.get_property("value"), "charge 101")
        line.send_keys(Keys.ARROW_DOWN)
        self.assertEqual(line.get_property("value"), "help charge")


class Zones(PageTest):
    def test_zone_file_is_checked_as_one_types_and_installed(self):
        until(lambda: "[Critical]" in browser.find("#zones-text").get_property("value"), "the device's zone file")
        before = browser.find("#zones-text").get_property("value")
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", browser.find("#zones-text"))

        browser.type("#zones-text", "[Spare]\nlow_threshold=0\nhigh_treshold=30\nvolume=25\nlight=25\n")
        until(lambda: browser.all("#zones-findings [data-severity=error]"), "the error")
        self.assertIn("low_treshold", browser.text("#zones-findings"))
        until(lambda: browser.eval("return document.querySelector('#zones-gutter [data-severity=error]')?.textContent") == "2",
              "the error beside its line")

        browser.type("#zones-text", "[Spare]\nlow_treshold=0\nhigh_treshold=30\nvolume=25\nlight=25\n"
                     "[Full]\nlow_treshold=30\nhigh_treshold=100\nvolume=-1\nlight=-1\n")
        until(lambda: not browser.all("#zones-findings [data-severity=error]"), "no error")
        browser.click("#zones-install")
        browser.until_row("command", "update 12")
        until(lambda: "Spare" in browser.text("#zone-strip"), "the new zones")
        browser.run("charge 25")
        browser.until_text("#zone-text", "Spare")
        browser.until_text("#volume-ceiling", "ceiling 25")

        browser.eval("""const text = document.querySelector("#zones-text");
                        text.value = arguments[0];
                        text.dispatchEvent(new Event("input"))""", before)
        browser.click("#zones-install")
        until(lambda: "Critical" in browser.text("#zone-strip"), "the zones as they were")

    def test_too_long_zone_file_leaves_nothing_of_the_one_before(self):
        until(lambda: browser.all("#zones-table tr"), "the device's zones")
        longer = pathlib.Path(scenarios, "long.ini")
        longer.write_text("[Full]\nhigh_treshold=100\n" + ";\n" * 150_000, encoding="utf-8")

        browser.run(f"zones {longer}")
        browser.run("update 12")

        until(lambda: "too long" in browser.text("#zones-summary"), "the refusal")
        self.assertEqual(browser.find("#zones-text").get_property("value"), "")
        self.assertFalse(browser.all("#zones-table tr"))
        self.assertEqual(browser.text("#zones-findings"), "none")
        browser.run(f"zones {ROOT}/powermanager/zones.ini")
        browser.run("update 12")
        until(lambda: "[Critical]" in browser.find("#zones-text").get_property("value"), "the device's zone file")


class Scenarios(PageTest):
    def test_what_was_done_is_saved_and_plays_again(self):
        browser.click("#save-mark")
        browser.run("charge 30")
        browser.until_text("#zone-text", "Low")
        browser.until_text("#volume-text", "80")
        browser.run("charge 10")
        browser.until_text("#zone-text", "Critical")
        browser.until_text("#volume-text", "40")
        browser.type("#save-name", "just-now")
        browser.click("#save-form button:not([type])")
        until(lambda: browser.all("[data-scenario='just-now.scenario']"), "the saved scenario in the list")
        text = pathlib.Path(scenarios, "just-now.scenario").read_text(encoding="utf-8")
        self.assertIn("charge 30", text)
        self.assertIn("expect signal PowerZoneChanged Low", text)

        browser.run("charge 90")
        browser.run("volume 90")
        browser.until_text("#zone-text", "Normal")
        browser.click("[data-scenario='just-now.scenario'] button")
        browser.until_text("#zone-text", "Critical")
        browser.until_text("#scenario-state", "")
        self.assertTrue(browser.eval("return document.querySelector('#banner').hidden"), browser.text("#banner"))

    def test_scenario_is_played_and_stopped(self):
        browser.click("[data-scenario='long.scenario'] button")
        until(lambda: "wait 600" in browser.text("#scenario-state"), "the scenario under way")
        browser.until_row("note", "it begins")
        browser.click("#scenario-stop")
        browser.until_text("#scenario-state", "")


class Tabs(PageTest):
    expected_in_console = ("WebSocket connection to",)

    def test_two_tabs_show_the_same_and_come_back_after_a_restart(self):
        global simulator
        first = browser.driver.current_window_handle
        browser.run("charge 55")
        browser.driver.switch_to.new_window("tab")
        second = browser.driver.current_window_handle
        browser.look(1280, 900)
        browser.open(simulator.address)
        browser.until_text("#charge-text", "55 %")
        browser.run("charge 44")
        browser.driver.switch_to.window(first)
        browser.until_text("#charge-text", "44 %")
        browser.until_row("command", "charge 44")

        browser.driver.switch_to.window(second)
        seek = browser.find(Buttons.SEEK)
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", seek)
        browser.actions().click_and_hold(seek).perform()
        browser.until_attribute(Buttons.SEEK, "aria-pressed", "true")
        browser.driver.close()
        browser.driver.switch_to.window(first)
        pressed = browser.until_row("command", "press seek-")
        released = browser.until_row("command", "release seek-")
        self.assertLess(pressed, released)
        browser.until_attribute(Buttons.SEEK, "aria-pressed", "false")

        seek = browser.find(Buttons.SEEK)
        browser.eval("arguments[0].scrollIntoView({block: 'center'})", seek)
        browser.actions().click_and_hold(seek).perform()
        browser.until_attribute(Buttons.SEEK, "aria-pressed", "true")
        port = simulator.port
        self.assertEqual(simulator.stop(), 0)
        browser.until_text("#connection", "Reconnecting")
        simulator = Simulator(BUILD, scenarios, port)
        browser.driver.switch_to.new_window("tab")
        browser.open(simulator.address)  # the new token is for all tabs
        browser.driver.close()
        browser.driver.switch_to.window(first)
        browser.until_text("#connection", "Connected")
        browser.until_text("#charge-text", "100 %")
        browser.until_attribute(Buttons.SEEK, "aria-pressed", "false")
        browser.actions().release().perform()
        browser.run("charge 66")
        browser.until_row("command", "charge 66")
        browser.filter("charge 44")
        until(lambda: browser.rows() == [], "no row of the session before")
        browser.filter("")


class Look(PageTest):
    def setUp(self):
        pass

    def tearDown(self):
        super().tearDown()
        browser.look(1280, 900)

    def test_everybody_can_use_it(self):
        for name, width, height, is_dark in (("desk-light", 1280, 900, False), ("desk-dark", 1280, 900, True),
                                             ("phone-light", 390, 844, False), ("phone-dark", 390, 844, True)):
            with self.subTest(name):
                browser.look(width, height, is_dark)
                browser.open(simulator.address)
                browser.screenshot(name)
                browser.eval("document.querySelectorAll('details').forEach(each => { each.open = true; })")
                until(lambda: browser.all(".row:not([hidden])"), "rows")
                browser.eval("document.querySelector('.row:not([hidden])').click()")
                until(lambda: browser.all(".detail .facts"), "the whole event")
                is_first = name == "desk-light"
                self.assertEqual(accessibility.faults(browser, with_tab_order=is_first), [])

    def test_theme_is_chosen_and_kept(self):
        browser.open(simulator.address)
        ground = "return getComputedStyle(document.body).backgroundColor"
        light = browser.eval(ground)
        browser.click("#theme")
        browser.click("#theme")
        browser.until_text("#theme-name", "dark")
        dark = browser.eval(ground)
        self.assertNotEqual(light, dark)
        browser.open(simulator.address)
        self.assertEqual(browser.eval(ground), dark)
        browser.click("#theme")
        browser.until_text("#theme-name", "system")

    def test_weight(self):
        browser.open(simulator.address)
        sizes = browser.eval("""
            return [...performance.getEntriesByType("navigation"), ...performance.getEntriesByType("resource")]
                .map(each => [new URL(each.name).pathname, each.decodedBodySize])""")
        self.assertLess(sum(size for _, size in sizes), MOST_WEIGHT, sizes)
        self.assertGreater(len(sizes), 15)


if __name__ == "__main__":
    unittest.main(verbosity=2)
