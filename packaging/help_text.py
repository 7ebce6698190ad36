"""What the --help of a program says: its words, options and subcommands, down to the last one.

Reads the help of CLI11 and of argparse alike. Manual pages and completions are made of it, so nothing is written twice.
"""

import os
import re
import subprocess
from dataclasses import dataclass, field

SECTIONS = {"Positionals:": "arguments", "positional arguments:": "arguments", "Options:": "options",
            "options:": "options", "Subcommands:": "subcommands", "subcommands:": "subcommands"}


@dataclass
class Entry:
    """One line of a list: `names` as in ["-h", "--help"], `value` what has to follow, `text` what it is."""
    names: list[str]
    value: str
    text: str


@dataclass
class Help:
    """`what` in one sentence; `usage` without the name; `notes` the lines below the lists."""
    command: list[str]
    what: str = ""
    usage: str = ""
    arguments: list[Entry] = field(default_factory=list)
    options: list[Entry] = field(default_factory=list)
    subcommands: list["Help"] = field(default_factory=list)
    notes: list[str] = field(default_factory=list)

    @property
    def name(self):
        return " ".join(self.command)

    def all(self):
        """This one, and all below it."""
        yield self
        for subcommand in self.subcommands:
            yield from subcommand.all()


def entry(line):
    head, _, text = line.strip().partition("  ")
    words = re.split(r",\s*(?=-)", head)
    names = [word.split()[0] for word in words]
    value = words[-1].partition(" ")[2] if head.startswith("-") else ""
    return Entry(names, value, text.strip())


def parse(command, text):
    """The help as it was printed, less what its subcommands say. What it does is in the first paragraph, above or below the
    usage; notes are what else stands outside of the lists."""
    said, outside, where = Help(command), [], None
    for line in text.splitlines():
        if found := re.match(r"[Uu]sage: (.*)", line):
            said.usage, where = found.group(1), "usage"
        elif line in SECTIONS:
            where = SECTIONS[line]
        elif not line:
            where = None
            outside.append(line)
        elif where == "usage":
            said.usage += " " + line.strip()
        elif where and re.match(r" {2,4}\S", line):
            getattr(said, where).append(entry(line))
        elif where:
            last = getattr(said, where)[-1]
            last.text = f"{last.text} {line.strip()}".strip()
        else:
            outside.append(line)
    while outside and not outside[0]:
        outside.pop(0)
    end = outside.index("") if "" in outside else len(outside)
    said.what = " ".join(outside[:end]).removeprefix(f"{command[0]}: ").rstrip(".")
    said.notes = outside[end:]
    said.usage = said.usage.removeprefix(said.name).strip()
    return said


def read(program, command, environment=None):
    """The help of `program`, which users call by the words of `command`, and of everything below it."""
    printed = subprocess.run([program, *command[1:], "--help"], check=True, capture_output=True, text=True,
                             env={**os.environ, **(environment or {}), "COLUMNS": "100"}).stdout
    said = parse(command, printed)
    named = [one for one in said.subcommands if one.text]
    said.subcommands = [read(program, [*command, one.names[0]], environment) for one in named]
    for below, one in zip(said.subcommands, named):
        below.what = below.what or one.text
    return said
