#!/usr/bin/python3
"""docs/troubleshooting.md has every message of the programs, and none that they don't have.

A message is a text in a call that tells or throws one, and each text of some words in the files that say what is wrong with an
input. Its fixed parts, between the values that are put in, have to stand in one entry of the page in their order; an entry
that no message fits is one of an older version.
"""

import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
ROOMS = ["velkrund", "velkmtx", "builder", "files", "store", "products", "topography", "exchange", "design", "reports", "programs", "mpi",
         "library", "arrays", "wavelet"]
CALLS = re.compile(r"\b(?:stop_program|report|report_and_stop|report_file_not_found|refuse|refuse_file|fail|fault|note|warn|differ|"
                   r"ValidationError|RequiredError|ParseError|runtime_error|system_error|logic_error|range_error|invalid_argument|fputs|"
                   r"fprintf|write_line|bad_word)\s*[({]")
# Texts of these files are messages wherever they stand.
TELLING = ["builder/text_diagnosis.cpp", "builder/likely_mistakes.cpp", "builder/input_checks.cpp", "builder/provenance.cpp",
           "builder/sensitivity_scan.cpp", "reports/reports.cpp", "arrays/memory.cpp", "exchange/table.cpp", "exchange/raster.cpp"]
SCRIPTS = ["python/velko/plot_command.py", "python/velko/report_command.py", "python/velko/report_page.py",
           "python/velko/report_run.py", "scripts/built_package.py"]
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
HOLE = re.compile(r"\{[^{}]*\}|%z?[su]")
# What a message begins with, what is a part of another one's entry, and lines of the log that tell of no fault.
NO_MESSAGES = {"velkmtx:", "active cells were read from file:", "# of cells:", "{self.prog}: {message}; see {self.prog} --help"}
# Names that are put into messages, and the banner.
NO_MESSAGES |= {"record 1 (header)", "record 2 (mesh)", "record 3 (surface)", "record 4 (filter)", "record 5 (cube)",
                "record 6 (weights)", "record 8 (diagonal)", "the sums behind record 8", "what stands in front of the rows",
                "the elevation of the top", "the standard deviation", "the number of cells along", "x of the first edge", "y of the first edge",
                "Magnetic forward modelling in three dimensions", "Parallelized with OpenMP.  # of threads:", "The VELKO developers",
                "VELKO - Version"}
# Entries whose words come from libraries that we use, or are put together of pieces that stand elsewhere.
OF_OTHERS = ["--OPTION requires --OTHER", "--OPTION excludes --OTHER", "The following arguments were not expected: WORDS",
             "NAME is required", "--height is required", "velko: out of memory", "velkrund.vlk is written",
             "'TEXT' where idir, 0 or 1, is wanted", "NAME is N, which is no power of two", "NAME(N) is V: not finite",
             "N of N data lie in or on a cell below the surface, the first is datum N; --allow-buried takes them"]


def without_comments(text):
    """The text of a source, without comments; a quotation mark as a character is no beginning of a text."""
    return re.sub(r"^\s*//.*$", "", text, flags=re.MULTILINE).replace("'\"'", "' '").replace("'\\''", "' '")


def statement(text, begin):
    """From a bracket to the one that closes it."""
    depth, at = 0, begin
    while at < len(text):
        if text[at] == '"':
            at = LITERAL.match(text, at).end()
            continue
        depth += (text[at] in "({") - (text[at] in ")}")
        if depth == 0:
            return text[begin:at + 1]
        at += 1
    return text[begin:]


def literals(text):
    joined = re.sub(r'"\s*\n\s*"', "", text)
    return [re.sub(r"^velkmtx: |^plot: ", "", found.replace("\\n", "")).strip() for found in LITERAL.findall(joined)]


def messages_of_sources():
    """(file, text) of every message."""
    listed = subprocess.run(["git", "ls-files", *(f"{room}/*.{kind}" for room in ROOMS for kind in ("cpp", "h"))], cwd=ROOT,
                            capture_output=True, text=True, check=True).stdout.split()
    found = []
    for name in listed:
        text = without_comments((ROOT / name).read_text(encoding="utf-8"))
        for call in CALLS.finditer(text):
            # An option's words are no message.
            found += [(name, words) for words in literals(statement(text, call.end() - 1)) if len(re.findall(r"[A-Za-z]{2,}", words)) > 0]
        if name in TELLING:
            found += [(name, words) for words in literals(text) if len(words.split()) > 2]
    for name in SCRIPTS:
        text = (ROOT / name).read_text(encoding="utf-8")
        for call in re.finditer(r"\b(?:error|exit|_say|ArgumentTypeError|SystemExit|ValueError|Error)\(", text):
            found += [(name, words) for words in literals(statement(text, call.end() - 1).replace('f"', '"')) if len(words.split()) > 2]
    return [(name, words) for name, words in found if words not in NO_MESSAGES]


def entries_of_page():
    text = (ROOT / "docs/troubleshooting.md").read_text(encoding="utf-8")
    return re.findall(r"^`(.+)`$", text, re.MULTILINE)


def fixed_parts(words):
    return [part.strip(" :;,") for part in HOLE.split(words.replace('\\"', '"')) if re.search(r"[A-Za-z]{2}", part)]


def stands_in(words, entry):
    at = 0
    for part in fixed_parts(words):
        at = entry.find(part, at)
        if at < 0:
            return False
        at += len(part)
    return True


def uncovered(entry, messages):
    """The letters of an entry, but for places of values, that no message has; of those that fit, the longer ones count first."""
    left = entry
    for words in sorted(messages, key=lambda words: -sum(map(len, fixed_parts(words)))):
        if stands_in(words, entry):
            for part in fixed_parts(words):
                left = left.replace(part, " ")
    return re.sub(r"[^A-Za-z]", "", re.sub(r"\b[A-Z]+s?\b", "", left))


class Troubleshooting(unittest.TestCase):
    maxDiff = None

    def test_every_message_has_an_entry(self):
        entries = entries_of_page()
        missing = sorted({f"{name}: {words}" for name, words in messages_of_sources()
                          if fixed_parts(words) and not any(stands_in(words, entry) for entry in entries)})
        self.assertEqual(missing, [])

    def test_every_entry_is_a_message(self):
        messages = {words for _, words in messages_of_sources()}
        strange = [f"{entry}: {rest}" for entry in entries_of_page()
                   if entry not in OF_OTHERS and 2 * len(rest := uncovered(entry, messages)) > len(re.sub("[^A-Za-z]", "", entry))]
        self.assertEqual(strange, [])

    def test_many_messages_are_found(self):
        self.assertGreater(len(messages_of_sources()), 200)
        self.assertGreater(len(entries_of_page()), 200)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
