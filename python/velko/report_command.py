"""What velkmtx report runs: its options come as words, which velkmtx has looked through."""

from __future__ import annotations

import os
import sys
import warnings
from typing import Any, Callable, Sequence

from velko.errors import Error, LibraryWarning

PACKAGES = "python3-matplotlib and python3-jinja2"
PLACES = ("x", "y", "elevation")


def _printable(text: str) -> str:
    """One line that does nothing to a terminal."""
    text = os.fsencode(text).decode("utf-8", "replace")
    return "".join(c if c.isprintable() else "?" for c in text)


def _say(text: str) -> None:
    print(f"velkmtx: {_printable(text)}", file=sys.stderr)


def _numbers(text: str) -> Any:
    return [float(part) for part in text.split(",")]


def _options(words: Sequence[str]) -> dict[str, Any]:
    """Name and value in turn."""
    convert: dict[str, Callable[[str], Any]] = {"verify": int, **dict.fromkeys(PLACES, _numbers)}
    return {name: convert.get(name, str)(value) for name, value in zip(words[::2], words[1::2])}


def _command(output: str, words: Sequence[str]) -> list[str]:
    """As the user called it, but for the order of its words."""
    return ["velkmtx", "report", output, *(word if n % 2 else f"--{word}" for n, word in enumerate(words))]


def _write(output: str, words: Sequence[str]) -> None:
    from velko.report_page import report

    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("ignore")
        warnings.simplefilter("always", category=LibraryWarning)
        faults = report(output, command=_command(output, words), **_options(words))
    for line in [*(str(warning.message) for warning in told), *faults]:
        _say(line)


def main(words: Sequence[str]) -> int:
    """Writes the page words[0]; gives the exit status."""
    try:
        _write(words[0], words[1:])
        return 0
    except KeyboardInterrupt:
        return 130
    except ImportError as failure:
        _say(f"a report needs Debian's {PACKAGES}: {failure}")
    except MemoryError:
        _say("not enough memory")
    except (Error, ValueError, OSError) as failure:
        _say(str(failure))
    return 1
