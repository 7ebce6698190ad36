"""Mesh and model as a VTK rectilinear grid, which ParaView opens."""

from __future__ import annotations

import base64
import os
import struct

import numpy as np
import numpy.typing as npt

from velko.files import Name
from velko.meshes import Mesh


def _array(name: str, kind: str, values: npt.ArrayLike) -> str:
    """Values in base64 behind their length in bytes; kind is VTK's word for the type."""
    contents = np.ascontiguousarray(values).tobytes()
    text = base64.b64encode(struct.pack("<Q", len(contents)) + contents).decode()
    return f'<DataArray type="{kind}" Name="{name}" format="binary">{text}</DataArray>'


def _in_vtk_order(cells: npt.NDArray[np.generic]) -> npt.NDArray[np.generic]:
    """From (y, x, z) with z downward to a walk with x fastest, then y, then z upward."""
    return np.transpose(cells[:, :, ::-1], (2, 0, 1))


def _write_whole(name: str, text: str) -> None:
    """Under a temporary name until all of it is there."""
    part = f"{name}.{os.getpid()}.part"
    try:
        with open(part, "x", encoding="ascii") as file:
            file.write(text)
        os.replace(part, name)
    except OSError:
        if os.path.exists(part):
            os.remove(part)
        raise


def write_vtr(file: Name, mesh: Mesh, model: npt.ArrayLike, name: str = "susceptibility") -> None:
    """Mesh and model as a file for ParaView.

    Each cell has the model's value and, where the mesh has a surface, "ground": 1 below it, 0 above, to be cut away by a
    threshold. x is east, y north, z the elevation.

    Examples
    --------
    >>> import velko
    >>> mesh = velko.read_mesh("survey.mtx")
    >>> velko.write_vtr("survey.vtr", mesh, velko.read_model("survey.sus", mesh))
    """
    cells = np.ma.asarray(model)
    cells = cells if cells.shape == mesh.shape else mesh.to_array(cells)
    ny, nx, nz = mesh.shape
    extent = f"0 {nx} 0 {ny} 0 {nz}"
    arrays = [_array(name, "Float64", _in_vtk_order(np.ma.getdata(cells).astype("<f8")))]
    if mesh.surface is not None:
        arrays.append(_array("ground", "UInt8", _in_vtk_order(mesh.below.astype("<u1"))))
    edges = [_array(axis, "Float64", values.astype("<f8"))
             for axis, values in (("x", mesh.x), ("y", mesh.y), ("elevation", mesh.z[::-1]))]
    _write_whole(os.fspath(file), "\n".join([
        '<?xml version="1.0"?>',
        '<VTKFile type="RectilinearGrid" version="1.0" byte_order="LittleEndian" header_type="UInt64">',
        f'<RectilinearGrid WholeExtent="{extent}">', f'<Piece Extent="{extent}">',
        f'<CellData Scalars="{name}">', *arrays, '</CellData>',
        '<Coordinates>', *edges, '</Coordinates>',
        '</Piece>', '</RectilinearGrid>', '</VTKFile>', '']))
