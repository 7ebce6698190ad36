"""Sensitivity files made: from a mesh and a survey, or from rows that the caller has."""

from __future__ import annotations

from typing import Any, Callable, Literal, NamedTuple, Sequence

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


class Made(NamedTuple):
    """What became of the rows of a sensitivity file: values stored for a row, and the relative 2-norm of what was lost."""

    bytes: int
    cells: int
    least: int
    median: int
    most: int
    stored: int
    loss: float
    largest_loss: float
    tolerance: float


def _bar(total: int) -> tuple[Progress | None, Callable[[], None]]:
    """tqdm's, where there is one."""
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return None, lambda: None
    bar = tqdm(total=total, unit="row")
    return lambda done, _: bar.update(done - bar.n), bar.close


def make(output: Name, mesh: Mesh | Name, survey: Survey | Name, *, topography: Name | None = None, wavelet: str = "d4",
         tolerance: float | None = None, dense: bool = False,
         weights: Literal["none", "depth", "volume", "depth-volume"] | None = None, beta: float = 3.0,
         z0: float | None = None, threads: int = 0, progress: bool | Progress = False) -> Made:
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
    dense : bool
        Every value of G, without compression.
    weights : {"none", "depth", "volume", "depth-volume"}, optional
        Of the cells; those of depth are ``((z + z0) / (zmin + z0))**(-beta / 2)``. Unless given, none; but those of volume for
        a compressed G over a mesh with padding.
    beta, z0 : float
        Of the depth weights; z0 is that of the survey unless given.
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
    >>> made = velko.make("new.mtx", "survey.mesh", "survey.loc", topography="survey.topography", weights="depth")
    >>> made.cells, made.loss < 0.1
    (1057, True)
    >>> velko.open("new.mtx")
    <36x1057 velko.Operator of new.mtx, compressed, weighted>
    """
    if wavelet not in _velko.wavelet_names:
        raise ValueError(f"'{wavelet}' is not one of {', '.join(_velko.wavelet_names)}")
    if tolerance is not None and not 0 <= tolerance <= 1:
        raise ValueError("the tolerance lies from 0 to 1")
    if weights is not None and weights not in _KINDS:
        raise ValueError(f"weights are one of {', '.join(_KINDS)}")
    if not (0 <= beta <= 10 and (z0 is None or 0 <= z0 < 1e300)):
        raise ValueError("beta lies from 0 to 10, and z0 is a length")
    if not 0 <= threads <= 1024:
        raise ValueError("threads lie from 0 to 1024")
    cells = mesh if isinstance(mesh, Mesh) else read_mesh(mesh)
    if topography is not None:
        cells = with_topography(cells, topography)
    elif cells.surface is None:
        cells = cells.with_surface(np.zeros(cells.shape[:2], int))
    stations = survey if isinstance(survey, Survey) else read_locations(survey)
    told, close = _bar(len(stations)) if progress is True else (progress or None, lambda: None)
    try:
        return Made(**_velko.make(_name(output), cells, stations, "" if dense else wavelet,
                                  -1.0 if tolerance is None else tolerance, -1 if weights is None else _KINDS.index(weights), beta,
                                  -1.0 if z0 is None else z0, threads, told))
    finally:
        close()


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
