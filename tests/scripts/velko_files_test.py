"""The readers that the scripts share."""

import unittest

import numpy as np
from survey_files import InAFolder, sensitivity_head

import velko_files as vf


class Readers(InAFolder):
    def assert_bad(self, read, contents, words, *more):
        with self.assertRaises(vf.BadFile) as bad:
            read(self.write("bad", contents), *more)
        self.assertIn(words, str(bad.exception))
        self.assertNotIn("\n", str(bad.exception))

    def test_predicted_data_with_a_common_direction(self):
        name = self.write("d", "  62.00  4.00 52000.00  !! incl, decl, geomag\n 62.00 4.00  1  !! aincl\n 2  !! # of data\n"
                               "  1.0E+00  2.0E+00  3.0E+00    1.5E+01\n\n! between\n  4 5 6 -7\n")
        data = vf.read_predicted(name)
        np.testing.assert_array_equal(data.x, [1, 4])
        np.testing.assert_array_equal(data.z, [3, 6])
        np.testing.assert_array_equal(data.values, [15, -7])

    def test_value_stands_behind_directions(self):
        data = vf.read_predicted(self.write("d", "0 0 1\n0 0 0\n1\n1 2 3 60 5 -9.5\n"))
        np.testing.assert_array_equal(data.values, [-9.5])

    def test_locations_have_no_values(self):
        name = self.write("d", "0 0 1\n0 0 1\n1\n1 2 3\n")
        self.assertIsNone(vf.read_data(name).values)
        self.assert_bad(vf.read_predicted, "0 0 1\n0 0 1\n1\n1 2 3\n", "bad has stations, but no values")

    def test_bad_data_files(self):
        self.assert_bad(vf.read_data, "", "has not the three header lines")
        self.assert_bad(vf.read_data, "0 0 1\n0 0 1\nx\n", "has not the three header lines")
        self.assert_bad(vf.read_data, "0 0 1\n0 0 1\n2\n1 2 3\n", "has 1 data lines, and promises 2")
        self.assert_bad(vf.read_data, "0 0 1\n0 0 1\n0\n", "promises 0")
        self.assert_bad(vf.read_data, "0 0 1\n0 0 1\n1\n1 2\n", "too few numbers")
        self.assert_bad(vf.read_data, "0 0 1\n0 0 1\n1\n1 2 *** 4\n", "'***' is not a number")
        self.assert_bad(vf.read_data, "0 0 1\n0 0 1\n1\n1 2 3 nan\n", "not finite")
        with self.assertRaises(vf.BadFile):
            vf.read_data("none")
        with self.assertRaises(vf.BadFile):
            vf.read_data(".")

    def test_mesh_file_with_repeats_and_exponents(self):
        mesh = vf.read_mesh(self.write("m", "3 1 2  counts\n-10 0 50\n2*10 2d1\n5\n1\n3\n"))
        np.testing.assert_array_equal(mesh.x, [-10, 0, 10, 30])
        np.testing.assert_array_equal(mesh.y, [0, 5])
        np.testing.assert_array_equal(mesh.z, [50, 49, 46])
        self.assertEqual(mesh.shape, (1, 3, 2))
        self.assertIsNone(mesh.itop)

    def test_bad_mesh_files(self):
        self.assert_bad(vf.read_mesh, "", "ends before all its numbers")
        self.assert_bad(vf.read_mesh, "1 1 1\n0 0 0\n1\n1\n", "ends before all its numbers")
        self.assert_bad(vf.read_mesh, "0 1 1\n0 0 0\n1\n1\n", "counts that no mesh has")
        self.assert_bad(vf.read_mesh, "1 1 1\n0 0 0\n1\n-1\n1\n", "along y whose width is not positive")
        self.assert_bad(vf.read_mesh, "1 1 1\n0 0 0\n1\nq\n1\n", "'q' is not a number")

    def test_sensitivity_file_brings_its_surface(self):
        itop = np.array([[0, 1, 2], [3, 4, 0]])
        for segment in (1 << 30, 20):
            mesh = vf.read_mesh(self.write("g", sensitivity_head(itop, segment=segment)))
            self.assertEqual(mesh.shape, (2, 3, 4))
            np.testing.assert_array_equal(mesh.x, [0, 10, 20, 30])
            np.testing.assert_array_equal(mesh.z, [100, 90, 80, 70, 60])
            np.testing.assert_array_equal(mesh.itop, itop.T)

    def test_bad_sensitivity_files(self):
        whole = sensitivity_head(np.zeros((2, 3)))
        for count in range(4, len(whole)):
            self.assert_bad(vf.read_mesh, whole[:count], "bad is no sensitivity file, or is cut off")
        self.assert_bad(vf.read_mesh, whole[:24] + b"\5" + whole[25:], "the two lengths of a record differ")
        self.assert_bad(vf.read_mesh, sensitivity_head(np.full((2, 3), 5)), "a surface outside of its mesh")
        self.assert_bad(vf.read_mesh, whole[:12] + b"\x7f\xff\xff\x7f" + whole[16:], "counts that do not fit")

    def test_model_in_model_order(self):
        mesh = vf.read_mesh(self.write("m", "2 1 2\n0 0 0\n1 1\n1\n1 1\n"))
        model = vf.read_model(self.write("s", "1  a remark\n\n2d0\n3\n4\n"), mesh)
        np.testing.assert_array_equal(model, [[[1, 2], [3, 4]]])
        np.testing.assert_array_equal(vf.read_model("VALUE 0.5", mesh), np.full((1, 2, 2), 0.5))
        self.assert_bad(vf.read_model, "1\n2\n3\n", "bad has 3 values, and the mesh 4 cells", mesh)
        self.assert_bad(vf.read_model, "1\n2\n3\nx\n", "'x' is not a number", mesh)
        self.assert_bad(vf.read_model, "1\n2\n3\ninf\n", "not finite", mesh)

    def test_topography_points(self):
        points = vf.read_topography(self.write("t", "! head\n3 points\n1 2 3\n4 5 6 more\n7 8 9\n"))
        np.testing.assert_array_equal(points, [[1, 2, 3], [4, 5, 6], [7, 8, 9]])
        self.assert_bad(vf.read_topography, "! head\n", "does not begin with a number of points")
        self.assert_bad(vf.read_topography, "3\n1 2 3\n4 5\n7 8 9\n", "has not 3 lines")
        self.assert_bad(vf.read_topography, "4\n1 2 3\n4 5 6\n7 8 9\n", "has not 4 lines")


if __name__ == "__main__":
    unittest.main()
