"""Meshes, bodies and surfaces: what a user invents, or takes from a terrain."""

from __future__ import annotations

from typing import Any, Iterable, Sequence

import numpy as np
import numpy.typing as npt

from velko import _velko
from velko.errors import Error
from velko.files import Name, _name, read_topography
from velko.meshes import Array, Mesh
from velko.surveys import Survey


def topography(mesh: Mesh, file: Name) -> Mesh:
    """The mesh with the surface of a topography file.

    Parameters
    ----------
    mesh : Mesh
        Its own surface, if it has one, does not matter.
    file : path
        Topography file; or ``"null"``, for a surface at the top of the mesh.

    Returns
    -------
    Mesh
        The same cells. A cell that the surface cuts lies above it.

    Examples
    --------
    >>> import velko
    >>> velko.topography(velko.read_mesh("survey.mesh"), "survey.topography")
    Mesh of 16 x 16 x 8 cells along x, y, z, 1057 of them below the surface
    """
    return mesh.with_surface(_velko.surface_index(mesh, _name(file)))


def elevation(mesh: Mesh, file: Name, x: npt.ArrayLike, y: npt.ArrayLike) -> Array:
    """Elevations ``[y, x]`` of the surface of a topography file, where lines at these x and y cross.

    The surface is the library's: piecewise linear over the triangles of the points, and as high as the nearest of
    them beyond.

    Examples
    --------
    >>> import velko
    >>> velko.elevation(velko.read_mesh("survey.mesh"), "survey.topography", [40, 60, 80], [50]).round(1)
    array([[22.2, 25.4, 25.5]])
    """
    across, along = (np.atleast_1d(np.asarray(v, float)) for v in (x, y))
    return _velko.elevations(mesh, _name(file), along, across)


def sample_bodies(mesh: Mesh, bodies: str | Iterable[str] = (), *, file: Name | None = None, background: float = 0.0,
                  samples: int = 4) -> np.ma.MaskedArray[Any, Any]:
    """A model of a few bodies, as `velkmtx model` makes it.

    Parameters
    ----------
    mesh : Mesh
        The cells.
    bodies : str or iterable of str
        One line for each: ``"block WEST EAST SOUTH NORTH BOTTOM TOP VALUE"``, ``"sphere X Y ELEVATION RADIUS VALUE"`` or
        ``"dyke X Y ELEVATION STRIKE DIP LENGTH THICKNESS EXTENT VALUE"``. Where they overlap the later one counts.
    file : path, optional
        A body file, whose bodies come before the others.
    background : float
        The value around them.
    samples : int
        A cell has the mean over ``samples**3`` points in it; 1 to 64.

    Returns
    -------
    numpy.ma.MaskedArray
        ``[y, x, z]``, masked above the surface.

    Examples
    --------
    >>> import velko
    >>> mesh = velko.Mesh([10] * 8, [10] * 8, [10] * 8)
    >>> model = velko.sample_bodies(mesh, "sphere 40 40 -40 20 0.05")
    >>> abs(model.sum() * 1000 / 0.05 / (4 / 3 * 3.14159 * 20**3) - 1) < 0.02  # the volume of the sphere
    True
    >>> velko.sample_bodies(mesh, "cube 1 2 3")
    Traceback (most recent call last):
    velko.errors.Error: bodies: 'cube 1 2 3' should begin with block, sphere, dyke or background
    """
    if not 1 <= samples <= 64:
        raise ValueError("samples lie from 1 to 64")
    lines = [bodies] if isinstance(bodies, str) else list(bodies)
    values, shares = _velko.sample_bodies(mesh, lines, "" if file is None else _name(file), background, samples)
    for words, cells, _ in shares:
        if cells == 0:
            raise Error(f"'{words}' holds no point of any cell: it lies outside of the mesh, or is smaller than a cell")
    return mesh.to_array(values, order="model")


def _range(values: Array) -> tuple[float, float]:
    return float(values.min()), float(values.max())


def _ground_of(stations: Survey | None, clearance: float, file: Name | None, horizontal: list[Any]) -> tuple[float, float]:
    """Lowest and highest ground over the whole mesh."""
    if file is not None:
        (west, dx), (south, dy) = horizontal
        columns = Mesh(dx, dy, [1.0], origin=(west, south, 0.0))
        x, y = (np.sort(np.concatenate((e, (e[:-1] + e[1:]) / 2))) for e in (columns.x, columns.y))
        return _range(elevation(columns, file, x, y))
    assert stations is not None
    low, high = _range(stations.z)
    return low - clearance, high - clearance


def design_mesh(cell: float | Sequence[float], *, survey: Survey | None = None, topography: Name | None = None,
                clearance: float = 0.0, extent: Sequence[float] | None = None, ground: Sequence[float] | None = None,
                depth: float | None = None, padding: int = 6, factor: float = 1.4, power_of_two: bool = False) -> Mesh:
    """A mesh for a survey and the ground below it, as `velkmtx mesh` makes it.

    Parameters
    ----------
    cell : float or three of them
        Widths of the core cells along x, y and z.
    survey : Survey, optional
        The area and, less the clearance, the ground.
    topography : path, optional
        Topography file: the ground and, where there is no survey, the area.
    clearance : float
        Height of the stations above ground.
    extent : four floats, optional
        West, east, south, north: the area, in place of what survey and topography tell.
    ground : two floats, optional
        Lowest and highest elevation of the ground, in place of what survey and topography tell.
    depth : float, optional
        Of the core below the lowest ground; half the shorter side of the area unless given.
    padding : int
        Cells around the core, on each side and below.
    factor : float
        By which each of them is wider than the one before it.
    power_of_two : bool
        More padding, until each count is a power of two.

    Returns
    -------
    Mesh
        Without a surface; see `velko.topography`.

    Examples
    --------
    >>> import velko
    >>> survey = velko.read_survey("survey.loc")
    >>> velko.design_mesh([10, 10, 5], survey=survey, topography="survey.topography", padding=2)
    Mesh of 20 x 19 x 22 cells along x, y, z
    """
    widths = np.broadcast_to(np.asarray(cell, float), 3)
    if not (np.isfinite(widths).all() and (widths > 0).all()):
        raise ValueError("widths of cells are positive")
    if extent is not None:
        west, east, south, north = map(float, extent)
    elif survey is not None:
        (west, east), (south, north) = _range(survey.x), _range(survey.y)
    elif topography is not None:
        points = read_topography(topography)
        (west, east), (south, north) = _range(points[:, 0]), _range(points[:, 1])
    else:
        raise ValueError("the area is told by a survey, a topography file or an extent")
    if ground is None and survey is None and topography is None:
        raise ValueError("the ground is told by a survey, a topography file or two elevations")
    around = (padding, float(factor), power_of_two)
    horizontal = [_velko.horizontal_axis("x", west, east, widths[0], *around),
                  _velko.horizontal_axis("y", south, north, widths[1], *around)]
    low, high = map(float, ground) if ground is not None else _ground_of(survey, clearance, topography, horizontal)
    below = min(east - west, north - south) / 2 if depth is None else float(depth)
    top, dz = _velko.vertical_axis(low, high, below, widths[2], *around)
    (west, dx), (south, dy) = horizontal
    return Mesh(dx, dy, dz, origin=(west, south, top))
