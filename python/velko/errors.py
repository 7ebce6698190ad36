"""What goes wrong, as exceptions with the library's own words."""

from __future__ import annotations


class Error(Exception):
    """Something that the library refuses."""


class FileError(Error):
    """A file that cannot be read or written as what it should be.

    Attributes
    ----------
    file : str
        Its name, as the caller gave it.
    words : str
        What the library says of it.
    line : str or None
        The line that could not be read, where the library quotes it.
    """

    def __init__(self, file: str, words: str, line: str | None = None) -> None:
        super().__init__(file, words, line)
        self.file, self.words, self.line = file, words, line

    def __str__(self) -> str:
        words = self.words.replace("\n", "; ")
        text = words if self.file in words else f"{self.file}: {words}"
        return text if self.line is None else f"{text.rstrip('.')}: '{self.line.strip()}'"


class LibraryWarning(UserWarning):
    """What the library warns of, and goes on."""
