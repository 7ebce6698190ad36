"""velkmtx export model to .vtr, read back by VTK's own reader."""

import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkIOXML import vtkXMLRectilinearGridReader

VELKMTX = os.path.abspath(sys.argv.pop(1))
MESH = "3 2 4\n-10 5 100\n10 20 30\n7 8\n1 2 3 4\n"


class Export(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        self.values = np.random.default_rng(1).uniform(size=24)
        self.write("mesh", MESH)
        self.write("model", "".join(f"{value!r}\n" for value in map(float, self.values)))

    def write(self, name, text):
        with open(name, "w", encoding="ascii") as file:
            file.write(text)

    def exported(self, *arguments):
        done = subprocess.run([VELKMTX, "export", "model", *arguments], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        reader = vtkXMLRectilinearGridReader()
        reader.SetFileName("o.vtr")
        reader.Update()
        return reader.GetOutput()

    def test_edges_are_those_of_the_mesh(self):
        grid = self.exported("mesh", "model", "o.vtr")
        self.assertEqual(grid.GetDimensions(), (4, 3, 5))
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetXCoordinates()), [-10, 0, 20, 50])
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetYCoordinates()), [5, 12, 20])
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetZCoordinates()), [90, 94, 97, 99, 100])

    def test_every_cell_has_its_value(self):
        """Looked up by the bounds that VTK gives the cell."""
        grid = self.exported("mesh", "model", "o.vtr")
        cells = vtk_to_numpy(grid.GetCellData().GetScalars("susceptibility"))
        found = {}
        for cell, value in enumerate(cells):
            bounds = [0.0] * 6
            grid.GetCellBounds(cell, bounds)
            found[tuple(bounds)] = value
        x, y, z = [-10, 0, 20, 50], [5, 12, 20], [100, 99, 97, 94, 90]
        walk = iter(self.values)  # y outermost, then x, then from the top down
        expected = {(x[j], x[j + 1], y[i], y[i + 1], z[k + 1], z[k]): next(walk)
                    for i in range(2) for j in range(3) for k in range(4)}
        self.assertEqual(found, expected)

    def test_surface_is_told_cell_by_cell(self):
        """A slope along x, from above the mesh to below its top two cells."""
        self.write("topo", "4\n-100 -100 112.5\n200 -100 67.5\n-100 200 112.5\n200 200 67.5\n")
        grid = self.exported("mesh", "VALUE 0.5", "o.vtr", "--topography", "topo")
        ground = vtk_to_numpy(grid.GetCellData().GetArray("ground")).reshape(4, 2, 3)[::-1]
        lowest = np.array([97.5, 94.5, 90.0])  # of each column, at its eastern edge
        tops = np.array([100, 99, 97, 94])
        np.testing.assert_array_equal(ground, np.broadcast_to(tops[:, None, None] <= lowest, (4, 2, 3)))
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetCellData().GetArray("susceptibility")), np.full(24, 0.5))

    def test_mesh_file_has_no_surface_to_tell(self):
        self.assertIsNone(self.exported("mesh", "model", "o.vtr").GetCellData().GetArray("ground"))


if __name__ == "__main__":
    unittest.main()
