"""compare_predictions.py as the demo meets it. Usage: compare_predictions_test.py PATH_OF_THE_SCRIPT"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(sys.argv.pop(1)).resolve()
HEADER = "62.00 4.00 52000.00\n62.00 4.00 1\n{}\n"


class ComparePredictions(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def compare(self, values, reference, limit="0.05"):
        for name, data in (("file", values), ("reference", reference)):
            rows = "".join(f"0.0 {i}.0 25.0 {value}\n" for i, value in enumerate(data))
            (self.folder / name).write_text(HEADER.format(len(data)) + rows)
        return subprocess.run([sys.executable, SCRIPT, "file", "reference", limit], cwd=self.folder,
                              capture_output=True, text=True)

    def assert_fails(self, end, words):
        self.assertEqual(end.returncode, 1)
        self.assertEqual(end.stderr, words + "\n")

    def test_data_within_the_limit_succeed(self):
        end = self.compare([30.0, -40.25], [30.0, -40.0])
        self.assertEqual((end.returncode, end.stderr), (0, ""))
        self.assertEqual(end.stdout, "data from -40.0 to 30.0 nT; relative difference 5.0e-03 (2-norm), "
                                     "largest difference 0.25 nT\n")

    def test_the_limit_itself_is_within(self):
        self.assertEqual(self.compare([1.5], [1.0], "0.5").returncode, 0)

    def test_data_above_the_limit_fail(self):
        self.assert_fails(self.compare([30.0, -45.0], [30.0, -40.0]),
                          "the relative difference 1.0e-01 is above the limit of 0.05")

    def test_data_that_are_no_number_fail(self):
        self.assert_fails(self.compare([1.0, "nan"], [1.0, 2.0]),
                          "the relative difference nan is above the limit of 0.05")

    def test_different_numbers_of_data_fail(self):
        self.assert_fails(self.compare([1.0, 2.0], [1.0]), "file has 2 data, reference has 1")

    def test_files_without_data_fail(self):
        self.assert_fails(self.compare([], []), "reference has no data")

    def test_zeros_equal_zeros(self):
        self.assertEqual(self.compare([0.0, 0.0], [0.0, 0.0]).returncode, 0)

    def test_anything_else_is_far_from_zeros(self):
        self.assert_fails(self.compare([0.0, 1e-9], [0.0, 0.0]),
                          "the relative difference inf is above the limit of 0.05")


if __name__ == "__main__":
    unittest.main()
