"""What the tests of the scripts share: small files of every kind, and a script run in this process."""

import contextlib
import importlib.machinery
import importlib.util
import io
import os
import pathlib
import struct
import sys
import tempfile
import unittest

import numpy as np

SCRIPTS = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(SCRIPTS))


def load_script(name):
    """A script without an extension, as a module."""
    loader = importlib.machinery.SourceFileLoader(name, str(SCRIPTS / name))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(name, loader))
    loader.exec_module(module)
    return module


def framed(payload, segment=1 << 30):
    parts = [payload[at : at + segment] for at in range(0, len(payload), segment)] or [b""]
    words = [len(part) for part in parts]
    return b"".join(struct.pack("<i", -n if more else n) + part + struct.pack("<i", -n if at else n)
                    for at, (part, n) in enumerate(zip(parts, words)) for more in [at + 1 < len(parts)])


def sensitivity_head(itop, ztop=100.0, ny=2, nx=3, nz=4, segment=1 << 30):
    """The first three records of a file; edges every 10 from 0."""
    edges = np.concatenate([10.0 * np.arange(n + 1) for n in (ny, nx, nz)] + [[ztop]])
    return b"".join(framed(payload, segment) for payload in (
        struct.pack("<5i", 1, int(ny * nx * nz - np.sum(itop)), ny, nx, nz), edges.astype("<f8").tobytes(),
        np.asarray(itop, "<i4").T.tobytes()))  # (ny, nx), y fastest


class InAFolder(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder.name)

    def write(self, name, contents):
        mode = "wb" if isinstance(contents, bytes) else "w"
        with open(name, mode) as file:
            file.write(contents)
        return name

    def run_main(self, script, *arguments):
        """Exit status, and what the script said on its two streams."""
        out, err = io.StringIO(), io.StringIO()
        before, sys.argv = sys.argv, [script.__name__, *arguments]
        try:
            with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
                status = script.main()
        except SystemExit as end:
            status = end.code
            if isinstance(status, str):
                err.write(status + "\n")
                status = 1
        finally:
            sys.argv = before
        return status or 0, out.getvalue(), err.getvalue()

    def assert_fails(self, script, arguments, words, status=1):
        found = set(os.listdir())
        ended, out, err = self.run_main(script, *arguments)
        self.assertEqual((ended, out), (status, ""), err)
        self.assertIn(words, err)
        self.assertEqual(err.count("\n"), 1, err)
        self.assertTrue(err.startswith(script.__name__), err)
        self.assertEqual(set(os.listdir()), found)
