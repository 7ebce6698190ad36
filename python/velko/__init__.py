"""velko: forward modelling of magnetic surveys, with the files of the suite as arrays.

>>> import velko
>>> G = velko.open("survey.mtx")
>>> model = velko.read_model("survey.sus", G.mesh)
>>> d = G @ G.vector(model)
>>> velko.write_predicted("predicted.vlk", velko.read_locations("survey.loc"), d)

Maps and sections are in `velko.plot`, which needs matplotlib; `velko.report` makes a page of a run, and needs jinja2 too.
"""

from __future__ import annotations

import importlib
import os
from typing import Any

from velko import _velko
from velko.contents import Contents, info
from velko.design import design_mesh, elevation, sample_bodies, topography
from velko.errors import Error, FileError, LibraryWarning
from velko.files import (is_sensitivity_file, read_active, read_data, read_locations, read_mesh, read_model,
                         read_predicted, read_survey, read_topography, write_active, write_data, write_locations,
                         write_mesh, write_model, write_predicted, write_topography)
from velko.making import Checked, Joined, Made, Verified, check, join, make, write_sensitivity
from velko.meshes import Mesh
from velko.operators import Operator, open
from velko.surveys import Survey
from velko.vtk import write_vtr

__all__ = [
    "Checked", "Contents", "Error", "FileError", "Joined", "LibraryWarning", "Made", "Mesh", "Operator", "Survey", "Verified", "check",
    "design_mesh", "elevation", "info", "is_sensitivity_file", "join", "make", "open", "plot", "read_active", "read_data",
    "read_locations", "read_mesh", "read_model", "read_predicted", "read_survey", "read_topography", "report", "sample_bodies",
    "topography", "write_active", "write_data", "write_locations", "write_mesh", "write_model", "write_predicted",
    "write_sensitivity", "write_topography", "write_vtr",
]

__version__ = _velko.version

# No child begins while another thread is in the library.
os.register_at_fork(before=_velko.hold_library, after_in_parent=_velko.free_library, after_in_child=_velko.free_library)


def __getattr__(name: str) -> Any:
    """What draws is loaded when it is asked for: matplotlib takes its time."""
    if name == "plot":
        return importlib.import_module("velko.plot")
    if name == "report":
        return importlib.import_module("velko.report_page").report
    raise AttributeError(f"module 'velko' has no attribute '{name}'")
