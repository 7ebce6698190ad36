"""Lays out what Sphinx makes pages of: the written pages, and those that are made of what lies in the tree.

Comments in the written pages stand for what is put in here:

    <!-- help: velkmtx make -->               what the program prints when it is asked for --help
    <!-- from: benchmarks/README.md # load --> a section of another page of the tree, without its heading

Links between files of the tree go on working: those to pages lead to the pages, those to headers and sources lead to the
pages of the rooms, or to a page that shows the file.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

import headers

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "packaging"))

import help_text  # noqa: E402: from the tree, as for the manual pages

WRITTEN = "docs"
LIBRARY_ROOMS = ["library", "products", "store", "files", "topography", "wavelet", "reports", "text", "arrays", "threads"]
OTHER_ROOMS = ["velkrund", "velkmtx", "programs", "builder", "design", "responses", "exchange", "mpi", "python", "packaging"]
# Pages that lie beside the code, and where they stand among the pages.
BESIDE = {"CHANGELOG.md": "changelog.md", "benchmarks/README.md": "benchmarks.md",
          "examples/recover/README.md": "examples/recover.md",
          **{f"{room}/README.md": f"rooms/{room}.md" for room in LIBRARY_ROOMS + OTHER_ROOMS}}
LANGUAGES = {".cpp": "cpp", ".h": "cpp", ".py": "python", ".sbatch": "bash", ".cmake": "cmake"}

FENCE = re.compile(r"^(```+).*?^\1`*[ \t]*$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"(\]\()([^)\s]+)(\))|(<img [^>]*src=\")([^\"]+)(\")")
HELP = re.compile(r"^<!-- help: (.+?) -->$", re.MULTILINE)
FROM = re.compile(r"^<!-- from: (\S+) # (.+?) -->$", re.MULTILINE)


def outside_fences(text, change):
    """The text, with a change of all that is no code block."""
    parts, at = [], 0
    for fence in FENCE.finditer(text):
        parts += [change(text[at:fence.start()]), fence.group()]
        at = fence.end()
    return "".join([*parts, change(text[at:])])


def shown_list(entries):
    return [line for one in entries if "--help" not in one.names
            for line in (f"`{', '.join(one.names)}{' ' * bool(one.value)}{one.value}`", f":   {headers.escaped(one.text)}", "")]


def shown_help(said):
    """The help of a program: its usage, and its arguments and options as lists that fit any width."""
    lines = ["```text", f"{said.name} {said.usage}", "```", "", *shown_list(said.arguments)]
    lines += [*shown_list(said.options)] + (["```text", *said.notes, "```"] if any(said.notes) else [])
    return "\n".join(lines)


class Stage:
    def __init__(self, root, target, programs):
        self.root, self.target, self.programs = root, target, programs
        self.shown = {}  # files of the tree that a page shows: path -> page

    def put(self, page, text):
        path = self.target / page
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def page_of(self, path):
        """The page of a file or folder of the tree, with the place on it; None where there is none."""
        path = path.rstrip("/")
        if path.startswith(f"{WRITTEN}/") and path.endswith(".md"):
            return path.removeprefix(f"{WRITTEN}/")
        for readme in (path, f"{path}/README.md"):
            if readme in BESIDE:
                return BESIDE[readme]
        room = path.partition("/")[0]
        if path.endswith(".h") and f"{room}/README.md" in BESIDE:
            return f"rooms/{room}.md#{headers.place_of(path)}"
        if path in ("README.md", ""):
            return "index.md"
        if (self.root / path).is_file() and not path.endswith((".png", ".svg", ".jpg")):
            return self.shown.setdefault(path, f"sources/{path}.md")
        return None

    def moved_link(self, link, origin, page):
        """A link of a file of the tree, as it has to be on the page that is made of it. None: there is nothing to lead to."""
        target, sharp, place = link.partition("#")
        if not target or re.match(r"[a-z]+:", target):
            return link
        path = os.path.normpath(os.path.join(os.path.dirname(origin), target))
        if (self.root / path).suffix in (".png", ".svg", ".jpg"):
            there = self.target / path.removeprefix(f"{WRITTEN}/")
            if not there.exists():
                there.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(self.root / path, there)
            found = path.removeprefix(f"{WRITTEN}/")
        else:
            found = self.page_of(path)
            if found is None:
                return None if (self.root / path).exists() else link
        return os.path.relpath(found, os.path.dirname(page) or ".") + sharp + place

    def with_moved_links(self, text, origin, page):
        def moved(match):
            before, link, behind = [group for group in match.groups() if group is not None]
            found = self.moved_link(link, origin, page)
            return f"{before}{link}{behind}" if found is None else f"{before}{found}{behind}"

        def change(part):
            part = LINK.sub(moved, part)
            # What no page shows, such as a folder of tests, keeps its words alone.
            return re.sub(r"\[([^\]]*)\]\(([^):#\s]+)\)", lambda m: m[0] if self.leads(m[2], origin, page) else m[1], part)

        return outside_fences(text, change)

    def leads(self, link, origin, page):
        path = os.path.normpath(os.path.join(os.path.dirname(origin), link))
        return not (self.root / path).is_dir() or self.page_of(path) is not None

    def told(self, command):
        """What a program says when it is asked for --help."""
        program, *words = command.split()
        folder = self.programs if (self.programs / program).exists() else self.root / "scripts"
        done = subprocess.run([folder / program, *words, "--help"], capture_output=True, text=True, check=True,
                              env={**os.environ, "COLUMNS": "90"})
        return shown_help(help_text.parse(command.split(), done.stdout))

    def section(self, path, heading):
        text = (self.root / path).read_text(encoding="utf-8")
        found = re.search(rf"^#+ {re.escape(heading)}\n(.*?)(?=^#+ |\Z)", text, re.MULTILINE | re.DOTALL)
        if found is None:
            raise SystemExit(f"pages: {path} has no section '{heading}'")
        return found[1].strip()

    def filled(self, text, page):
        # A definition has one term; several messages with one explanation become one.
        text = re.sub(r"((?:^`.+`\n)+)(?=: )", lambda m: " <br> ".join(m[1].strip().split("\n")) + "\n", text, flags=re.MULTILINE)
        text = HELP.sub(lambda m: self.told(m[1]), text)
        return FROM.sub(lambda m: self.with_moved_links(self.section(m[1], m[2]), m[1], page), text)

    def written_pages(self):
        for path in sorted((self.root / WRITTEN).rglob("*.md")):
            page = str(path.relative_to(self.root / WRITTEN))
            text = self.with_moved_links(path.read_text(encoding="utf-8"), str(path.relative_to(self.root)), page)
            self.put(page, self.filled(text, page))

    def pages_beside(self):
        for origin, page in BESIDE.items():
            path = self.root / origin
            if not path.exists():
                continue
            text = self.with_moved_links(path.read_text(encoding="utf-8"), origin, page)
            if page.startswith("rooms/") and headers.of_room(self.root, path.parent.name):
                text += "\n" + self.with_moved_links(headers.pages_of(self.root, path.parent.name), f"{path.parent.name}/x", page)
            self.put(page, text)

    def shown_files(self):
        for path, page in sorted(self.shown.items()):
            text = (self.root / path).read_text(encoding="utf-8")
            language = LANGUAGES.get(pathlib.Path(path).suffix, "bash" if text.startswith("#!/usr/bin/env bash") else "text")
            language = "python" if text.startswith("#!/usr/bin/python3") else language
            self.put(page, f"---\norphan: true\n---\n\n# `{path}`\n\n``````{language}\n{text.rstrip()}\n``````\n")


def stage(root, target, programs):
    shutil.rmtree(target, ignore_errors=True)
    shutil.copytree(root / WRITTEN, target, ignore=shutil.ignore_patterns("*.md", "site", "__pycache__"))
    (target / "site").mkdir()
    shutil.copy(root / WRITTEN / "site/scorer.js", target / "site")
    made = Stage(root, target, programs)
    made.written_pages()
    made.pages_beside()
    made.shown_files()
