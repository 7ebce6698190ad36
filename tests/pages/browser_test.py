#!/usr/bin/python3
"""The pages in a browser, from the file system: they fit a phone and a desk, tell no errors, and can be searched.

    browser_test.py --pages build/pages/html
"""

import argparse
import pathlib
import sys
import unittest

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

parser = argparse.ArgumentParser()
parser.add_argument("--pages", type=pathlib.Path, required=True)
PAGES = parser.parse_known_args()[0].pages.resolve()
PHONE, DESK = (360, 740), (1280, 900)
SEARCHED = {"remanence": "conventions.html", "idx outside the cube": "troubleshooting.html", "velkmtx join": "commands/velkmtx_join.html",
            "sample_bodies": "python/making.html", "GPROD": "rooms/products.html"}


def browser():
    options = webdriver.ChromeOptions()
    for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):  # of root, in a container
        options.add_argument(word)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = webdriver.chrome.service.Service("/usr/bin/chromedriver")
    return webdriver.Chrome(service=service, options=options)


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = browser()
        cls.addClassCleanup(cls.browser.quit)

    def show(self, page, size):
        # The window of a headless browser has a least width; a device's has not.
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": size == PHONE})
        self.browser.get(page if "://" in page else (PAGES / page).as_uri())

    def test_no_page_is_wider_than_its_window_or_tells_an_error(self):
        pages = sorted(str(path.relative_to(PAGES)) for path in PAGES.rglob("*.html"))
        self.assertGreater(len(pages), 60)
        for size in (PHONE, DESK):
            for page in pages:
                with self.subTest(page=page, width=size[0]):
                    self.show(page, size)
                    self.assertLessEqual(self.browser.execute_script("return document.documentElement.scrollWidth"), size[0])
                    errors = [line["message"] for line in self.browser.get_log("browser") if line["level"] == "SEVERE"]
                    self.assertEqual(errors, [])

    def test_every_picture_is_there_and_has_words_in_its_place(self):
        for page in ("index.html", "first_run.html", "tutorial.html", "gallery.html", "architecture.html", "examples/recover.html"):
            self.show(page, DESK)
            pictures = self.browser.find_elements(By.CSS_SELECTOR, "article img:not(.copybtn img)")
            self.assertTrue(pictures, page)
            for picture in pictures:
                self.assertGreater(len(picture.get_attribute("alt")), 10, page)
                self.assertGreater(self.browser.execute_script("return arguments[0].naturalWidth", picture), 100, page)

    def test_search_finds_its_way_without_a_server(self):
        for words, page in SEARCHED.items():
            with self.subTest(words=words):
                self.show((PAGES / "search.html").as_uri() + "?q=" + words.replace(" ", "+"), DESK)
                WebDriverWait(self.browser, 20).until(
                    lambda b: b.find_elements(By.CSS_SELECTOR, "#search-results .search-summary, #search-results > p")
                    and "finished" in b.find_element(By.CSS_SELECTOR, "#search-results").text)
                links = [link.get_attribute("href") for link in self.browser.find_elements(By.CSS_SELECTOR, "#search-results ul.search a")]
                found = [link.split("?")[0].split("#")[0] for link in links]
                self.assertIn((PAGES / page).as_uri(), found[:5])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
