#!/usr/bin/python3
"""Looks at the inspector's page in a real browser, while a real reader polls a simulated home whose
meter falls silent and answers again. Usage: page-test.py BUILD PICTURES"""

import datetime
import json
import os
import re
import subprocess
import sys

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from served import House, Inspector, await_that, new_log, poll

BUILD, PICTURES = map(os.path.abspath, sys.argv[1:3])
METER = "2"


def open_browser():
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--no-proxy-server", "--force-device-scale-factor=1"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def meter(browser):
    return browser.find_element(By.ID, f"meter-{METER}")


def await_health(browser, health):
    await_that(f"meter {METER} is {health}",
               lambda: meter(browser).get_attribute("data-health") == health)


def check_colour(browser, name):
    """The border has the colour that the style sheet has for this."""
    colour = browser.execute_script("""
        const probe = document.body.appendChild(document.createElement("p"));
        probe.style.color = `var(--${arguments[0]})`;
        const colour = getComputedStyle(probe).color;
        probe.remove();
        return colour.match(/\\d+/g).map(Number);""", name)
    red, green, _ = colour
    assert red > 2 * green if name == "silent" else green > 2 * red, colour
    border = meter(browser).value_of_css_property("border-left-color")
    assert [int(x) for x in re.findall(r"\d+", border)][:3] == colour, (border, colour)


def rows(browser):
    return int(browser.find_element(By.ID, "plot").get_attribute("data-rows") or 0)


def check_values(browser, inspector):
    await_that("four tiles", lambda: len(browser.find_elements(By.CSS_SELECTOR, ".meter")) == 4)
    await_health(browser, "good")
    assert browser.find_element(By.ID, "connection").text == "● Live" or \
        browser.find_element(By.ID, "connection").get_attribute("data-state") == "live"
    names = [x.text for x in browser.find_elements(By.CSS_SELECTOR, ".meter h3")]
    assert names == [x["name"] for x in inspector.home()["meters"]], names
    before = meter(browser).find_element(By.CSS_SELECTOR, ".power").text
    await_that("another power", lambda: meter(browser).find_element(
        By.CSS_SELECTOR, ".power").text != before)


def check_plot(browser):
    canvas = browser.find_element(By.CSS_SELECTOR, "#plot canvas")
    await_that("a line in the plot", lambda: rows(browser) > 3)
    picture, count = canvas.screenshot_as_base64, rows(browser)
    await_that("more rows", lambda: rows(browser) > count)
    assert browser.find_element(By.CSS_SELECTOR, "#plot canvas").screenshot_as_base64 != picture


def check_names(browser):
    """What a screen reader says."""
    for selector, role, name in (
            ("#plot", "image", "Power of the last hours"), ("#days", "table", ""),
            (f"#meter-{METER}", "listitem", "Solar"), ("#reader", None, "Reader"),
            ("#spans", "group", "Shown time"), ("#legend", "list", "Meters of the plot"),
            ("#legend input", "checkbox", "Apartment"), ("#spans button", "button", "15 minutes")):
        element = browser.find_element(By.CSS_SELECTOR, selector)
        assert element.accessible_name == name, (selector, element.accessible_name)
        assert role is None or element.aria_role == role, (selector, element.aria_role)
    assert browser.find_element(By.TAG_NAME, "html").get_attribute("lang") == "en"


def check_keyboard(browser):
    """Everything that does something is reached by the tabulator, and does it by a key."""
    browser.find_element(By.TAG_NAME, "body").click()
    seen = []
    for _ in range(14):
        browser.switch_to.active_element.send_keys(Keys.TAB)
        active = browser.switch_to.active_element
        seen.append((active.tag_name, active.accessible_name))
        if active.text == "1 hour":
            active.send_keys(Keys.SPACE)
            assert active.get_attribute("aria-pressed") == "true"
            active.send_keys(Keys.ENTER)
    for wanted in (("a", "To the troubles"), ("button", "15 minutes"), ("button", "1 hour"),
                   ("div", "Power of the last hours"), ("input", "Apartment")):
        assert wanted in seen, seen


def take_pictures(browser, name):
    for scheme in ("light", "dark"):
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        for width in (360, 768, 1440):
            browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                "width": width, "height": 1000, "deviceScaleFactor": 1, "mobile": False})
            wide = browser.execute_script("return document.documentElement.scrollWidth")
            assert wide <= width, f"{wide} pixels at a width of {width}"
            height = browser.execute_script("return document.documentElement.scrollHeight")
            browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
            browser.execute_async_script("requestAnimationFrame(() => "
                                         "requestAnimationFrame(arguments[0]))")
            browser.save_screenshot(os.path.join(PICTURES, f"{name}-{scheme}-{width}.png"))
    browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})


def check_nothing_from_elsewhere(browser, inspector):
    urls = []
    for entry in browser.get_log("performance"):
        message = json.loads(entry["message"])["message"]
        if message["method"] == "Network.requestWillBeSent":
            urls.append(message["params"]["request"]["url"])
    assert any(url.endswith("/api/v1/events") for url in urls), urls
    foreign = [url for url in urls if not url.startswith(inspector.url)]
    assert not foreign, foreign


def check_metrics(inspector):
    metrics = inspector.get("metrics")
    assert 'modbus_meter_power_export_watts{slave_address="2"' in metrics, metrics
    result = subprocess.run(["promtool", "check", "metrics"], input=metrics, text=True,
                            capture_output=True, check=False)
    assert (result.returncode, result.stdout, result.stderr) == (0, "", ""), result


def lines_of_plot(browser):
    """Times and powers of the first meter, in which "end" is where a line ends."""
    return browser.execute_script("""
        return state.rows.filter((row) => row[1] !== null)
            .map((row) => [row[0].getTime(), Number.isNaN(row[1]) ? "end" : row[1]]);""")


def check_past(browser):
    """Lines end where nothing was read, and the past stays when a meter comes, or an answer fails."""
    folder, log = new_log()
    now = datetime.datetime.now(datetime.timezone.utc).replace(tzinfo=None)
    seconds = [*range(1200, 800, -10), *range(400, 0, -10)]
    with open(log, "w", encoding="utf-8") as file:
        for i, second in enumerate(seconds):
            file.write(poll(now - datetime.timedelta(seconds=second), i, [1]))
    with folder, Inspector(BUILD, log) as inspector:
        browser.get(inspector.url)
        await_that("a line", lambda: len(lines_of_plot(browser)) > 40)
        before = lines_of_plot(browser)
        ends = [i for i, (_, watts) in enumerate(before) if watts == "end"]
        assert len(ends) == 1, before
        assert before[ends[0] + 1][0] - before[ends[0]][0] > 380000, before
        with open(log, "a", encoding="utf-8") as file:
            file.write(poll(now, 0, [1, 2]) + poll(now + datetime.timedelta(seconds=1), 1, [1, 2]))
        await_that("two tiles", lambda: len(browser.find_elements(By.CSS_SELECTOR, ".meter")) == 2)
        await_that("the past", lambda: lines_of_plot(browser)[:len(before) - 2] == before[:-2])
        browser.execute_cdp_cmd("Network.setBlockedURLs", {"urls": ["*/api/v1/home"]})
        browser.refresh()
        await_connection(browser, "lost")
        browser.execute_cdp_cmd("Network.setBlockedURLs", {"urls": []})
        await_connection(browser, "live")


def await_connection(browser, name):
    await_that(f"the connection is {name}", lambda: browser.find_element(
        By.ID, "connection").get_attribute("data-state") == name)


def main():
    folder, log = new_log()
    with folder, Inspector(BUILD, log) as inspector:
        browser = open_browser()
        try:
            with House(BUILD, log):
                browser.get(inspector.url)
                check_values(browser, inspector)
                check_plot(browser)
                check_metrics(inspector)
                check_names(browser)
                check_keyboard(browser)
                check_colour(browser, "good")
                take_pictures(browser, "good")
            with House(BUILD, log, METER + "=silent"):
                await_health(browser, "silent")
                check_colour(browser, "silent")
                assert meter(browser).find_element(By.CSS_SELECTOR, ".power").text == "–"
                await_that("the end of its line", lambda: browser.execute_script(
                    "return state.rows.some((row) => Number.isNaN(row[2]))"))
                remedy = browser.find_element(By.ID, "troubles").text
                assert "→ Check wiring" in remedy, remedy
                take_pictures(browser, "silent")
            with House(BUILD, log):
                await_health(browser, "good")
                check_colour(browser, "good")
            said = {entry["message"] for entry in browser.get_log("browser")}
            assert not said, said
            check_nothing_from_elsewhere(browser, inspector)
            check_past(browser)
        finally:
            browser.quit()
    print("The page holds.")


main()
