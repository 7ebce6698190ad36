"""The file for ParaView is that of velkmtx export model, which tests/exchange/vtr_test.py looks into."""

import os
import pathlib
import subprocess
import sys
import unittest

import numpy as np
from survey_files import InAFolder, load_script

VELKMTX = os.path.abspath(sys.argv.pop(1))
export_vtr = load_script("export_vtr")
import velko  # noqa: E402: the script has found it


class Export(InAFolder):
    def setUp(self):
        super().setUp()
        self.write("mesh", "3 2 4\n-10 5 100\n10 20 30\n7 8\n1 2 3 4\n")
        values = np.random.default_rng(1).uniform(size=24)
        self.write("model", "".join(f"{value!r}\n" for value in map(float, values)))
        below = velko.read_mesh("mesh").with_surface([[0, 1, 2], [3, 4, 0]])
        velko.write_sensitivity("g.mtx", below, np.ones((1, below.nbelow)))

    def test_bytes_are_those_of_velkmtx(self):
        for arguments in (("mesh", "model"), ("mesh", "VALUE 0.5"), ("g.mtx", "model"), ("g.mtx", "VALUE 0.5")):
            self.assertEqual(self.run_main(export_vtr, *arguments, "o.vtr"), (0, "", ""))
            subprocess.run([VELKMTX, "export", "model", *arguments, "theirs.vtr"], check=True, stdout=subprocess.DEVNULL)
            self.assertEqual(pathlib.Path("o.vtr").read_bytes(), pathlib.Path("theirs.vtr").read_bytes())

    def test_whatever_is_wrong_is_one_line(self):
        self.assert_fails(export_vtr, [], "usage: export_vtr MESH MODEL OUTPUT.vtr", 2)
        self.assert_fails(export_vtr, ["mesh", "model", "o.vtk"], "usage: export_vtr MESH MODEL OUTPUT.vtr", 2)
        self.assert_fails(export_vtr, ["none", "model", "o.vtr"], "export_vtr: ERROR: mesh file not found: none")
        self.assert_fails(export_vtr, ["mesh", "mesh", "o.vtr"], "ERROR: end reached reading model file mesh")
        self.assert_fails(export_vtr, ["mesh", "VALUE x", "o.vtr"], "VALUE x: ERROR reading constant value for model")
        self.assert_fails(export_vtr, ["mesh", "model", "no/o.vtr"], "no/o.vtr")


if __name__ == "__main__":
    unittest.main()
