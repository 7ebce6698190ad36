"""What cmake --install puts where, a component for each package."""

import pathlib
import re
import subprocess
import tempfile
import unittest

from built import BUILT, said

COMPONENTS = ["tools", "mpi", "library", "python"]


def is_program(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


class Installation(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.root = pathlib.Path(cls.folder.name)
        for component in COMPONENTS:
            said("cmake", "--install", BUILT, "--component", component, "--prefix", cls.root / component)
        said("cmake", "--install", BUILT, "--prefix", cls.root / "all")

    def files(self, component):
        folder = self.root / component
        return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}

    def test_every_file_belongs_to_one_component(self):
        shared = [self.files(component) for component in COMPONENTS]
        self.assertEqual(sorted(name for files in shared for name in files), sorted(self.files("all")))

    def test_no_component_has_empty_folders(self):
        for component in COMPONENTS:
            empty = [path for path in (self.root / component).rglob("*") if path.is_dir() and not any(path.iterdir())]
            self.assertEqual(empty, [])

    def test_every_program_has_its_page(self):
        for component in COMPONENTS:
            files = self.files(component)
            for program in (name for name in files if name.startswith("bin/")):
                self.assertIn(f"share/man/man1/{pathlib.Path(program).name}.1", files)

    def test_programs_look_for_libraries_where_the_system_does(self):
        programs = [path for path in (self.root / "all").rglob("*") if path.is_file() and is_program(path)]
        self.assertGreaterEqual(len(programs), 3)
        for program in programs:
            self.assertNotRegex(said("readelf", "--dynamic", "--wide", program), r"\((RUNPATH|RPATH)\)", program)

    def test_velkmtx_finds_the_program_that_imports(self):
        """It is in a folder of its own, which no PATH knows."""
        bin_folder = self.root / "tools" / "bin"
        self.assertFalse((bin_folder / "velkmtx-exchange").exists())
        self.assertIn("Usage: velkmtx import stations", said(bin_folder / "velkmtx", "import", "stations", "--help"))
        self.assertIn("Usage: velkmtx import", said("bash", "-c", "cd / && velkmtx import --help", PATH=f"{bin_folder}:/usr/bin:/bin"))

    def test_velkmtx_without_that_program_says_so(self):
        alone = self.root / "alone" / "bin"
        alone.mkdir(parents=True)
        (alone / "velkmtx").write_bytes((self.root / "tools" / "bin" / "velkmtx").read_bytes())
        (alone / "velkmtx").chmod(0o755)
        done = subprocess.run([alone / "velkmtx", "import", "terrain"], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, rf"^velkmtx: cannot run {re.escape(str(alone.parent))}/libexec/velko/velkmtx-exchange: .*\n$")


if __name__ == "__main__":
    unittest.main()
