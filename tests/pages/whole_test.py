#!/usr/bin/python3
"""Nothing is left out of the pages: subcommands, options, names of the Python package, headers, files; and their own tools see faults.

    whole_test.py --programs build/release/bin --pages build/pages/html
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
parser = argparse.ArgumentParser()
parser.add_argument("--programs", type=pathlib.Path, required=True)
parser.add_argument("--pages", type=pathlib.Path, required=True)
options = parser.parse_args()
PROGRAMS, HTML = options.programs.resolve(), options.pages.resolve()
sys.path[:0] = [str(ROOT / "docs/site"), str(ROOT / "tests/pages"), str(PROGRAMS.parent / "python")]

import links  # noqa: E402: from the tree
import run_pages  # noqa: E402
import velko  # noqa: E402


def html(page):
    return (HTML / page).read_text(encoding="utf-8")


def subcommands_of(*words):
    done = subprocess.run([PROGRAMS / "velkmtx", *words, "--help"], capture_output=True, text=True, check=True)
    return re.findall(r"^  (\w+) ", done.stdout.partition("Subcommands:")[2], re.MULTILINE)


class Whole(unittest.TestCase):
    def test_every_subcommand_has_a_page_with_its_options(self):
        names = subcommands_of()
        self.assertIn("make", names)
        for name in names:
            page = html(f"commands/velkmtx_{name}.html")
            for words in [(name, inner) for inner in subcommands_of(name)] or [(name,)]:
                self.assertIn(f"velkmtx {' '.join(words)} [OPTIONS]", page)

    def test_every_name_of_the_python_package_is_told(self):
        pages = "".join(path.read_text(encoding="utf-8") for path in (HTML / "python").glob("*.html"))
        missing = [name for name in velko.__all__ if name != "plot" and f'id="velko.{name}"' not in pages]
        self.assertEqual(missing, [])
        self.assertIn('id="velko.plot.data"', pages)

    def test_every_header_of_a_room_is_on_its_page(self):
        listed = subprocess.run(["git", "ls-files", "*/*.h"], cwd=ROOT, capture_output=True, text=True, check=True).stdout.split()
        headers = [name for name in listed if name.count("/") == 1 and (HTML / "rooms" / f"{name.partition('/')[0]}.html").exists()]
        self.assertGreater(len(headers), 60)
        self.assertEqual([name for name in headers if name not in html(f"rooms/{name.partition('/')[0]}.html")], [])

    def test_no_page_is_beside_the_road(self):
        """Every written page is in a table of contents, or Sphinx would have warned; every format has its page."""
        index = html("formats/index.html")
        for path in (ROOT / "docs/formats").glob("*.md"):
            self.assertIn(f"{path.stem}.html" if path.stem != "index" else "Files", index)


class Tools(unittest.TestCase):
    """A check that can not fail is none."""

    def faults_of(self, text):
        with tempfile.TemporaryDirectory() as folder:
            page = pathlib.Path(folder) / "page.md"
            page.write_text(text)
            return run_pages.run_page(page, PROGRAMS)

    def test_a_page_that_shows_what_is_printed_is_good(self):
        self.assertEqual(self.faults_of("```console\n$ echo a; echo b; echo c1\na\n...\nc...\n$ false || true\n```\n"), [])

    def test_another_output_is_a_fault(self):
        self.assertIn("another output", self.faults_of("```console\n$ echo a\nb\n```\n")[0])

    def test_a_command_that_fails_is_a_fault_unless_told(self):
        self.assertIn("status 1", self.faults_of("```bash\nfalse\ntrue\n```\n")[0])
        self.assertEqual(self.faults_of("<!-- fails -->\n```console\n$ false\n```\n"), [])
        self.assertIn("status 0", self.faults_of("<!-- fails -->\n```console\n$ true\n```\n")[0])

    def test_a_command_in_a_block_without_a_word_is_a_fault(self):
        self.assertIn("not run", self.faults_of("```\nvelkmtx info survey.mtx\n```\n")[0])
        self.assertEqual(self.faults_of("<!-- not run: why -->\n```\nvelkmtx info survey.mtx\n```\n"), [])

    def test_python_of_a_page_is_run_with_its_files(self):
        self.assertEqual(self.faults_of("<!-- file: a.txt -->\n    5\n\n```python\nassert open('a.txt').read() == '5\\n'\n```\n"), [])
        self.assertIn("AssertionError", self.faults_of("```python\nassert False\n```\n")[0])

    def test_a_link_that_leads_nowhere_is_a_fault(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "a.html").write_text('<p id="here"><a href="b.html"></a><a href="#here"></a><a href="#there"></a><img src="c.png">')
            self.assertEqual(links.faults(folder), ["a.html: #there: no such place", "a.html: b.html: no such file",
                                                    "a.html: c.png: no such file"])
        self.assertEqual(links.faults(HTML), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
