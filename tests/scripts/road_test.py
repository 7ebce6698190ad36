"""The programs and scripts one behind the other, as in scripts/demo, on a hill of a few cells."""

import os
import subprocess
import sys
import unittest

import numpy as np

VELKMTX, VELKRUND = os.path.abspath(sys.argv.pop(2)), os.path.abspath(sys.argv.pop(2))

from survey_files import SCRIPTS, InAFolder  # noqa: E402: after its arguments alone are left

EXAMPLES = SCRIPTS.parent / "examples"


def hill(x, y):
    return 120 * np.exp(-((x - 310) ** 2 + (y - 290) ** 2) / 200**2)


class Road(InAFolder):
    def setUp(self):
        super().setUp()
        x, y = np.random.default_rng(1).uniform(-400, 1000, (2, 600)).round(1)
        points = "".join(f"{a} {b} {c:.2f}\n" for a, b, c in zip(x, y, hill(x, y)))
        self.write("topo", f"! a hill\n{len(x)}\n{points}")
        stations = [(a, b, hill(a, b) + 60) for b in np.arange(0, 601, 60) for a in np.arange(0, 601, 60)]
        self.write("loc", f"62 4 50000\n62 4 1\n{len(stations)}\n" + "".join(f"{a} {b} {c:.3f}\n" for a, b, c in stations))

    def run_command(self, *command):
        done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""), command)
        return done.stdout

    def predict(self, sensitivity, model, result):
        self.run_command(VELKRUND, sensitivity, "loc", model)
        os.rename("velkrund.vlk", result)

    def test_from_the_terrain_to_the_pictures(self):
        self.run_command(VELKMTX, "mesh", "mesh", "--cell", "40,40,20", "--locations", "loc", "--topography", "topo",
                         "--depth", "150", "--padding", "3", "--factor", "1.3")
        self.run_command(VELKMTX, "model", "mesh", "sus", "--background", "0.001", "--body", "sphere 300 310 -20 80 0.05")
        forms = {"dense": ["--dense"], "weighted": ["--dense", "--weights", "depth"],
                 "compressed": ["--tolerance", "1e-2"], "both": ["--tolerance", "1e-2", "--weights", "depth"]}
        for form, options in forms.items():
            self.run_command(VELKMTX, "make", "mesh", "topo", "loc", f"{form}.mtx", "--quiet", *options)
            self.assertIn(f"{form}.mtx: no faults, and every byte is as it was written\n",
                          self.run_command(VELKMTX, "check", f"{form}.mtx"))
            self.predict(f"{form}.mtx", "sus", f"{form}.vlk")
            limit = "1e-6" if "--dense" in options else "0.03"
            self.run_command("/usr/bin/python3", "-B", EXAMPLES / "direct_field.py", f"{form}.mtx", "sus", f"{form}.vlk", 9, limit)
        for picture in (["data", "both.vlk"], ["difference", "both.vlk", "dense.vlk"],
                        ["model", "both.mtx", "sus", "--topography", "topo", "--locations", "loc"]):
            self.run_command("/usr/bin/python3", "-B", SCRIPTS / "plot", *picture, "p.png")
            self.assertGreater(os.path.getsize("p.png"), 10000)
        self.run_command("/usr/bin/python3", "-B", SCRIPTS / "export_vtr", "both.mtx", "sus", "model.vtr")


if __name__ == "__main__":
    unittest.main()
