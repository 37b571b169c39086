#!/usr/bin/env python3
"""The HTML export of rpl-toc as a browser lays it out.

Exports examples/design_flow.json (one folder unmarked, one table landscape
with its columns laid out), opens the page in headless Chromium at 1280 and
at 420 pixels wide and as printed, saves a screenshot of each in OUT_DIR and
checks the layout: nothing wider than the window, the contents beside the
text on a wide screen and above it on a narrow one; the sections' contents
drawn (tables with their widths and order, charts as SVG); printed, no
contents, a new page for every top-level folder and landscape pages for
landscape sections.

    export_in_browser.py RPL_TOC EXAMPLES_DIR OUT_DIR
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

CHROMIUM = "/usr/bin/chromium"
CHROMEDRIVER = "/usr/bin/chromedriver"
REPORT = "design_flow.json"
TOP_FOLDERS = ["s-1-2", "s-1-3", "s-1-5"]  # Timing, Messages, Power: Resources is left out
LANDSCAPE = "s-1-2-1"                      # Setup Slack
CLOCKS = "s-1-2-3"                         # Clock Summary, laid out below
WIDTHS = [120, 100, 100, 160]
ORDER = [0, 2, 1, 3]
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)


def export(rpl_toc, examples, work):
    report = work / REPORT
    shutil.copy(examples / REPORT, report)
    for args in (["unmark", report, "||Design Flow||Resources"],
                 ["set", report, "||Design Flow||Timing||Setup Slack", "--orientation", "2"],
                 ["set", report, "||Design Flow||Timing||Clock Summary", *[f"--width={i}={w}" for i, w in enumerate(WIDTHS)],
                  *[f"--order={i}={o}" for i, o in enumerate(ORDER)], "--align=1=R", "--align=2=R"],
                 ["export", report, "--html", work / "design_flow.html"]):
        subprocess.run([rpl_toc, *map(str, args)], check=True, capture_output=True)
    return work / "design_flow.html"


def browser(width, profile):
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync",
                 f"--user-data-dir={profile}", f"--window-size={width},900"):
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
    # A window is never narrower than 500 pixels; the page's viewport can be.
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
    return driver


def box(driver, selector):
    return driver.execute_script(
        "const r = document.querySelector(arguments[0]).getBoundingClientRect();"
        "return {left: r.left, right: r.right, top: r.top, bottom: r.bottom};", selector)


def style(driver, element_id, prop):
    return driver.execute_script(
        "return getComputedStyle(document.getElementById(arguments[0])).getPropertyValue(arguments[1]);",
        element_id, prop)


def check_screen(driver, width):
    inner = driver.execute_script("return window.innerWidth")
    check(inner == width, f"the window is {inner} px wide, not {width}")
    overflow = driver.execute_script("return document.documentElement.scrollWidth - window.innerWidth")
    check(overflow <= 0, f"{width} px: the page is {overflow} px wider than the window")
    nav, main = box(driver, "nav"), box(driver, "main")
    if width >= 800:
        check(nav["right"] <= main["left"] and nav["top"] == main["top"],
              f"{width} px: the contents are not beside the text: {nav} {main}")
    else:
        check(nav["bottom"] <= main["top"], f"{width} px: the contents are not above the text: {nav} {main}")


def check_contents(driver):
    headings = driver.execute_script(
        "return [...document.querySelectorAll('#' + arguments[0] + ' th')].map((h) => h.textContent)", CLOCKS)
    check(headings == ["Clock", "Fmax (MHz)", "Period (ns)", "Source"], f"the clock table's columns: {headings}")
    widths = driver.execute_script(
        "return [...document.querySelectorAll('#' + arguments[0] + ' th')].map((h) => Math.round(h.getBoundingClientRect().width))",
        CLOCKS)
    check(widths == [120, 100, 100, 160], f"the clock table's columns are {widths} px wide")
    charts = driver.execute_script("return document.querySelectorAll('svg.rpl-chart').length")
    check(charts == 2, f"{charts} charts drawn, not 2 (Resources is left out)")


def check_print(driver):
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
    display = driver.execute_script("return getComputedStyle(document.querySelector('nav')).display")
    check(display == "none", f"printed, the contents show ({display})")
    check(style(driver, "s-1", "break-before") != "page", "printed, the first page is empty")
    for folder in TOP_FOLDERS:
        check(style(driver, folder, "break-before") == "page", f"printed, {folder} does not start a page")
    check(style(driver, LANDSCAPE, "page") == "landscape", "printed, the landscape section is on a portrait page")
    check(style(driver, "s-1-2-2", "page") != "landscape", "printed, a portrait section is on a landscape page")


def main():
    rpl_toc, examples, out_dir = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    out_dir.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as scratch:
        page = export(rpl_toc, examples, pathlib.Path(scratch))
        for width in (1280, 420):
            driver = browser(width, pathlib.Path(scratch) / f"profile-{width}")
            try:
                driver.get(page.as_uri())
                screenshot = out_dir / f"export-{width}.png"
                check(driver.save_screenshot(str(screenshot)), f"no screenshot at {width} px")
                check_screen(driver, width)
                driver.execute_script("document.getElementById(arguments[0]).scrollIntoView()", CLOCKS)
                laid_out = out_dir / f"export-{width}-clocks.png"
                check(driver.save_screenshot(str(laid_out)), f"no screenshot of the clock table at {width} px")
                print(f"screenshot: {laid_out}")
                driver.execute_script("window.scrollTo(0, 0)")
                if width == 1280:
                    check_contents(driver)
                    check_print(driver)
                    printed = out_dir / "export-print.png"
                    check(driver.save_screenshot(str(printed)), "no screenshot of the printed page")
                    print(f"screenshot: {printed}")
            finally:
                driver.quit()
            print(f"screenshot: {screenshot}")
    for failure in failures:
        print(f"FAILED: {failure}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
