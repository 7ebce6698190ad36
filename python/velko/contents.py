"""What a sensitivity file holds, how it was made, and whether it is what was written."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from velko import _velko
from velko.files import Name, _name, read_survey
from velko.meshes import Array
from velko.surveys import Survey


@dataclass(frozen=True, eq=False)
class Contents:
    """What `velko.info` tells.

    Attributes
    ----------
    bytes : int
        Size of the file.
    shape : tuple of int
        Data, and cells below the surface: the shape of G.
    cells : tuple of int
        Of the mesh, along y, x and z.
    compressed : bool
        Whether rows are wavelet coefficients.
    filter : str
        Kind of the wavelet: ``"Haar"``, ``"Daubechies"``, ``"symlet"``; empty for a dense G, and for an unknown filter.
    cube : tuple of int
        Sizes along y, x and z of the cube in which the transform runs.
    entries : ndarray
        Coefficients of each row; empty for a dense G.
    bytes_of_a_run : float
        Memory that a run takes beside the file itself.
    faults : tuple of str
        What does not fit together, or is not what was written: a line for each.
    settings : dict, optional
        How velkmtx made the file, word by word: ``{"wavelet": "d4", "tolerance": "0.001", ...}``. None where the file has no
        provenance, as those of other programs; so are the following ones then.
    rows : tuple of int, optional
        First and last row of the survey that the file has, from 1.
    data_of_survey : int, optional
        More than the file has rows, where it is a part.
    stations : Survey, optional
        Those of its rows.
    loss : ndarray, optional
        For each datum, by how much (nT) it may be off at most for a model whose values are within 1 and -1.

    Examples
    --------
    >>> import velko
    >>> found = velko.info("survey.mtx")
    >>> found.faults, found.rows, found.is_part
    ((), (1, 36), False)
    """

    bytes: int
    shape: tuple[int, int]
    cells: tuple[int, int, int]
    compressed: bool
    filter: str
    cube: tuple[int, int, int]
    entries: npt.NDArray[np.int32]
    bytes_of_a_run: float
    faults: tuple[str, ...]
    settings: dict[str, str] | None = None
    rows: tuple[int, int] | None = None
    data_of_survey: int | None = None
    stations: Survey | None = None
    loss: Array | None = None

    @property
    def is_part(self) -> bool:
        return self.data_of_survey is not None and self.data_of_survey != self.shape[0]


def _settings(lines: str) -> dict[str, str]:
    """"wavelet d4" and the like; "dense" stands alone."""
    words = (line.partition(" ") for line in lines.splitlines())
    return {name: value for name, _, value in words}


def info(file: Name) -> Contents:
    """What a sensitivity file holds, as `velkmtx info` tells it. Reads the whole file once.

    Examples
    --------
    >>> import velko
    >>> found = velko.info("survey.mtx")
    >>> found.shape, found.cells, found.filter
    ((36, 1057), (16, 16, 8), 'Daubechies')
    >>> found.settings["wavelet"], found.settings["tolerance"], found.settings["weights"]
    ('d4', '0.001', 'depth')
    >>> found.stations
    Survey of 36 stations, field 50000 nT, inclination 62, declination 4
    """
    found: dict[str, Any] = _velko.contents(_name(file))
    made = found["made"]
    provenance = {} if made is None else {
        "settings": _settings(made["settings"]), "rows": (made["first"], made["last"]), "data_of_survey": made["ndata"],
        "stations": Survey(**made["survey"]), "loss": made["loss"]}
    return Contents(found["bytes"], (found["ndata"], found["ncol"]), found["shape"], found["compressed"], found["filter"],
                    found["cube"], found["entries"], found["bytes_of_a_run"],
                    (*found["faults"], *found["damaged"]), **provenance)


def differences(file: Name, found: Contents, survey: Survey | Name) -> list[str]:
    """Between a survey and the one that the file, of which `found` was told, was made for."""
    stations = survey if isinstance(survey, Survey) else read_survey(survey)
    if found.stations is not None:
        return _velko.differences(_name(file), stations)
    if len(stations) == found.shape[0]:
        return []
    return [f"{len(stations)} data; the file was made for {found.shape[0]}"]
