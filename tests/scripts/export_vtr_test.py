"""The exported grid, read back by VTK's own reader."""

import unittest

import numpy as np
from survey_files import InAFolder, load_script, sensitivity_head
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkIOXML import vtkXMLRectilinearGridReader

export_vtr = load_script("export_vtr")


class Export(InAFolder):
    def setUp(self):
        super().setUp()
        self.write("mesh", "3 2 4\n-10 5 100\n10 20 30\n7 8\n1 2 3 4\n")
        self.values = np.random.default_rng(1).uniform(size=24)
        self.write("model", "".join(f"{value!r}\n" for value in map(float, self.values)))

    def exported(self, *arguments):
        self.assertEqual(self.run_main(export_vtr, *arguments, "o.vtr"), (0, "", ""))
        reader = vtkXMLRectilinearGridReader()
        reader.SetFileName("o.vtr")
        reader.Update()
        return reader.GetOutput()

    def test_edges_are_those_of_the_mesh(self):
        grid = self.exported("mesh", "model")
        self.assertEqual(grid.GetDimensions(), (4, 3, 5))
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetXCoordinates()), [-10, 0, 20, 50])
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetYCoordinates()), [5, 12, 20])
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetZCoordinates()), [90, 94, 97, 99, 100])

    def test_every_cell_has_its_value(self):
        """Looked up by the bounds that VTK gives the cell."""
        grid = self.exported("mesh", "model")
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

    def test_surface_of_a_sensitivity_file_is_told_cell_by_cell(self):
        itop = np.array([[0, 1, 2], [3, 4, 0]])
        self.write("g.mtx", sensitivity_head(itop))
        grid = self.exported("g.mtx", "VALUE 0.5")
        ground = vtk_to_numpy(grid.GetCellData().GetArray("ground")).reshape(4, 2, 3)[::-1]
        np.testing.assert_array_equal(ground.sum(axis=0), 4 - itop)
        np.testing.assert_array_equal(ground[0], itop == 0)
        np.testing.assert_array_equal(vtk_to_numpy(grid.GetCellData().GetArray("susceptibility")), np.full(24, 0.5))

    def test_mesh_file_has_no_surface_to_tell(self):
        self.assertIsNone(self.exported("mesh", "model").GetCellData().GetArray("ground"))

    def test_whatever_is_wrong_is_one_line(self):
        self.assert_fails(export_vtr, [], "usage: export_vtr MESH MODEL OUTPUT.vtr", 2)
        self.assert_fails(export_vtr, ["mesh", "model", "o.vtk"], "usage: export_vtr MESH MODEL OUTPUT.vtr", 2)
        self.assert_fails(export_vtr, ["none", "model", "o.vtr"], "export_vtr: ERROR: mesh file not found: none")
        self.assert_fails(export_vtr, ["mesh", "mesh", "o.vtr"], "ERROR: end reached reading model file mesh")
        self.assert_fails(export_vtr, ["mesh", "VALUE x", "o.vtr"], "VALUE x: ERROR reading constant value for model")
        self.assert_fails(export_vtr, ["mesh", "model", "no/o.vtr"], "cannot write no/o.vtr: No such file or directory")


if __name__ == "__main__":
    unittest.main()
