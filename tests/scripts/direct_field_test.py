"""The judge of predicted data: its prism is a dipole from afar, fits together from parts, and has no bad stations."""

import importlib.util
import math
import unittest

import numpy as np
from survey_files import SCRIPTS, InAFolder, sensitivity_head

spec = importlib.util.spec_from_file_location("direct_field", SCRIPTS.parent / "examples" / "direct_field.py")
direct_field = importlib.util.module_from_spec(spec)
spec.loader.exec_module(direct_field)

INDUCING, MEASURED = direct_field.unit_vector(62, -4), direct_field.unit_vector(-20, 75)


def field(station, *boxes):
    """Of boxes ((west, east), (south, north), (bottom, top)) of value 1."""
    edges = [np.array([box[axis] for box in boxes], float).T for axis in range(3)]
    return direct_field.field_at(station, np.ones(len(boxes)), edges, INDUCING, MEASURED)


def dipole(station, centre, volume):
    """Second derivatives of 1/r, times the volume."""
    d = np.array(centre, float) - station
    r = np.linalg.norm(d)
    return volume * (3 * (MEASURED @ d) * (INDUCING @ d) / r**5 - MEASURED @ INDUCING / r**3)


class DirectField(InAFolder):
    def test_unit_vectors_are_east_north_up(self):
        np.testing.assert_allclose(direct_field.unit_vector(90, 0), [0, 0, -1], atol=1e-15)
        np.testing.assert_allclose(direct_field.unit_vector(0, 90), [1, 0, 0], atol=1e-15)
        np.testing.assert_allclose(direct_field.unit_vector(0, 0), [0, 1, 0], atol=1e-15)

    def test_cube_is_a_dipole_from_afar(self):
        """A cube has no quadrupole; what comes behind falls with the fourth power of the distance."""
        for station in ((40, 0, 0), (10, -30, 20), (-25, 25, -25)):
            self.assertAlmostEqual(field(station, ((-1, 1),) * 3) / dipole(station, (0, 0, 0), 8), 1, delta=1e-5)

    def test_parts_of_a_prism_add_up(self):
        for station in ((3, 4, 9), (0, 0, 5), (1, 1, 5), (2, 7, 0), (1, 9, 0)):  # in line with edges and faces, too
            whole = field(station, ((0, 2), (0, 6), (-4, 0)))
            parts = field(station, ((0, 1), (0, 6), (-4, 0)), ((1, 2), (0, 5), (-4, 0)), ((1, 2), (5, 6), (-4, -1)),
                          ((1, 2), (5, 6), (-1, 0)))
            self.assertAlmostEqual(parts, whole, delta=1e-12 * max(1, abs(whole)))

    def files(self, factor=1.0):
        """A file of one cell below the surface, and the field of its dipole, which lies 1 km off."""
        self.write("g.mtx", sensitivity_head(np.array([[4, 4, 4], [4, 4, 3]])))
        field_direction, station = direct_field.unit_vector(62, -4), np.array([1000.0, 500.0, 300.0])
        d = np.array([25.0, 15.0, 65.0]) - station
        r = np.linalg.norm(d)
        value = 0.05 * 50000 / (4 * math.pi) * 1000 * (3 * (field_direction @ d) ** 2 / r**5 - 1 / r**3)
        self.write("d.vlk", f"62 -4 50000\n62 -4 1\n1\n1000 500 300 {factor * value:.9e}\n")
        return ["g.mtx", "VALUE 0.05", "d.vlk", "9", "1e-3"]

    def test_predicted_data_that_are_right_pass(self):
        status, out, err = self.run_main(direct_field, *self.files())
        self.assertEqual((status, err), (0, ""))
        self.assertIn("1 stations, directly computed from ", out)

    def test_predicted_data_that_are_wrong_fail(self):
        for factor in (1.01, -1.0, math.nan):
            status, _, err = self.run_main(direct_field, *self.files(factor))
            self.assertEqual(status, 1)
            self.assertEqual(err.count("\n"), 1, err)

    def test_bad_files_are_told_in_a_line(self):
        arguments = self.files()
        for n, words in ((0, "mesh file not found: none"), (1, "model file not found: none"), (2, "data file not found: none")):
            wrong = [*arguments[:n], "none", *arguments[n + 1 :]]
            status, out, err = self.run_main(direct_field, *wrong)
            self.assertEqual((status, out), (1, ""))
            self.assertIn(words, err)


if __name__ == "__main__":
    unittest.main()
