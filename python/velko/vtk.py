"""Mesh and model as a VTK rectilinear grid, which ParaView opens."""

from __future__ import annotations

import numpy as np
import numpy.typing as npt

from velko import _velko
from velko.files import Name, _name
from velko.meshes import Mesh


def write_vtr(file: Name, mesh: Mesh, model: npt.ArrayLike) -> None:
    """Mesh and model as a file for ParaView, with the bytes of `velkmtx export model`.

    Each cell has the model's value, "susceptibility", and where the mesh has a surface also "ground": 1 below it, 0 above, to
    be cut away by a threshold. x is east, y north, z the elevation.

    Examples
    --------
    >>> import velko
    >>> mesh = velko.read_mesh("survey.mtx")
    >>> velko.write_vtr("survey.vtr", mesh, velko.read_model("survey.sus", mesh))
    """
    cells = np.ma.asarray(model)
    cells = cells if cells.shape == mesh.shape else mesh.to_array(cells)
    _velko.write_vtr(_name(file), mesh, np.ma.getdata(cells).astype(float).ravel())
