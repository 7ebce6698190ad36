"""What goes wrong, as exceptions with the library's own words."""

from __future__ import annotations


class Error(Exception):
    """Something that the library refuses.

    Examples
    --------
    >>> import velko
    >>> velko.sample_bodies(velko.Mesh([10], [10], [10]), "cone 1 2 3")
    Traceback (most recent call last):
    velko.errors.Error: bodies: 'cone 1 2 3' should begin with block, sphere, dyke or background
    """


class FileError(Error):
    """A file that cannot be read or written as what it should be.

    Attributes
    ----------
    file : str
        Its name, as the caller gave it.
    words : str
        What the library says of it.
    line, column : int or None
        Where in a text file the first thing is that does not fit, counted from 1; the column only where a word is to blame.
    text : str or None
        That line.
    cause : str or None
        What stands there, what was wanted, and why, where a usual cause is in sight.

    Examples
    --------
    >>> import velko
    >>> _ = open("bad.loc", "w").write("62 4 5e4\\n62 4 1\\n2\\n0 0 10\\n50 zero 12\\n")
    >>> try:
    ...     velko.read_locations("bad.loc")
    ... except velko.FileError as error:
    ...     print(error.file, error.line, error.column, repr(error.text))
    ...     print(error)
    bad.loc 5 4 '50 zero 12'
    ERROR reading data file bad.loc: line 5, column 4: 'zero' where y of datum 2 is wanted
    """

    def __init__(self, file: str, words: str, line: int | None = None, column: int | None = None, text: str | None = None,
                 cause: str | None = None) -> None:
        super().__init__(file, words, line, column, text, cause)
        self.file, self.words, self.line, self.column, self.text, self.cause = file, words, line, column, text, cause

    def __str__(self) -> str:
        words = self.words.replace("\n", "; ")
        told = words if self.file in words else f"{self.file}: {words}"
        more = self.cause or (self.text and f"'{self.text.strip()}'")
        return f"{told.rstrip('.')}: {more}" if more else told


class LibraryWarning(UserWarning):
    """What the library warns of, and goes on.

    Examples
    --------
    >>> import velko, warnings
    >>> velko.write_topography("small.topography", [[60, 60, 20], [100, 60, 21], [60, 100, 22]])
    >>> with warnings.catch_warnings(record=True) as caught:
    ...     warnings.simplefilter("always")
    ...     _ = velko.topography(velko.read_mesh("survey.mesh"), "small.topography")
    >>> caught[0].category.__name__, "not large enough" in str(caught[0].message)
    ('LibraryWarning', True)
    """
