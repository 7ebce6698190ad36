"""Sensitivity files made: from a mesh and a survey, of parts, or from rows that the caller has; and checked."""

from __future__ import annotations

from typing import Any, Callable, Iterable, Literal, NamedTuple, Sequence

import numpy as np
import numpy.typing as npt
from scipy.sparse import csr_matrix, issparse

from velko import _velko
from velko.design import topography as with_topography
from velko.files import Name, _name, read_locations, read_mesh
from velko.meshes import Mesh
from velko.surveys import Survey

_KINDS = ("none", "depth", "volume", "depth-volume")  # as the file numbers them
Progress = Callable[[int, int], Any]


class Verified(NamedTuple):
    """Rows of a file beside exact ones.

    Attributes
    ----------
    rows : int
        How many.
    loss : float
        The worst relative 2-norm of a difference.
    off : float
        The worst 1-norm of one: nT for a model whose largest value is 1.
    beyond : float
        By what part of itself the loss that was told was exceeded; 0 if none was.
    """

    rows: int
    loss: float
    off: float
    beyond: float


class Made(NamedTuple):
    """What became of the rows of a sensitivity file, or would become of them.

    Attributes
    ----------
    written : bool
        False where they were tried only.
    bytes, dense_bytes : int
        Of the file; of the rows of a dense G.
    memory : int or None
        Bytes that the process takes at the most, as rows that are tried tell.
    seconds : float
    cells : int
        Columns of G.
    rows : int
        That the figures below are of: those that were made in this run, or tried.
    least, median, most, stored : int
        Values stored for a row, and for all.
    loss, largest_loss : float
        Relative 2-norm of what rows lost, of all and of the worst.
    off : float
        No datum is off by more, in nT, for a model whose largest value is 1.
    trials : dict
        For each trial model what part of its data is lost.
    wavelet : str or None
    tolerance : float
    weights : str
    verified : Verified or None
        Of rows that were compared with exact ones.
    """

    written: bool
    bytes: int
    dense_bytes: int
    memory: int | None
    seconds: float
    cells: int
    rows: int
    least: int
    median: int
    most: int
    stored: int
    loss: float
    largest_loss: float
    off: float
    trials: dict[str, float]
    wavelet: str | None
    tolerance: float
    weights: str
    verified: Verified | None


def _bar() -> tuple[Progress | None, Callable[[], None]]:
    """tqdm's, where there is one."""
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return None, lambda: None
    bar = tqdm(unit="row")

    def show(done: int, rows: int) -> None:
        bar.total = rows
        bar.update(done - bar.n)

    return show, bar.close


def _shown(progress: bool | Progress) -> tuple[Progress | None, Callable[[], None]]:
    return _bar() if progress is True else (progress or None, lambda: None)


def _check_form(form: dict[str, Any]) -> None:
    if form["wavelet"] not in _velko.wavelet_names:
        raise ValueError(f"'{form['wavelet']}' is not one of {', '.join(_velko.wavelet_names)}")
    if form["tolerance"] is not None and not 0 <= form["tolerance"] <= 1:
        raise ValueError("the tolerance lies from 0 to 1")
    for name in ("accuracy", "largest"):
        if form[name] is not None and not 0 < form[name] < 1e300:
            raise ValueError(f"{name} is a positive number")
    if form["accuracy"] is not None and form["tolerance"] is not None:
        raise ValueError("tolerance and accuracy exclude one another")
    if form["dense"] and (form["tolerance"], form["accuracy"]) != (None, None):
        raise ValueError("dense rows lose nothing: neither tolerance nor accuracy goes with them")
    if not (0 <= form["beta"] <= 10 and (form["z0"] is None or 0 <= form["z0"] < 1e300)):
        raise ValueError("beta lies from 0 to 10, and z0 is a length")


def _first_and_last(rows: range | None, count: int) -> tuple[int, int]:
    """As the library counts them, from 1."""
    chosen = range(count) if rows is None else rows
    if not (len(chosen) > 0 and chosen.step == 1 and 0 <= chosen.start and chosen.stop <= count):
        raise ValueError(f"{chosen} is no stretch of the {count} rows of the survey")
    return chosen.start + 1, chosen.stop


def make(output: Name, mesh: Mesh | Name, survey: Survey | Name, *, topography: Name | None = None, wavelet: str = "d4",
         tolerance: float | None = None, accuracy: float | None = None, largest: float = 0.1, dense: bool = False,
         weights: Literal["none", "depth", "volume", "depth-volume"] | None = None, beta: float = 3.0,
         z0: float | None = None, rows: range | None = None, resume: bool = False, note_every: float = 10.0,
         allow_buried: bool = False, verify: int = 0, dry_run: bool = False, threads: int = 0,
         progress: bool | Progress = False) -> Made:
    """Makes the sensitivity file of a survey, as `velkmtx make` does.

    Parameters
    ----------
    output : path
        Sensitivity file to write; replaced when it is whole.
    mesh : Mesh or path
        With its surface, unless a topography tells it; without either, flat at the top.
    survey : Survey or path
        Stations and field.
    topography : path, optional
        Topography file.
    wavelet : str
        One of haar, d4, d6, d8, d10, d12, s8, s10, s12.
    tolerance : float, optional
        What a row may lose, relative to its norm; unless given, as much as costs data of trial models a hundredth.
    accuracy, largest : float
        In place of a tolerance: no predicted datum is off by more than so many nT, for any model up to the largest value.
        That is proven for each row.
    dense : bool
        Every value of G, without compression.
    weights : {"none", "depth", "volume", "depth-volume"}, optional
        Of the cells; those of depth are ``((z + z0) / (zmin + z0))**(-beta / 2)``. Unless given, none; but those of volume for
        a compressed G over a mesh with padding.
    beta, z0 : float
        Of the depth weights; z0 is that of the survey unless given.
    rows : range, optional
        Makes a part: the rows of these data alone, counted from 0. `velko.join` makes one file of parts.
    resume : bool
        Keeps the rows in ``output.unfinished`` as they come, and in ``output.notes``, every so many seconds, how far they are;
        goes on with what a run before, that was killed, has left there.
    note_every : float
        Seconds between two notes at the least.
    allow_buried : bool
        Takes stations in or on a cell below the surface, with a warning; they are an error otherwise.
    verify : int
        Compares so many rows, as they were written, with exact ones.
    dry_run : bool
        Tells size, memory and time, judged by a few rows, and writes nothing.
    threads : int
        To work on; 0 for those of OpenMP.
    progress : bool or callable
        A bar of tqdm, where there is one; or a function of the rows done and of all.

    Returns
    -------
    Made

    Examples
    --------
    >>> import velko
    >>> survey = dict(mesh="survey.mesh", survey="survey.loc", topography="survey.topography")
    >>> made = velko.make("new.mtx", **survey, weights="depth", verify=5)
    >>> made.cells, made.loss < 0.1, made.verified.beyond < 1e-6
    (1057, True, True)
    >>> velko.open("new.mtx")
    <36x1057 velko.Operator of new.mtx, compressed, weighted>
    >>> velko.make("fine.mtx", **survey, accuracy=2, largest=0.05).off * 0.05 <= 2
    True
    >>> velko.make("none.mtx", **survey, dry_run=True).dense_bytes
    152208
    """
    form = {"wavelet": wavelet, "tolerance": tolerance, "accuracy": accuracy, "largest": largest, "dense": dense,
            "weights": None if weights is None else _number_of(weights), "beta": beta, "z0": z0}
    _check_form(form)
    if not 0 <= threads <= 1024:
        raise ValueError("threads lie from 0 to 1024")
    if verify < 0 or not 0 <= note_every < 1e6:
        raise ValueError("neither rows to verify nor seconds between notes are below 0")
    cells = mesh if isinstance(mesh, Mesh) else read_mesh(mesh)
    if topography is not None:
        cells = with_topography(cells, topography)
    elif cells.surface is None:
        cells = cells.with_surface(np.zeros(cells.shape[:2], int))
    stations = survey if isinstance(survey, Survey) else read_locations(survey)
    run = {"rows": _first_and_last(rows, len(stations)), "threads": threads, "allow_buried": allow_buried, "verify": verify,
           "note_every": note_every if resume else None}
    if dry_run:
        return _made(False, _velko.try_rows(cells, stations, form, run))
    told, close = _shown(progress)
    try:
        return _made(True, _velko.make(_name(output), cells, stations, form, run, told))
    finally:
        close()


def _number_of(weights: str) -> int:
    if weights not in _KINDS:
        raise ValueError(f"weights are one of {', '.join(_KINDS)}")
    return _KINDS.index(weights)


def _made(written: bool, found: dict[str, Any]) -> Made:
    verified = found.pop("verified")
    return Made(written=written, verified=None if verified is None else Verified(*verified), **found)


class Joined(NamedTuple):
    """Rows of the file, and how many of them were brought back from the wavelet domain for the diagonal."""

    rows: int
    restored: int


def join(output: Name, parts: Iterable[Name], *, progress: bool | Progress = False) -> Joined:
    """Makes one sensitivity file of parts, the same bytes as one run, as `velkmtx join` does.

    Parameters
    ----------
    output : path
        Replaced when it is whole.
    parts : iterable of path
        In any order, as `velko.make` makes them with ``rows``. Each row of the survey is in one of them.
    progress : bool or callable
        As for `velko.make`.

    Examples
    --------
    >>> import velko
    >>> for name, rows in (("a.mtx", range(0, 20)), ("b.mtx", range(20, 36))):
    ...     _ = velko.make(name, "survey.mesh", "survey.loc", topography="survey.topography", rows=rows)
    >>> velko.join("both.mtx", ["a.mtx", "b.mtx"]).rows
    36
    """
    told, close = _shown(progress)
    try:
        return Joined(*_velko.join(_name(output), [_name(part) for part in parts], told))
    finally:
        close()


class Checked(NamedTuple):
    """What a sensitivity file is found to be.

    Attributes
    ----------
    faults : list of str
        A line for each; none in a file that fits together.
    differences : list of str
        A line for each thing in which the survey is not the one that the file was made for.
    has_provenance : bool
        Whether the file tells how it was made, with a checksum of every byte; without, nobody can tell whether values have
        changed.
    memory : int or None
        Bytes that a run of velkrund takes; None where the file could not be read to its end.
    """

    faults: list[str]
    differences: list[str]
    has_provenance: bool
    memory: int | None

    @property
    def good(self) -> bool:
        return not self.faults and not self.differences


def check(file: Name, survey: Survey | Name | None = None) -> Checked:
    """Tells whether a sensitivity file fits together and, with a survey, whether it was made for it, as `velkmtx check` does.

    Examples
    --------
    >>> import velko
    >>> velko.check("survey.mtx", "survey.loc").good
    True
    >>> _ = open("cut.mtx", "wb").write(open("survey.mtx", "rb").read()[:2000])
    >>> velko.check("cut.mtx").faults
    ['...']
    """
    stations = survey if survey is None or isinstance(survey, Survey) else read_locations(survey)
    faults, differences, has_provenance, complete, memory = _velko.check_file(_name(file), stations)
    return Checked(faults, differences, has_provenance, int(memory) if complete else None)


def write_sensitivity(output: Name, mesh: Mesh, rows: npt.ArrayLike | csr_matrix, *, weights: npt.ArrayLike | None = None,
                      diagonal: npt.ArrayLike | None = None, filter: npt.ArrayLike | str | None = None,
                      cube: Sequence[int] | None = None) -> None:
    """Writes a sensitivity file from rows that the caller has.

    Parameters
    ----------
    output : path
        Replaced when it is whole.
    mesh : Mesh
        With its surface, or flat at the top.
    rows : array_like or scipy.sparse matrix
        Dense: a value for each datum and cell below the surface. Sparse: wavelet coefficients, over the elements of the
        cube. In units of the coefficients, that is, divided by the weights.
    weights : array_like, optional
        Of the cells below the surface; 1 unless given.
    diagonal : array_like, optional
        Of G transposed G; unless given, that of dense rows, and 0 for sparse ones.
    filter : array_like or str, optional
        Of sparse rows: the filter of the wavelet, or its name.
    cube : three ints, optional
        Of sparse rows: sizes along y, x, z; the smallest powers of two that hold the mesh unless given.

    Examples
    --------
    >>> import numpy, velko
    >>> mesh = velko.Mesh([10, 10], [10], [10, 20])
    >>> velko.write_sensitivity("two.mtx", mesh, [[1, 2, 3, 4], [0, 0, 0, 1]])
    >>> velko.open("two.mtx") @ [1, 1, 1, 1]
    array([10.,  1.])
    >>> G = velko.open("survey.mtx")
    >>> velko.write_sensitivity("copy.mtx", G.mesh, G.to_scipy(), weights=G.weights, filter=G.filter, diagonal=G.diagonal)
    >>> m = numpy.full(G.shape[1], 0.01)
    >>> bool((velko.open("copy.mtx") @ m == G @ m).all())
    True
    """
    cells = mesh if mesh.surface is not None else mesh.with_surface(np.zeros(mesh.shape[:2], int))
    ncol = cells.nbelow
    sizes = tuple(cube) if cube is not None else tuple(1 << (n - 1).bit_length() for n in cells.shape)
    nothing: Any = np.empty(0)
    if issparse(rows):
        if filter is None:
            raise ValueError("sparse rows need their wavelet filter")
        of_wavelet = np.asarray(_velko.wavelet_filter(filter) if isinstance(filter, str) else filter, float)
        if of_wavelet.ndim != 1 or of_wavelet.size == 0:
            raise ValueError("the wavelet filter has no coefficient")
        if len(sizes) != 3 or any(s < n or s & (s - 1) for s, n in zip(sizes, cells.shape)):
            raise ValueError(f"the cube {sizes} is not of powers of two that hold the mesh")
        sparse = csr_matrix(rows, dtype=np.float32)
        sparse.sort_indices()
        if sparse.shape[1] != np.prod(sizes, dtype=np.int64):
            raise ValueError(f"rows have {sparse.shape[1]} elements, and the cube {np.prod(sizes, dtype=np.int64)}")
        count, values, positions, starts = sparse.shape[0], sparse.data, sparse.indices + 1, sparse.indptr
        default = np.zeros(ncol)
    else:
        if filter is not None:
            raise ValueError("a filter belongs to sparse rows")
        values = np.asarray(rows, np.float32)
        if values.ndim != 2 or values.shape[1] != ncol:
            raise ValueError(f"rows have shape {values.shape}, and the mesh {ncol} cells below the surface")
        count, positions, starts, of_wavelet = values.shape[0], nothing, nothing, nothing
        default = np.square(values, dtype=float).sum(axis=0) if diagonal is None else nothing
    given = {name: np.asarray(otherwise if vector is None else vector, float)
             for name, vector, otherwise in (("weights", weights, np.ones(ncol)), ("diagonal", diagonal, default))}
    for name, vector in given.items():
        if vector.shape != (ncol,):
            raise ValueError(f"the {name} have shape {vector.shape}, and the mesh {ncol} cells below the surface")
    _velko.write_rows(_name(output), cells, count, of_wavelet, sizes, 0, given["weights"], given["diagonal"], starts,
                      positions, values.ravel())
