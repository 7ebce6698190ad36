"""Every text file of the suite, read and written by the library.

Readers raise `velko.FileError` with the library's words. Writers leave what was there before unless all of the new file is
written, but for `write_predicted`, which writes in place as velkrund does.
"""

from __future__ import annotations

import os
from typing import Any, Union

import numpy as np
import numpy.typing as npt

from velko import _velko
from velko.meshes import Array, Mesh
from velko.surveys import Survey

Name = Union[str, "os.PathLike[str]"]

SENSITIVITY_FILE_BEGINS_WITH = (20).to_bytes(4, "little")  # the length of its header


def _name(file: Name) -> str:
    """As the library takes it, which is in UTF-8."""
    name = os.fspath(file)
    try:
        name.encode()
    except UnicodeEncodeError:
        raise ValueError(f"the name {name!r} is not in UTF-8") from None
    return name


def is_sensitivity_file(file: Name) -> bool:
    """Whether a file begins as sensitivity files do; False also where it cannot be read.

    Examples
    --------
    >>> import velko
    >>> velko.is_sensitivity_file("survey.mtx"), velko.is_sensitivity_file("survey.mesh")
    (True, False)
    """
    try:
        with open(file, "rb") as opened:
            return opened.read(4) == SENSITIVITY_FILE_BEGINS_WITH
    except OSError:
        return False


def read_mesh(file: Name) -> Mesh:
    """The mesh of a mesh file, or of a sensitivity file, which brings its surface along.

    Examples
    --------
    >>> import velko
    >>> velko.read_mesh("survey.mesh")
    Mesh of 16 x 16 x 8 cells along x, y, z
    >>> velko.read_mesh("survey.mtx")
    Mesh of 16 x 16 x 8 cells along x, y, z, 1057 of them below the surface
    >>> velko.read_mesh("survey.loc")
    Traceback (most recent call last):
    velko.errors.FileError: ERROR reading mesh file: survey.loc: line 3, column 5: '!!' where width 2 along x is wanted; ...
    """
    name = _name(file)
    read = _velko.read_sensitivity_mesh if is_sensitivity_file(name) else _velko.read_mesh
    return Mesh._from_library(read(name))


def write_mesh(file: Name, mesh: Mesh) -> None:
    """A mesh file; a surface has no place in it.

    Examples
    --------
    >>> import velko
    >>> mesh = velko.Mesh([10, 10, 12.5], [20], [5, 5], origin=(0, 0, 100))
    >>> velko.write_mesh("three.mesh", mesh)
    >>> print(open("three.mesh").read(), end="")
    3 1 2
    0 0 100
    2*10 12.5
    20
    2*5
    >>> velko.read_mesh("three.mesh") == mesh
    True
    """
    _velko.write_mesh(_name(file), mesh)


def read_model(file: Name, mesh: Mesh) -> np.ma.MaskedArray[Any, Any]:
    """The model of a model file, or of the words ``"VALUE number"``, as an array ``[y, x, z]``.

    Examples
    --------
    >>> import velko
    >>> mesh = velko.read_mesh("survey.mtx")
    >>> model = velko.read_model("survey.sus", mesh)
    >>> model.shape, round(model.max(), 3)
    ((16, 16, 8), 0.05)
    >>> velko.read_model("VALUE 0.01", mesh).sum().round(2)
    10.57
    """
    return mesh.to_array(_velko.read_model(_name(file), mesh), order="model")


def write_model(file: Name, model: npt.ArrayLike, mesh: Mesh | None = None) -> None:
    """A model file with all digits. A vector of the cells below the surface needs the mesh; air becomes 0.

    Examples
    --------
    >>> import velko
    >>> mesh = velko.read_mesh("survey.mtx")
    >>> model = velko.read_model("survey.sus", mesh)
    >>> velko.write_model("copy.sus", model)
    >>> velko.write_model("copy2.sus", mesh.to_vector(model), mesh)
    >>> open("copy.sus").read() == open("copy2.sus").read()
    True
    """
    cells = np.ma.asarray(model)
    if mesh is not None and cells.shape != mesh.shape:
        cells = mesh.to_array(cells)
    _velko.write_model(_name(file), cells.astype(float).filled(0.0).ravel())


def read_active(file: Name, mesh: Mesh) -> npt.NDArray[np.int32]:
    """Active cells, ``[y, x, z]``: 1 active, 0 and -1 inactive.

    Examples
    --------
    >>> import numpy, velko
    >>> mesh = velko.Mesh([10, 10, 10], [20], [5, 5])
    >>> velko.write_active("cells.active", numpy.array([[[1, 1], [0, 1], [-1, 1]]]))
    >>> velko.read_active("cells.active", mesh)[0]
    array([[ 1,  1],
           [ 0,  1],
           [-1,  1]], dtype=int32)
    """
    return _velko.read_active(_name(file), *mesh.shape).reshape(mesh.shape)


def write_active(file: Name, active: npt.ArrayLike) -> None:
    """An active-cell file from an array ``[y, x, z]`` of -1, 0 and 1, or of booleans.

    Examples
    --------
    >>> import numpy, velko
    >>> velko.write_active("all.active", numpy.ones((1, 3, 2), bool))
    >>> velko.write_active("all.active", [2])
    Traceback (most recent call last):
    ValueError: active cells are told by -1, 0 and 1
    """
    cells = np.asarray(active)
    if not np.isin(cells, (-1, 0, 1)).all():
        raise ValueError("active cells are told by -1, 0 and 1")
    _velko.write_active(_name(file), cells.astype(np.int32).ravel())


_COLUMNS = {"locations": 0, "predicted": 1, "observed": 2, "as they are": -1}


def _read_survey(file: Name, kind: str) -> Survey:
    return Survey(**_velko.read_survey(_name(file), _COLUMNS[kind]))


def read_survey(file: Name) -> Survey:
    """A location file, predicted data, or observed data, by the numbers that its first data line holds.

    Examples
    --------
    >>> import velko
    >>> velko.read_survey("survey.loc")
    Survey of 36 stations, field 50000 nT, inclination 62, declination 4
    """
    return _read_survey(file, "as they are")


def read_locations(file: Name) -> Survey:
    """The stations alone, whatever stands behind them.

    Examples
    --------
    >>> import velko
    >>> velko.read_locations("survey.vlk").values is None
    True
    """
    return _read_survey(file, "locations")


def read_predicted(file: Name) -> Survey:
    """Predicted data: a value behind each station.

    Examples
    --------
    >>> import velko
    >>> velko.read_predicted("survey.vlk").values.shape
    (36,)
    >>> velko.read_predicted("survey.loc")
    Traceback (most recent call last):
    velko.errors.FileError: ERROR reading data file survey.loc: line 4 ends where the value of datum 1 is wanted
    """
    return _read_survey(file, "predicted")


def read_data(file: Name) -> Survey:
    """Observed data: a value and its standard deviation behind each station, both as the file has them.

    Examples
    --------
    >>> import velko
    >>> survey = velko.read_predicted("survey.vlk")
    >>> velko.write_data("survey.obs", survey.with_values(survey.values, [2.0] * len(survey)))
    >>> velko.read_data("survey.obs").deviations[0]
    2.0
    """
    return _read_survey(file, "observed")


def _written(file: Name, survey: Survey, values: Array | None, deviations: Array | None) -> None:
    nothing = np.empty(0)
    _velko.write_survey(_name(file), survey, nothing if values is None else values,
                        nothing if deviations is None else deviations)


def write_locations(file: Name, survey: Survey) -> None:
    """A location file: the stations with all digits, without values.

    Examples
    --------
    >>> import velko
    >>> survey = velko.Survey([0, 50], [0, 0], [10, 12.25], incl=62, decl=4, geomag=52000)
    >>> velko.write_locations("two.loc", survey)
    >>> print(open("two.loc").read(), end="")
    62 4 52000  !! incl, decl, geomag
    62 4 1  !! aincl, adecl, idir
    2  !! # of data
    0 0 10
    50 0 12.25
    """
    _written(file, survey, None, None)


def write_data(file: Name, survey: Survey) -> None:
    """A data file: stations, values and their standard deviations, with all digits.

    Examples
    --------
    >>> import velko
    >>> survey = velko.Survey([0], [0], [10], incl=62, decl=4, geomag=52000, values=[7.5], deviations=[2])
    >>> velko.write_data("one.obs", survey)
    >>> print(open("one.obs").readlines()[-1], end="")
    0 0 10 7.5 2
    """
    if survey.values is None or survey.deviations is None:
        raise ValueError("the survey has no values with standard deviations; see Survey.with_values")
    _written(file, survey, survey.values, survey.deviations)


def write_predicted(file: Name, survey: Survey, values: npt.ArrayLike | None = None) -> None:
    """Predicted data, with the bytes of velkrund.

    Parameters
    ----------
    file : path
        Replaced where it is there.
    survey : Survey
        The stations.
    values : array_like, optional
        In place of the survey's own.

    Examples
    --------
    >>> import velko
    >>> survey = velko.read_locations("survey.vlk")
    >>> velko.write_predicted("zeros.vlk", survey, [0.0] * len(survey))
    >>> print(open("zeros.vlk").readlines()[3], end="")
      5.000000000E+00  0.000000000E+00  7.500000000E+01    0.000000E+00
    """
    predicted = survey.values if values is None else np.asarray(values, float)
    if predicted is None or predicted.shape != (len(survey),):
        raise ValueError(f"the survey has {len(survey)} stations, and not as many values")
    _velko.write_predicted(_name(file), survey, predicted)


def read_topography(file: Name) -> Array:
    """Points of a terrain, an array of rows x, y, elevation.

    Examples
    --------
    >>> import velko
    >>> velko.read_topography("survey.topography").shape
    (200, 3)
    """
    return _velko.read_topography(_name(file)).reshape(-1, 3)


def write_topography(file: Name, points: npt.ArrayLike) -> None:
    """A topography file from rows x, y, elevation, with all digits.

    Examples
    --------
    >>> import velko
    >>> velko.write_topography("three.topography", [[0, 0, 10], [100, 0, 12], [0, 100, 15.5]])
    >>> print(open("three.topography").read(), end="")
    3 points
    0 0 10
    100 0 12
    0 100 15.5
    """
    rows = np.asarray(points, float)
    if rows.ndim != 2 or rows.shape[1] != 3:
        raise ValueError(f"points of a terrain are rows of three numbers, not of shape {rows.shape}")
    _velko.write_topography(_name(file), rows.ravel())
