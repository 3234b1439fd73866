"""The page of a chassis and the report of a run, in Debian's Chromium.
usage: chassis_page_test.py PROGRAM PICTURES page|report"""
import os
import subprocess
import sys
import tempfile
import time

from chassis_page_support import Chassis, check, skip, wait_for

BROWSER = "/usr/bin/chromium"
DRIVER = "/usr/bin/chromedriver"
try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    skip("python3-selenium is not installed")

TEXT_COLOURS = ("--text", "--muted", "--accent", "--good", "--bad", "--warn", "--over")
SOFT = {"--good": "--good-soft", "--bad": "--bad-soft", "--warn": "--warn-soft", "--over": "--over-soft"}


class Browser:
    def __init__(self, pictures):
        self.pictures = pictures
        os.makedirs(pictures, exist_ok=True)
        options = webdriver.ChromeOptions()
        options.binary_location = BROWSER
        arguments = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars"]
        if os.geteuid() == 0:
            arguments.append("--no-sandbox")
        for argument in arguments:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(DRIVER), options=options)
        self.look("light", 1600)

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        if kind is not None:
            self.picture("failed")
        self.driver.quit()

    def look(self, scheme, width, height=1000):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def picture(self, name):
        self.driver.save_screenshot(os.path.join(self.pictures, name + ".png"))

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0])?.textContent ?? ''", selector)

    def wait(self, script, text, patience=30):
        return wait_for(lambda: self.run("return " + script), text, patience)

    def console_is_empty(self):
        messages = self.driver.get_log("browser")
        check(not messages, f"the console says {messages}")

    def nothing_is_wider_than_the_window(self):
        wide, narrow = self.run("return [document.documentElement.scrollWidth, innerWidth]")
        check(wide <= narrow, f"{wide} pixels in a window of {narrow}")

    def colours_have_contrast(self):
        for colour in TEXT_COLOURS:
            for ground in ["--panel", "--ground", SOFT.get(colour, "--panel")]:
                ratio = self.run(CONTRAST, colour, ground)
                check(ratio >= 4.5, f"{colour} on {ground}: {ratio:.2f}")

    def has_drawn(self, selector):
        return self.run("""
            const canvas = document.querySelector(arguments[0]);
            const pixels = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
            return new Set(pixels).size > 3;""", selector)


CONTRAST = """
const brightness = (name) => {
  const hex = getComputedStyle(document.documentElement).getPropertyValue(name).trim().slice(1);
  const [r, g, b] = [0, 2, 4].map((i) => parseInt(hex.slice(i, i + 2), 16) / 255)
    .map((c) => (c <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4));
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const [low, high] = [brightness(arguments[0]), brightness(arguments[1])].sort((a, b) => a - b);
return (high + 0.05) / (low + 0.05);"""

# The emulator, which ORVA_TEST_SHORT stands for, takes several times as long.
LOST_WITHIN = 20 if os.environ.get("ORVA_TEST_SHORT") else 2
STATE = "document.querySelector('[data-slot=\"{}\"]')?.dataset.state"


def boards_appear(browser):
    for slot in range(5):
        browser.wait(STATE.format(slot) + " === 'online'", f"board {slot} is shown online")
    check(browser.text("#board-title") == "Slot 1", browser.text("#board-title"))
    browser.wait("document.querySelectorAll('.sensor').length === 6", "six sensors")
    browser.wait("document.querySelector('[data-sensor=inlet] .reading').textContent.endsWith('°C')", "a reading")
    wait_for(lambda: browser.has_drawn("[data-sensor=inlet] canvas"), "a curve is drawn")
    check(browser.text("#link") == "live", browser.text("#link"))


def a_killed_board_turns_lost(browser):
    browser.find('[data-slot="2"]').click()
    began = time.monotonic()
    browser.find('[data-command="kill"]').click()
    browser.wait(STATE.format(2) + " === 'lost'", "the killed board is lost", patience=LOST_WITHIN)
    took = time.monotonic() - began
    check(took < LOST_WITHIN, f"{took:.1f} s")
    browser.wait("document.querySelector('#board-state').textContent === 'lost'", "the board's own state says so")
    browser.wait("document.querySelector('#log').textContent.includes('lost: its process ended with status 137')",
                 "the log says so")
    print(f"lost after {took:.2f} s")


def a_stub_marks_the_reading(browser):
    browser.find('[data-slot="1"]').click()
    card = '[data-sensor="outlet"]'
    browser.find(card + " input").send_keys("90.5" + Keys.ENTER)
    browser.wait(f"document.querySelector('{card} .reading').textContent === '90.5 °C'", "the stub's value is read")
    check(browser.text(card + " .badge") == "high · stub", browser.text(card + " .badge"))
    check("the hardware says" in browser.text(card + " .beside"), browser.text(card + " .beside"))
    browser.wait("document.querySelector('[data-slot=\"1\"] [data-flag=override]') !== null", "the slot is marked")
    browser.find('[data-sensor="12V"] input').send_keys("10.9")
    browser.find('[data-sensor="12V"] [aria-label^="Simulate"]').click()
    browser.wait("document.querySelector('[data-sensor=\"12V\"] .badge').textContent === 'low · simulated'",
                 "the simulated sensor is read")


def a_fault_begins_and_ends(browser):
    browser.run("document.querySelector('#fault-kind').value = 'noise';"
                "document.querySelector('#fault-kind').dispatchEvent(new Event('change'))")
    browser.find("#fault-form button").click()
    browser.wait("document.querySelectorAll('#faults li').length === 1", "the fault is on")
    browser.wait("document.querySelector('[data-slot=\"1\"] [data-flag=fault]') !== null", "the slot is marked")
    browser.find("#faults button").click()
    browser.wait("document.querySelectorAll('#faults li').length === 0", "the fault is over")


def figures_appear(browser):
    browser.wait("document.querySelectorAll('#processes tr').length === 6", "a row for each process")
    browser.wait("document.querySelectorAll('#stages tr').length === 6", "the stages of the request path")
    browser.wait("[...document.querySelectorAll('#processes tr')].every((row) => row.lastChild.textContent !== '–' "
                 "|| row.firstChild.textContent === 'slot 2')", "figures of every process")


def it_is_used_by_keyboard(browser):
    browser.run("document.querySelector('[data-slot=\"1\"]').focus()")
    active = browser.driver.switch_to.active_element
    active.send_keys(Keys.ARROW_RIGHT)
    browser.driver.switch_to.active_element.send_keys(Keys.ARROW_RIGHT)
    check(browser.text("#board-title") == "Slot 3", browser.text("#board-title"))
    browser.driver.switch_to.active_element.send_keys(Keys.END)
    check(browser.text("#board-title") == "Slot 4", browser.text("#board-title"))
    # Every control is reached with the Tab key, and says what it is.
    seen = set()
    for _ in range(60):
        browser.driver.switch_to.active_element.send_keys(Keys.TAB)
        seen.add(browser.run("const e = document.activeElement; return e.id || e.dataset.command || e.ariaLabel "
                             "|| e.closest('label')?.textContent || e.textContent"))
    check({"pull", "kill", "fault-kind", "log-text", "follow", "log-box"} <= seen, seen)
    check("Value for 1V0 in V" in seen and "Set the stub of inlet" in seen, seen)
    unnamed = browser.run("return [...document.querySelectorAll('button, select, input')].filter((e) => "
                          "!(e.ariaLabel || e.textContent.trim() || e.closest('label'))).map((e) => e.outerHTML)")
    check(not unnamed, unnamed)


def the_log_follows(browser, chassis):
    last = "document.querySelector('#log li:last-child')"
    at_end = "(() => { const box = document.querySelector('#log-box'); " \
             "return box.scrollTop + box.clientHeight >= box.scrollHeight - 2; })()"
    chassis.command("address")
    browser.wait(f"{last}.textContent.includes('address')", "the newest event is the last line")
    check(browser.run("return " + at_end), "the last line is seen")
    browser.find("#log-text").send_keys("status 137")
    browser.wait("document.querySelectorAll('#log li').length === 2", "the filter shows two lines")
    browser.find("#log-text").send_keys(Keys.CONTROL, "a")
    browser.find("#log-text").send_keys(Keys.DELETE)
    browser.wait("document.querySelectorAll('#log li').length > 20", "all lines are back")


def thousands_of_events_leave_it_small(browser, chassis):
    before = browser.run("return document.querySelectorAll('*').length")
    chassis.command("send", "1", "long", "5000")
    refused = browser.wait("document.querySelector('#requests') && "
                           "Number(document.querySelectorAll('#requests dd')[1].textContent.replace(/,/g, '')) >= 5000 "
                           "&& orvaPage()", "the page has heard of all", 60) if select_first(browser) else {}
    check(refused["events"] <= 500 and refused["rows"] <= 300 and refused["points"] <= 600, refused)
    after = browser.run("return document.querySelectorAll('*').length")
    check(after <= before + 5 * 300, f"{before} elements before, {after} after")


def select_first(browser):
    browser.find('[data-slot="1"]').click()
    return True


def it_looks_right(browser):
    browser.find('[data-slot="1"]').click()
    time.sleep(1)  # a curve is drawn at most twice a second
    for scheme in ("light", "dark"):
        for width in (1600, 400):
            browser.look(scheme, width)
            browser.nothing_is_wider_than_the_window()
            browser.wait("true", "")
            time.sleep(0.7)
            browser.picture(f"page-{scheme}-{width}")
        browser.colours_have_contrast()
    browser.look("light", 1600)


def the_page(program, pictures):
    with Chassis(program, "overrides", "--seconds", "1", "--boards", "4", "--no-restart") as chassis, \
            Browser(pictures) as browser:
        chassis.shows("after the scenario")
        browser.driver.get(chassis.url)
        boards_appear(browser)
        a_killed_board_turns_lost(browser)
        a_stub_marks_the_reading(browser)
        a_fault_begins_and_ends(browser)
        figures_appear(browser)
        it_is_used_by_keyboard(browser)
        the_log_follows(browser, chassis)
        it_looks_right(browser)
        thousands_of_events_leave_it_small(browser, chassis)
        browser.console_is_empty()
        browser.driver.get("about:blank")
        browser.driver.get(chassis.url.split("#")[0])
        browser.wait("document.querySelectorAll('.sensor').length === 6", "the page without the token")
        check(browser.find("#locked").is_displayed() and not browser.find('[data-command="pull"]').is_enabled(),
              "without the token it is read only")
        browser.console_is_empty()
        chassis.stop()
        browser.wait("document.querySelector('#link').textContent === 'the run is over'", "the page knows of the end")
        browser.console_is_empty()


def the_report(program, pictures):
    with tempfile.TemporaryDirectory() as folder, Browser(pictures) as browser:
        path = os.path.join(folder, "report.html")
        done = subprocess.run([program, "run", "sensors", "--time", "virtual", "--report", path],
                              capture_output=True, text=True, timeout=120)
        if "stepped clock" in done.stderr:
            skip("this build cannot follow the stepped clock")
        check(done.returncode == 0, done.stdout + done.stderr)
        browser.driver.get("file://" + path)
        check(browser.text("#verdict") == "all checks ok", browser.text("#verdict"))
        check("scenario sensors" in browser.text("#run"), browser.text("#run"))
        counted = done.stdout.count("[ok]")
        rows = browser.run("return document.querySelectorAll('#checks tr').length")
        check(rows == counted, f"{rows} checks in the report, {counted} on the console")
        check(len(browser.all("#timeline .state")) == 2 and browser.all("#timeline .fault"), "a timeline with faults")
        check(browser.has_drawn("#sensors canvas"), "a curve is drawn")
        check('name = "sensors"' in browser.text("#scenario"), "the scenario")
        check(browser.all("#figures tr") and len(browser.all("#log li")) > 20, "figures and events")
        for scheme in ("light", "dark"):
            for width in (1600, 400):
                browser.look(scheme, width)
                browser.nothing_is_wider_than_the_window()
            browser.look(scheme, 1600)
            browser.picture(f"report-{scheme}")
        browser.console_is_empty()


def main():
    program, pictures, part = sys.argv[1:4]
    for needed, package in ((BROWSER, "chromium"), (DRIVER, "chromium-driver")):
        if not os.path.exists(needed):
            skip(f"{package} is not installed")
    {"page": the_page, "report": the_report}[part](program, pictures)
    print("ok")


main()
