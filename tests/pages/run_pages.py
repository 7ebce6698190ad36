#!/usr/bin/python3
"""Runs the commands on pages, each page in a fresh folder, and compares what they print with what the page shows.

    run_pages.py [--keep FOLDER] FOLDER_OF_PROGRAMS PAGE ...     keeps what one page makes, in an empty folder

    ```console   lines that begin with "$ " are commands ("> " goes on with one); what stands below a command is what it prints,
                 "..." standing for anything in a line, or for any lines. A command that shows nothing may print anything
    ```bash      a script
    ```python    a script, one with those that follow before the next commands

A comment in front of a block changes what becomes of it, and readers don't see it:

    <!-- not run: WHY -->   it needs what is not at hand, such as a cluster
    <!-- fails -->          its commands end with another status than 0
    <!-- file: NAME -->     the block is the text of a file, and becomes one; also a block that is indented

<!-- before: COMMAND --> is run where it stands. A command in any other block is a fault, so that none is forgotten.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import textwrap
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIMIT = 240  # seconds that a command may take: a machine may be busy
BLOCK = re.compile(r"^<!-- before: (?P<before>.+?) -->$"
                   r"|(?:^<!-- (?P<mark>not run|fails|file)(?:: (?P<words>.+?))? -->\n+)?"
                   r"(?:^(?P<fence>```+)(?P<language>[\w{}-]*)[^\n]*\n(?P<text>.*?)^(?P=fence)[ \t]*$"
                   r"|(?P<indented>(?:^(?: {4}[^\n]*)?\n)*^ {4}[^\n]*$))", re.MULTILINE | re.DOTALL)
COMMAND = re.compile(r"^\s*(\$ |velkmtx |velkrund |velkrund-mpi |mpirun |cmake |scripts/|recover |sbatch |ctest |pip )", re.MULTILINE)
SHELL_MARK = "\x1e"
TOOLS = ".tools"


class Fault(Exception):
    """What is wrong with a page."""


class Shell:
    """A shell that lives as long as its page, so that variables stay."""

    def __init__(self, folder, environment):
        self.process = subprocess.Popen(["bash", "--norc", "--noprofile"], cwd=folder, env=environment, text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def run(self, command):
        """What the command prints, and its status."""
        too_late = threading.Timer(LIMIT, self.process.kill)
        too_late.start()
        try:
            return self.answer_to(command)
        finally:
            too_late.cancel()

    def answer_to(self, command):
        self.process.stdin.write(f"{command}\nprintf '{SHELL_MARK}%s\\n' $?\n")
        self.process.stdin.flush()
        printed = []
        for line in self.process.stdout:
            text, mark, status = line.partition(SHELL_MARK)
            printed.append(text)
            if mark:
                return "".join(printed), int(status)
        raise Fault(f"the shell ended in: {command}\n{''.join(printed)}")

    def close(self):
        self.process.stdin.close()
        self.process.wait(LIMIT)
        self.process.stdout.close()


def matches(shown, printed):
    """Whether the printed text is the one that is shown, where ... stands for anything."""
    pattern = ""
    for line in shown.rstrip("\n").split("\n"):
        if line.strip() == "...":
            pattern += r"(?:.*\n)*?"
        else:
            pattern += r".*?".join(re.escape(part) for part in line.rstrip().split("...")) + r"[ \t]*\n"
    return re.fullmatch(pattern, printed.rstrip("\n") + "\n") is not None


def commands_of(console):
    """(command, what it shows) of a block with prompts."""
    found = []
    for line in console.rstrip("\n").split("\n"):
        if line.startswith("$ "):
            found.append([line[2:], ""])
        elif line.startswith("> ") and found and not found[-1][1]:
            found[-1][0] += "\n" + line[2:]
        elif found and found[-1][0].endswith("\\") and not found[-1][1]:
            found[-1][0] += "\n" + line
        elif found:
            found[-1][1] += line + "\n"
        else:
            raise Fault(f"a block that does not begin with a command: {line}")
    return found


class Page:
    def __init__(self, path, folder, programs):
        self.text, self.folder = path.read_text(encoding="utf-8"), folder
        tools = folder / TOOLS
        tools.mkdir()
        (tools / "python3").symlink_to("/usr/bin/python3")  # a page means that of the system
        package = os.environ.get("VELKO_PYTHON", programs.parent / "python")
        self.environment = {**os.environ, "VELKO": str(ROOT), "PYTHONPATH": str(package), "PYTHONDONTWRITEBYTECODE": "1", "LC_ALL": "C",
                            "MPLBACKEND": "Agg", "PATH": f"{tools}:{programs}:{ROOT}/scripts:{os.environ['PATH']}"}
        self.shell = Shell(folder, self.environment)
        self.python = ""
        self.ran, self.passed_over = 0, []

    def run(self):
        try:
            for block in BLOCK.finditer(self.text):
                self.run_block(block)
            self.run_python()
        finally:
            self.shell.close()

    def run_block(self, block):
        text = block["indented"] if block["indented"] is not None else block["text"]
        if block["before"]:
            self.run_command(block["before"])
        elif block["mark"] == "not run":
            self.passed_over.append(block["words"])
        elif block["mark"] == "file":
            (self.folder / block["words"]).write_text(textwrap.dedent(text).strip("\n") + "\n")
        elif block["language"] == "console":
            self.run_python()
            for command, shown in commands_of(text):
                self.run_command(command, shown, block["mark"] == "fails")
        elif block["language"] == "bash":
            self.run_python()
            self.run_command(f"({{ set -e\n{text}\n}})")
        elif block["language"] == "python":
            self.python += text
        elif COMMAND.search(text):
            raise Fault(f"a command in a block that is not run: {COMMAND.search(text)[0].strip()}: "
                        f"{text.strip().splitlines()[0]}")

    def run_command(self, command, shown="", fails=False):
        printed, status = self.shell.run(command)
        self.ran += 1
        if (status != 0) != fails:
            raise Fault(f"status {status}: {command}\n{printed}")
        if shown.strip() and not matches(shown, printed):
            raise Fault(f"another output: {command}\n--- shown\n{shown}--- printed\n{printed}")

    def run_python(self):
        """The lines so far, in a process of their own that has the files of the commands in front of them."""
        if not self.python:
            return
        done = subprocess.run(["/usr/bin/python3", "-c", self.python], cwd=self.folder, env=self.environment, text=True,
                              capture_output=True, timeout=LIMIT, check=False)
        self.ran, self.python = self.ran + 1, self.python if done.returncode else ""
        if done.returncode:
            raise Fault(f"Python:\n{self.python}\n{done.stdout}{done.stderr}")


def run_page(path, programs, kept=None):
    """The faults of a page, none or one."""
    folder = kept or pathlib.Path(tempfile.mkdtemp(prefix="velko_page_"))
    began = time.monotonic()
    try:
        page = Page(path, folder, programs)
        page.run()
        if page.ran or page.passed_over:
            print(f"{os.path.relpath(path, ROOT)}: {page.ran} commands, {time.monotonic() - began:.1f} s", flush=True)
        for why in page.passed_over:
            print(f"    not run: {why}")
        return []
    except Fault as fault:
        return [f"{os.path.relpath(path, ROOT)}: {fault}"]
    except subprocess.TimeoutExpired as late:
        return [f"{os.path.relpath(path, ROOT)}: {late}"]
    finally:
        shutil.rmtree(folder / TOOLS if kept else folder, ignore_errors=True)


def main():
    words = sys.argv[1:]
    kept = pathlib.Path(words[1]).resolve() if words[:1] == ["--keep"] else None
    programs, *pages = [pathlib.Path(word).resolve() for word in (words[2:] if kept else words)]
    faults = [fault for page in pages for fault in run_page(page, programs, kept)]
    for fault in faults:
        print(fault, file=sys.stderr)
    if not pages or faults:
        sys.exit(1)


if __name__ == "__main__":
    main()
