"""The version stands in the top CMakeLists.txt; whatever else says one says the same."""

import re
import subprocess
import sys
import unittest

from built import BUILT, ROOT, VERSION, said

SHORT = VERSION.rpartition(".")[0]


class Version(unittest.TestCase):
    def test_programs(self):
        self.assertEqual(said(BUILT / "bin" / "velkmtx", "--version"), f"velkmtx, VELKO {SHORT}\n")
        self.assertIn(f"\nVELKO - Version {SHORT} :  VELKRUND\n", said(BUILT / "bin" / "velkrund"))

    def test_debian_packages(self):
        self.assertEqual(re.match(r"velko \((.*?)\)", (ROOT / "debian" / "changelog").read_text())[1], VERSION)

    def test_python_package_of_pip(self):
        done = subprocess.run([sys.executable, "-B", "setup.py", "--version"], cwd=ROOT, capture_output=True, text=True, check=True)
        self.assertEqual(done.stdout.split()[-1], VERSION)

    def test_package_for_python(self):
        told = said("/usr/bin/python3", "-B", "-c", "import velko; print(velko.__version__)", PYTHONPATH=str(BUILT / "python"))
        self.assertEqual(told, f"{SHORT}\n")

    def test_pages(self):
        self.assertIn(f'\nversion = release = "{SHORT}"\n', (ROOT / "docs" / "conf.py").read_text())

    def test_pkg_config(self):
        self.assertIn(f"\nVersion: {VERSION}\n", (BUILT / "velko.pc").read_text())


if __name__ == "__main__":
    unittest.main()
