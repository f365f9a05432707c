#!/usr/bin/python3
"""Opens a page of `talstore survey --html` in a browser and does with it what people do.

Usage: survey_page.py TALSTORE FOLDER
The page and pictures of it are left in the folder. Takes Debian's chromium, chromium-driver and python3-selenium.
"""

import json
import pathlib
import shutil
import subprocess
import sys
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

TALSTORE, FOLDER = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()

EVIL = "<img src=x onerror=hostile()>"


def description(*variables):
    return {"regions": [{"name": "Config", "objects": [{"name": "Radio", "variables": list(variables)}]}]}


OLD = description(
    {"name": "Gain", "type": "U16", "default": 16},
    {"name": "Site", "type": "STRING", "count": 16, "default": "unnamed"},
    {"name": "Power", "type": "U32", "default": 40},
    {"name": EVIL, "type": "U8", "default": 1},
    {"name": "\"'&amp;\u202egnp.exe\u2028", "type": "U8", "default": 1},
)
NEW = description(
    {"name": "Gain", "type": "U32", "default": 16},
    {"name": "SiteName", "type": "STRING", "count": 16, "default": "unnamed"},
    {"name": "Power", "type": "U32", "default": 40},
    {"name": "Diversity", "type": "BOOL", "default": False},
)
ACCEPTED = {"accepted": [
    {"variable": "Config/Radio/Diversity", "kind": "defaulted", "reason": f"it is new {EVIL}"},
    {"variable": "Config/Radio/Gone", "kind": "ignored", "reason": "nobody has it"},
]}


def talstore(*arguments, status=0):
    ended = subprocess.run([TALSTORE, *arguments], cwd=FOLDER, capture_output=True, text=True, check=False)
    if ended.returncode != status:
        raise AssertionError(f"talstore {arguments} ended with {ended.returncode}: {ended.stderr}")


def write_page():
    """60 units that run OLD, 12 that run NEW, one with a hostile name, one that is cut, and a file that is none."""
    shutil.rmtree(FOLDER, ignore_errors=True)
    fleet = FOLDER / "fleet"
    fleet.mkdir(parents=True)
    for name, content in {"old.json": OLD, "new.json": NEW, "accepted.json": ACCEPTED}.items():
        (FOLDER / name).write_text(json.dumps(content))
    for gain in (16, 20):
        talstore("store", f"old{gain}.sbin", "--layout", "old.json", "--set", f"Config/Radio/Gain={gain}")
    talstore("store", "new.sbin", "--layout", "new.json")
    old, changed, new = ((FOLDER / f"{name}.sbin").read_bytes() for name in ("old16", "old20", "new"))
    for unit in range(72):
        content = new if unit % 6 == 5 else changed if unit % 4 == 0 else old
        (fleet / f"unit-{unit:04}.sbin").write_bytes(content)
    (fleet / "notes <i>.txt").write_text("returned in May")
    (fleet / "cut.sbin").write_bytes(new[:60])
    # The slash of the end tag separates a folder from a file.
    for folder, file in ("z<", "script><script>hostile()<"), (f"z{EVIL}", "\u202e\u2028\n\t.sbin"):
        (fleet / folder).mkdir(exist_ok=True)
        (fleet / folder / file).write_bytes(old)
    talstore("survey", "fleet", "--layout", "new.json", "--from", "old.json", "--values", "--accept", "accepted.json",
             "--html", "page.html", status=2)
    return FOLDER / "page.html"


def browser(**preferences):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    # Chromium's own sandbox cannot be had by root, and /dev/shm is small in containers.
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                     "--disable-background-networking", "--disable-component-update", "--window-size=1280,1000"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    options.add_experimental_option("prefs", preferences)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class Opened(unittest.TestCase):
    """One browser for all tests; each opens the page anew."""

    preferences = {}

    @classmethod
    def setUpClass(cls):
        cls.driver = browser(**cls.preferences)
        cls.addClassCleanup(cls.driver.quit)

    def setUp(self):
        self.resize(1280, 1000)
        self.driver.get(PAGE.as_uri())

    def resize(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def heading(self, text):
        return next(heading for heading in self.all("table.losses th[scope=col]") if heading.text.startswith(text))

    def shown(self, column):
        """The texts of a column of the losses, as far as they are seen."""
        return [row.find_elements(By.CSS_SELECTOR, "th, td")[column].text
                for row in self.all("table.losses")[0].find_elements(By.CSS_SELECTOR, "tbody tr")
                if row.is_displayed()]

    def picture(self, name):
        height = self.driver.execute_script("return document.documentElement.scrollHeight")
        width = self.driver.execute_script("return innerWidth")
        self.resize(width, height)
        self.driver.save_screenshot(str(FOLDER / f"{name}.png"))


class Page(Opened):
    def tearDown(self):
        self.assertEqual(self.driver.get_log("browser"), [])
        messages = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        requested = {message["params"]["request"]["url"] for message in messages
                     if message["method"] == "Network.requestWillBeSent"}
        self.assertEqual(requested, {PAGE.as_uri()})

    def test_says_what_the_survey_found(self):
        self.assertEqual(self.driver.title, "What boards with new.json would lose")
        self.assertEqual(self.find("h1").text, "What boards with new.json would lose")
        self.assertEqual([(fact.find_element(By.TAG_NAME, "dt").text, fact.find_element(By.TAG_NAME, "dd").text)
                          for fact in self.all(".facts div")],
                         [("Files", "76"), ("Lose nothing", "12 15.8 %"), ("Lose something", "63 82.9 %"),
                          ("Cannot be read", "1 1.3 %")])

    def test_begins_with_the_most_frequent_losses(self):
        units = [int(text) for text in self.shown(3)]
        self.assertEqual(units, sorted(units, reverse=True))
        self.assertEqual(self.heading("Units").get_attribute("aria-sort"), "descending")

    @staticmethod
    def steps_of_numbers(values):
        """From each value to the next: positive where it is larger."""
        numbers = [float(value.split()[0]) for value in values]
        return [after - before for before, after in zip(numbers, numbers[1:])]

    def steps_of_texts(self, values):
        """The same, as people sort in whose language numbers in a text count as numbers."""
        return self.driver.execute_script(
            "const collator = new Intl.Collator('en', {numeric: true});"
            "return arguments[0].slice(1).map((text, i) => collator.compare(text, arguments[0][i]))", values)

    def test_is_sorted_by_each_column_up_and_down(self):
        for column, name in enumerate(["Variable", "What happens", "Reason", "Units", "Share", "Differing", "Files"]):
            with self.subTest(name):
                seen = []
                for _ in range(2):
                    self.heading(name).find_element(By.TAG_NAME, "button").click()
                    direction = self.heading(name).get_attribute("aria-sort")
                    values = self.shown(column)
                    steps = self.steps_of_numbers(values) if name in ("Units", "Share", "Differing") \
                        else self.steps_of_texts(values)
                    for step in steps:
                        (self.assertLessEqual if direction == "descending" else self.assertGreaterEqual)(step, 0, values)
                    seen.append(direction)
                self.assertEqual(sorted(seen), ["ascending", "descending"])
                self.assertEqual(len(self.all("table.losses:first-of-type [aria-sort]")), 2, "one of each table")

    def test_is_sorted_with_the_keyboard(self):
        for key in Keys.ENTER, Keys.SPACE:
            before = self.heading("Variable").get_attribute("aria-sort")
            self.heading("Variable").find_element(By.TAG_NAME, "button").send_keys(key)
            self.assertNotEqual(self.heading("Variable").get_attribute("aria-sort"), before)
        self.assertEqual(self.heading("Variable").get_attribute("aria-sort"), "descending")

    def test_is_filtered_by_variable_kind_and_reason(self):
        rows = len(self.shown(0))
        search = self.find("input[type=search]")
        for text, expected in (("RADIO/gain", ["Config/Radio/Gain"]),
                               ("defaulted name", ["Config/Radio/SiteName"]),
                               ("4 in the layout", ["Config/Radio/Gain"]),
                               ("unit-0001", [])):
            search.clear()
            search.send_keys(text)
            self.assertEqual(self.shown(0), expected, text)
            self.assertEqual(self.find("output").text.split(" of ")[0], str(len(expected)))
        search.send_keys(Keys.ESCAPE)
        self.assertEqual(len(self.shown(0)), rows)

    def test_has_a_bar_as_long_as_the_share(self):
        for row in self.all("table.losses tbody tr"):
            cell = row.find_element(By.CSS_SELECTOR, ".share")
            part = cell.find_element(By.TAG_NAME, "rect").rect["width"] / cell.find_element(By.TAG_NAME, "svg").rect[
                "width"]
            self.assertAlmostEqual(part * 100, float(cell.text.split()[0]), delta=0.5)

    def gain(self):
        return next(row for row in self.all("table.losses tbody tr") if "Radio/Gain" in row.text)

    def test_unfolds_the_files_of_a_row(self):
        files = self.gain().find_element(By.TAG_NAME, "pre")
        self.assertFalse(files.is_displayed())
        self.gain().find_element(By.TAG_NAME, "summary").click()
        self.assertTrue(files.is_displayed())
        lines = files.text.split("\n")
        self.assertEqual(len(lines), 62)
        self.assertIn("fleet/unit-0000.sbin", lines)
        self.assertNotIn("fleet/unit-0005.sbin", lines)
        self.gain().find_element(By.TAG_NAME, "summary").send_keys(Keys.ENTER)
        self.assertFalse(files.is_displayed())

    def test_shows_hostile_names_as_text(self):
        self.gain().find_element(By.TAG_NAME, "summary").click()
        text = self.gain().text
        self.assertIn("fleet/z</script><script>hostile()<", text)
        self.assertIn("fleet/z" + EVIL + r"/\xe2\x80\xae\xe2\x80\xa8\n\t.sbin", text)
        page = self.find("body").text
        self.assertIn("Config/Radio/" + EVIL, page)
        self.assertIn("Config/Radio/\"'&amp;\\xe2\\x80\\xaegnp.exe\\xe2\\x80\\xa8", page)
        self.assertIn("it is new " + EVIL, page)
        self.assertEqual(len(self.all("img")), 0)
        self.assertEqual(len(self.all("script")), 1)

    def test_says_what_is_not_whole_and_what_no_unit_has(self):
        page = self.find("body").text
        self.assertIn("fleet/notes <i>.txt", page)
        self.assertIn("damaged", page)
        self.assertIn("Config/Radio/Gone", page)

    def test_is_as_wide_as_the_window(self):
        for width in 320, 390, 700, 1000, 1280, 1920:
            self.resize(width, 800)
            for summary in self.all("summary"):
                self.driver.execute_script("arguments[0].parentElement.open = true", summary)
            self.assertLessEqual(self.driver.execute_script("return document.documentElement.scrollWidth"), width)

    def test_is_looked_at(self):
        self.picture("light")
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark"}]})
        self.addCleanup(self.driver.execute_cdp_cmd, "Emulation.setEmulatedMedia", {"features": []})
        self.gain().find_element(By.TAG_NAME, "summary").click()
        dark = self.driver.execute_script("return getComputedStyle(document.body).backgroundColor")
        self.picture("dark")
        self.resize(390, 800)
        self.picture("narrow")
        self.assertEqual(dark, "rgb(18, 21, 26)")


class PageThatSomethingGotInto(Opened):
    def test_runs_nothing_and_asks_for_nothing(self):
        self.driver.execute_script("""
            window.ran = [];
            document.body.insertAdjacentHTML("beforeend", "<img src=x onerror='ran.push(1)'>"
                + "<img src='http://192.0.2.1/x'><p id=styled style='color: rgb(1, 2, 3)'>x</p>");
            const script = document.createElement("script");
            script.textContent = "ran.push(2)";
            document.body.append(script);""")
        refused = self.driver.execute_async_script(
            "const done = arguments[0]; fetch('http://192.0.2.1/').then(() => done(false), () => done(true))")
        self.assertTrue(refused)
        self.assertEqual(self.driver.execute_script("return ran"), [])
        self.assertNotEqual(self.find("#styled").value_of_css_property("color"), "rgba(1, 2, 3, 1)")
        log = [entry["message"] for entry in self.driver.get_log("browser")]
        self.assertTrue(log and all("Content Security Policy" in message for message in log), log)


class PageWithoutScript(Opened):
    preferences = {"profile.managed_default_content_settings.javascript": 2}

    def test_is_read_and_unfolded_all_the_same(self):
        self.assertFalse(self.find("form").is_displayed())
        self.assertEqual(len(self.all("table.losses button")), 0)
        row = next(row for row in self.all("table.losses tbody tr") if "Radio/Gain" in row.text)
        self.assertIn("refused", row.text)
        row.find_element(By.TAG_NAME, "summary").click()
        self.assertIn("fleet/unit-0001.sbin", row.text)


if __name__ == "__main__":
    PAGE = write_page()
    unittest.main(argv=sys.argv[:1])
