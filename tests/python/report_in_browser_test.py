"""Reports in a real browser: they fit a phone, a screen and paper, say no errors, and ask for nothing."""

import base64
import json
import pathlib
import re

import numpy as np
import pytest
from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

import velko

PHONE, SCREEN = (360, 740), (1280, 900)


@pytest.fixture(scope="module")
def browser():
    options = webdriver.ChromeOptions()
    for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):  # of root, in a container
        options.add_argument(word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    opened = webdriver.Chrome(service=webdriver.chrome.service.Service("/usr/bin/chromedriver"), options=options)
    yield opened
    opened.quit()


def show(browser, page, size, scheme="light", media=""):
    # The window of a headless browser has a least width; a device's has not.
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                            {"width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": size == PHONE})
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                            {"media": media, "features": [{"name": "prefers-color-scheme", "value": scheme}]})
    browser.get_log("performance")
    browser.get(pathlib.Path(page).resolve().as_uri())


def requests_of(browser):
    """URLs that the page at hand asked for."""
    messages = (json.loads(line["message"])["message"] for line in browser.get_log("performance"))
    return [m["params"]["request"]["url"] for m in messages if m["method"] == "Network.requestWillBeSent"]


@pytest.fixture(scope="module")
def whole_run(made_files, tmp_path_factory):
    """The page of everything that a run has."""
    there = tmp_path_factory.mktemp("whole_run")
    page, data, observed = (str(there / name) for name in ("r.html", "a" * 80 + ".vlk", "survey.obs"))
    predicted = velko.read_predicted(made_files / "survey.vlk")
    velko.write_predicted(data, predicted)
    velko.write_data(observed, predicted.with_values(predicted.values + 1, np.full(36, 2.0)))
    velko.report(page, matrix=made_files / "survey.mtx", data=data, observed=observed, model=made_files / "survey.sus",
                 mesh=made_files / "survey.mesh", topography=made_files / "survey.topography",
                 title="A hill and the sphere below it", command=["velkmtx", "report", page, "--data", data])
    return page


def test_a_page_fits_phone_and_screen_without_errors_or_requests(browser, whole_run):
    for size in (PHONE, SCREEN):
        show(browser, whole_run, size)
        assert browser.execute_script("return document.documentElement.scrollWidth") <= size[0]
        assert browser.get_log("browser") == []
        asked = requests_of(browser)
        assert [url for url in asked if not url.startswith("data:")] == [pathlib.Path(whole_run).as_uri()]
        pictures = browser.find_elements(By.TAG_NAME, "img")
        assert len(pictures) == 8
        for picture in pictures:
            assert len(picture.get_attribute("alt")) > 20
            drawn = browser.execute_script("return [arguments[0].complete, arguments[0].naturalWidth, arguments[0].getBoundingClientRect().width]",
                                           picture)
            assert drawn[0] and drawn[1] > 300 and 250 < drawn[2] <= size[0] - 30
        phones = [p for p in pictures if p.get_property("currentSrc") != p.get_attribute("src")]
        assert len(phones) == (2 if size == PHONE else 0)  # sections, drawn for small screens


def tree_for_readers_of_screens(browser):
    """Role, name, properties of each node; none before the browser has made the tree of the page."""
    nodes = browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
    seen = [(n["role"]["value"], n.get("name", {}).get("value", ""), {p["name"]: p["value"].get("value") for p in n.get("properties", [])})
            for n in nodes if not n.get("ignored")]
    return seen if any(role == "heading" for role, _, _ in seen) else []


def test_its_tree_for_readers_of_screens_has_headings_in_order_and_names_for_pictures(browser, whole_run):
    browser.execute_cdp_cmd("Accessibility.enable", {})
    show(browser, whole_run, SCREEN)
    seen = WebDriverWait(browser, 30).until(tree_for_readers_of_screens)
    levels = [more["level"] for role, _, more in seen if role == "heading"]
    assert levels[0] == 1 and all(after <= before + 1 for before, after in zip(levels, levels[1:]))
    assert all(name for role, name, _ in seen if role in ("image", "img", "heading", "link"))
    assert {"main", "banner", "navigation"} <= {role for role, _, _ in seen}


def brightness(colour):
    red, green, blue = (int(n) for n in re.findall(r"\d+", colour)[:3])
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def test_dark_screens_have_a_dark_page_and_paper_never(browser, whole_run):
    colour = "return getComputedStyle(document.body).{}"
    for scheme, media, dark in (("light", "", False), ("dark", "", True), ("dark", "print", False)):
        show(browser, whole_run, SCREEN, scheme, media)
        back, front = (brightness(browser.execute_script(colour.format(c))) for c in ("backgroundColor", "color"))
        assert (back < 60 < 180 < front) if dark else (back > 240 and front < 60)


def test_on_paper_it_has_few_pages_and_no_navigation(browser, whole_run):
    show(browser, whole_run, SCREEN)
    paper = base64.b64decode(browser.execute_cdp_cmd("Page.printToPDF", {"paperWidth": 8.27, "paperHeight": 11.69})["data"])
    assert paper.startswith(b"%PDF") and 3 <= len(re.findall(rb"/Type\s*/Page\b", paper)) <= 9
    show(browser, whole_run, SCREEN, media="print")
    assert not browser.find_element(By.TAG_NAME, "nav").is_displayed()


def test_hostile_names_do_nothing(browser):
    name = "<img src=x onerror=document.title='taken'>.vlk"
    pathlib.Path("survey.vlk").rename(name)
    velko.report("r.html", data=name, title="</title><script>document.title='taken'</script>")
    show(browser, "r.html", PHONE)
    assert browser.title == "</title><script>document.title='taken'</script>"
    assert browser.find_elements(By.CSS_SELECTOR, "script, [onerror]") == [] and browser.get_log("browser") == []
    assert name in browser.find_element(By.TAG_NAME, "body").text


def test_forty_thousand_stations(browser):
    n = np.arange(40_000)
    x, y = n % 200 * 50.0, n // 200 * 50.0
    survey = velko.Survey(x, y, np.full(n.size, 60), 62, 4, 50000, values=200 * np.exp(-((x - 4e3) ** 2 + (y - 7e3) ** 2) / 1e6))
    velko.write_predicted("many.vlk", survey)
    velko.report("r.html", data="many.vlk")
    assert pathlib.Path("r.html").stat().st_size < 3_000_000
    for size in (PHONE, SCREEN):
        show(browser, "r.html", size)
        assert browser.execute_script("return document.documentElement.scrollWidth") <= size[0]
    assert "40\u202f000" in browser.find_element(By.CLASS_NAME, "facts").text and browser.get_log("browser") == []
