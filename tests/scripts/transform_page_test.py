"""The lines of NumPy on the page of the sensitivity file, run on a file: they predict what velkrund predicts.

transform_page_test.py PAGE VELKMTX VELKRUND
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest

import numpy as np
from scipy.io import FortranFile

PAGE, VELKMTX, VELKRUND = (os.path.abspath(path) for path in sys.argv[1:4])
MESH = "11 6 9\n0 0 0\n11*20\n6*25\n9*10\n"
STATIONS = [(30 * i + 5, 40 * j - 10, 4 + i) for i in range(6) for j in range(4)]


def lines_of_the_page():
    names = {"np": np}
    exec(re.search(r"```python\n(.*?)```", open(PAGE).read(), re.DOTALL).group(1), names)
    return names


def read_sensitivity(name):
    with FortranFile(name) as file:
        return records_of(file)


def records_of(file):
    ndata, ncol, ny, nx, nz = file.read_ints()
    file.read_reals(), file.read_ints()
    w = np.frombuffer(file.read_record(np.uint8)[4:].tobytes(), "<f8")
    cube_yxz = tuple(file.read_ints())
    wtz = np.frombuffer(file.read_record(np.uint8)[4:].tobytes(), "<f8").reshape(ny, nx, nz)
    records = [file.read_record(np.uint8).tobytes() for _ in range(ndata)]
    rows = [np.split(np.frombuffer(r[4:], "<i4"), 2) for r in records]
    return w, cube_yxz, wtz, [(idx, val.view("<f4")) for idx, val in rows]


class TransformOnThePage(unittest.TestCase):
    def test_predicts_what_velkrund_predicts(self):
        page = lines_of_the_page()
        with tempfile.TemporaryDirectory() as folder:
            os.chdir(folder)
            model = np.random.default_rng(4).normal(size=(6, 11, 9))
            np.savetxt("model.sus", model.ravel())
            open("survey.mesh", "w").write(MESH)
            lines = [f"{x} {y} {z}" for x, y, z in STATIONS]
            open("survey.loc", "w").write("\n".join(["65 3 50000", "65 3 1", str(len(lines)), *lines, ""]))
            for wavelet in ("haar", "d4", "d12", "s8"):
                subprocess.run([VELKMTX, "make", "survey.mesh", "null", "survey.loc", "survey.mtx", "--wavelet", wavelet,
                                "--tolerance", "0.02", "--weights", "depth", "--quiet"], check=True)
                subprocess.run([VELKRUND, "survey.mtx", "survey.loc", "model.sus"], check=True, stdout=subprocess.DEVNULL)
                values = np.loadtxt("velkrund.vlk", comments="!", skiprows=3)[:, 3]
                w, cube_yxz, wtz, rows = read_sensitivity("survey.mtx")
                own = page["predicted"](model, wtz, w, cube_yxz, rows)
                np.testing.assert_allclose(own, values, rtol=1e-6, atol=1e-6 * np.abs(values).max(), err_msg=wavelet)
                os.remove("velkrund.vlk")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
