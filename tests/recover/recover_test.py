#!/usr/bin/env python3
"""What recover does, seen from outside; NumPy judges its models.

    recover_test.py RECOVER FOLDER_OF_PROGRAMS FOLDER_OF_THE_DEMO
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import numpy as np
from small_survey import NDATA, NX, NY, NZ, read_grid, small_survey, write_grid

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLE = HERE.parent.parent / "examples" / "recover"
SOLVED = 1e-2  # relative error of a model, by the bound with which the solver ends


class recover_test(unittest.TestCase):
    def setUp(self):
        self.holder = tempfile.TemporaryDirectory()
        self.addCleanup(self.holder.cleanup)
        self.folder = pathlib.Path(self.holder.name)
        self.survey = small_survey()

    def run_program(self, program, *arguments, threads=2):
        return subprocess.run([program, *map(str, arguments)], cwd=self.folder, text=True, capture_output=True,
                              env={**os.environ, "OMP_NUM_THREADS": str(threads)}, timeout=120)

    def recover(self, *options, status=0, files=("small.mtx", "small.obs"), threads=2):
        end = self.run_program(RECOVER, *files, *options, threads=threads)
        self.assertEqual(end.returncode, status, end.stdout + end.stderr)
        return end

    def written(self, pattern):
        return sorted(path.name for path in self.folder.glob(pattern))

    def predicted(self, name):
        return np.loadtxt(self.folder / name, skiprows=3)[:, -1]

    def rows_of_table(self, console):
        lines = console.splitlines()
        start = next(n for n, line in enumerate(lines) if line.split()[:1] == ["iteration"])
        return [[float(word) for word in line.split()] for line in lines[start + 1:] if line.strip()]

    def solve(self, weights, damping, active=None):
        """The damped normal equations, as a whole, without conjugate gradients; the model is not weighted by wtz."""
        active = np.ones(self.survey.ncol, bool) if active is None else active
        A = (self.survey.G / self.survey.std[:, None] / weights)[:, active]
        normal = A.T @ A + damping * np.eye(A.shape[1])
        model = np.zeros(self.survey.ncol)
        model[active] = np.linalg.solve(normal, A.T @ (self.survey.observed / self.survey.std))
        return model / weights / self.survey.wtz

    def assert_close(self, values, reference, relative):
        self.assertLessEqual(np.linalg.norm(values - reference), relative * np.linalg.norm(reference))


class the_model(recover_test):
    def test_solves_the_damped_normal_equations_of_the_last_damping(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--weighting", 0).stdout)
        expected = self.solve(np.ones(self.survey.ncol), table[-1][1])
        model = read_grid(self.folder / "recover.sus")
        self.assert_close(model[self.survey.below], expected, SOLVED)
        self.assertTrue(np.all(model[~self.survey.below] == 0))

    def test_is_small_in_the_norm_of_the_sensitivity_weights(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover().stdout)
        weights = self.survey.gdiag**0.25
        weights /= np.sqrt(np.mean(weights**2))
        model = read_grid(self.folder / "recover.sus")[self.survey.below]
        self.assert_close(model, self.solve(weights, table[-1][1]), SOLVED)
        self.assertAlmostEqual(table[-1][-1] / np.linalg.norm(weights * model), 1, places=3)

    def test_comes_out_as_a_model_file_holds_it_whatever_the_weights_of_the_sensitivity_file(self):
        plain, weights = self.survey, 1.0 + np.arange(self.survey.ncol) % 7
        plain.gdiag = weights  # to the power of 4 / 4
        plain.write(self.folder)
        self.recover("--weighting", 4, "plain")
        weighted = small_survey()
        weighted.wtz, weighted.G = weights, (weighted.G / weights).astype(np.float32)
        weighted.write(self.folder)
        self.recover("weighted")
        self.assert_close(read_grid(self.folder / "weighted.sus"), read_grid(self.folder / "plain.sus"), 1e-3)

    def test_predicts_through_velkrund_what_the_last_numbered_file_holds(self):
        self.survey.wtz = 1.0 + np.arange(self.survey.ncol) % 7
        self.survey.write(self.folder)
        self.recover()
        last = self.written("recover_*.pre")[-1]
        self.run_program(PROGRAMS / "velkrund", "small.mtx", last, "recover.sus")  # that is its location file, too
        self.assert_close(self.predicted("velkrund.vlk"), self.predicted(last), 2e-6)

    def test_is_the_same_from_both_forms_of_G(self):
        (self.folder / "mesh").write_text("4 4 8\n0 0 0\n4*10\n4*10\n8*10\n")
        places = [f"{x} {y} 5" for x in range(0, 41, 8) for y in range(0, 41, 8)]
        (self.folder / "locations").write_text("\n".join(["60 10 50000", "60 10 1", str(len(places)), *places]))
        for name, form in (("dense.mtx", ["--dense"]), ("compressed.mtx", ["--tolerance", "0"])):
            self.run_program(PROGRAMS / "velkmtx", "make", "mesh", "null", "locations", name, *form)
        write_grid(self.folder / "true", 0.01 * (np.arange(128) % 5 == 0))
        self.run_program(PROGRAMS / "velkrund", "dense.mtx", "locations", "true")
        self.run_program(sys.executable, EXAMPLE.parent / "add_noise.py", "velkrund.vlk", "observed")
        self.recover("dense", files=("dense.mtx", "observed"))
        self.recover("compressed", files=("compressed.mtx", "observed"))
        dense, compressed = (np.loadtxt(self.folder / f"{name}.sus") for name in ("dense", "compressed"))
        self.assert_close(compressed, dense, 1e-3)

    def test_gets_more_compact_with_focusing(self):
        self.survey.observe(10.0 * (np.arange(self.survey.ncol) // 2 == 30))  # a body of two cells
        self.survey.write(self.folder)
        self.recover("smallest")
        table = self.rows_of_table(self.recover("compact", "--focus", 3).stdout)
        self.assertTrue(0.95 <= table[-1][3] <= 1)
        share = {}  # that the two largest cells have of the whole
        for name in ("smallest", "compact"):
            model = np.sort(np.abs(read_grid(self.folder / f"{name}.sus").ravel()))
            share[name] = np.sum(model[-2:]) / np.sum(model)
        self.assertGreater(share["compact"], 1.5 * share["smallest"])


class cells_that_are_not_active(recover_test):
    def setUp(self):
        super().setUp()
        self.kinds = np.ones((NY, NX, NZ), int)
        self.kinds[0], self.kinds[:, 0] = 0, -1
        self.fixed = np.full((NY, NX, NZ), 0.5)
        self.fixed[0] = 0.25
        self.active = (self.kinds == 1)[self.survey.below]
        self.survey.wtz = 1.0 + np.arange(self.survey.ncol) % 3
        write_grid(self.folder / "active", self.kinds)
        write_grid(self.folder / "fixed", self.fixed)

    def test_keep_their_fixed_values_and_take_part_in_the_prediction(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--active", "active", "--fixed", "fixed").stdout)
        model = read_grid(self.folder / "recover.sus")
        self.assertTrue(np.array_equal(model[self.survey.below][~self.active], self.fixed[self.survey.below][~self.active]))
        self.assertTrue(np.all(model[~self.survey.below] == 0))
        data = self.survey.G @ (self.survey.wtz * model[self.survey.below])
        self.assert_close(self.predicted(self.written("recover_*.pre")[-1]), data, 2e-6)
        misfit = np.mean(((data - self.survey.observed) / self.survey.std) ** 2)
        self.assertAlmostEqual(table[-1][3], misfit, places=3)

    def test_are_0_without_values_of_their_own(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--active", "active").stdout)
        model = read_grid(self.folder / "recover.sus")
        self.assertTrue(np.all(model[self.kinds != 1] == 0))
        expected = self.solve(np.ones(self.survey.ncol), table[-1][1], self.active)
        self.assert_close(model[self.survey.below], expected, SOLVED)

    def test_take_a_value_from_the_command_line(self):
        self.survey.write(self.folder)
        self.recover("--active", "active", "--fixed", "VALUE 0.125")
        model = read_grid(self.folder / "recover.sus")
        self.assertTrue(np.all(model[self.survey.below & (self.kinds != 1)] == 0.125))


class the_run(recover_test):
    def test_ends_with_the_misfit_at_its_target(self):
        self.survey.write(self.folder)
        for target in (1, 0.5):
            table = self.rows_of_table(self.recover("--target", target).stdout)
            self.assertTrue(0.95 * target <= table[-1][3] <= target, table)
            self.assertEqual([row[0] for row in table], list(range(len(table))))

    def test_tells_of_each_iteration_and_numbers_its_predicted_data(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("run").stdout)
        numbered = [f"run_{n:03d}.pre" for n in range(1, len(table))]
        self.assertEqual(self.written("run*"), ["run.log", "run.sus", *numbered])
        for row in table[1:]:
            residual = (self.predicted(f"run_{int(row[0]):03d}.pre") - self.survey.observed) / self.survey.std
            self.assertAlmostEqual(row[3], np.mean(residual**2), delta=1e-3 * row[3])

    def test_keeps_the_table_and_what_was_read_in_its_log(self):
        self.survey.write(self.folder)
        console = self.recover().stdout
        log = (self.folder / "recover.log").read_text()
        self.assertIn(console[console.index("iteration"):].rstrip("\n"), log)
        self.assertRegex(log, r"(?s)recover .*# of cells: 5 x 4 x 6.*fixed values was set to:  0.0000E\+00")

    def test_has_nothing_to_find_where_the_data_are_noise(self):
        self.survey.observed = 0.9 * self.survey.std * (-1.0) ** np.arange(NDATA)
        self.survey.write(self.folder)
        self.assertEqual(len(self.rows_of_table(self.recover().stdout)), 1)
        self.assertTrue(np.all(read_grid(self.folder / "recover.sus") == 0))
        self.assertEqual(self.written("*.pre"), [])

    def test_gives_the_same_bytes_again_and_the_same_model_for_every_number_of_threads(self):
        self.survey.write(self.folder)
        for name, threads in (("one", 1), ("two", 2), ("again", 2), ("three", 3)):
            self.recover(name, threads=threads)
        bytes_of = {name: (self.folder / f"{name}.sus").read_bytes() for name in ("two", "again")}
        self.assertEqual(bytes_of["two"], bytes_of["again"])
        one = read_grid(self.folder / "one.sus")
        for name in ("two", "three"):
            self.assert_close(read_grid(self.folder / f"{name}.sus"), one, SOLVED)


class a_failure(recover_test):
    def assert_fails(self, words, *options, files=("small.mtx", "small.obs")):
        end = self.recover(*options, files=files, status=1)
        self.assertIn(words, end.stdout + end.stderr)

    def test_of_a_reader_is_told_in_its_words(self):
        self.survey.write(self.folder)
        self.assert_fails(" ERROR: sensitivity file not found: none\n", files=("none", "small.obs"))
        self.assert_fails(" ERROR: data file not found: none\n", files=("small.mtx", "none"))
        self.assert_fails(" ERROR: active cells file not found: none\n", "--active", "none")
        self.assert_fails(" ERROR: fixed values file not found: none\n", "--fixed", "none")

    def test_is_a_number_of_data_that_is_not_that_of_the_rows(self):
        self.survey.write(self.folder)
        lines = (self.folder / "small.obs").read_text().splitlines()
        (self.folder / "fewer").write_text("\n".join([*lines[:2], str(NDATA - 1), *lines[3:]]))
        self.assert_fails("Number of data is inconsistent in obs and mtx files.", files=("small.mtx", "fewer"))

    def test_is_a_misfit_out_of_reach_which_leaves_the_last_model(self):
        self.survey.write(self.folder)
        self.assert_fails("recover: the misfit has not come to 1 in 2 iterations\n", "--iterations", 2)
        self.assertEqual(self.written("recover_*.pre"), ["recover_001.pre", "recover_002.pre"])
        self.assertEqual(read_grid(self.folder / "recover.sus").shape, (NY, NX, NZ))

    def test_is_data_that_no_cell_is_felt_by(self):
        self.survey.G = np.zeros_like(self.survey.G)
        self.survey.write(self.folder)
        self.assert_fails("recover: the data feel no active cell\n")

    def test_is_a_misfit_that_is_no_number(self):
        self.survey.std[3] = np.nan
        self.survey.write(self.folder)
        self.assert_fails("recover: the misfit is not a finite number\n")

    def test_is_a_weight_of_0_in_the_sensitivity_file(self):
        self.survey.wtz[5] = 0
        self.survey.write(self.folder)
        self.assert_fails("recover: a weight of the sensitivity file is 0\n")

    def test_is_an_output_that_cannot_be_written(self):
        self.survey.write(self.folder)
        self.assert_fails("velko: missing/run.log", "missing/run")

    def test_of_the_command_line_names_the_usage(self):
        for words in ([], ["a.mtx"], ["a.mtx", "b.obs", "a base of more than 22 characters"],
                      ["a.mtx", "b.obs", "--target", "0"], ["a.mtx", "b.obs", "--target", "nan"],
                      ["a.mtx", "b.obs", "--iterations", "0"], ["a.mtx", "b.obs", "--iterations", "1000"],
                      ["a.mtx", "b.obs", "--weighting", "-1"], ["a.mtx", "b.obs", "--focus", "1.5"]):
            end = self.run_program(RECOVER, *words)
            self.assertNotEqual(end.returncode, 0, words)
            self.assertRegex(end.stderr, r"\Arecover: .*\nrecover: usage: ")
            self.assertEqual(end.stdout, "")

    def test_is_not_what_help_ends_with(self):
        end = self.run_program(RECOVER, "--help")
        self.assertEqual((end.returncode, end.stderr), (0, ""))
        self.assertIn("--active FILE", end.stdout)


class the_measure_of_the_demo(recover_test):
    """Without these the demo could pass with any model."""

    def measure(self, model):
        np.savetxt(self.folder / "model", model.ravel())
        return self.run_program(sys.executable, EXAMPLE / "measure_bodies.py", DEMO / "survey.sus", "model").returncode

    def setUp(self):
        super().setUp()
        self.recovered = np.loadtxt(DEMO / "recover.sus").reshape(32, 32, 32)

    def test_is_met_by_the_true_model_and_by_the_recovered_one(self):
        self.assertEqual(self.measure(np.loadtxt(DEMO / "survey.sus")), 0)
        self.assertEqual(self.measure(self.recovered), 0)

    def test_is_not_met_by_a_model_that_is_mirrored_or_upside_down_or_the_same_everywhere(self):
        for model in (self.recovered[:, ::-1], self.recovered[:, :, ::-1], np.full((32, 32, 32), 0.01)):
            self.assertNotEqual(self.measure(model), 0)

    def test_is_not_met_by_the_smallest_model_without_weights(self):
        self.recover("--weighting", 0, files=(DEMO / "survey.mtx", DEMO / "survey.obs"))
        self.assertNotEqual(self.measure(np.loadtxt(self.folder / "recover.sus")), 0)

    def test_is_met_with_cells_taken_out_that_hold_no_body(self):
        true = np.loadtxt(DEMO / "survey.sus").reshape(32, 32, 32)
        active = np.ones((32, 32, 32), int)
        active[:, :, 24:] = 0  # below all bodies
        active[:4], active[-4:], active[:, :4], active[:, -4:] = -1, -1, -1, -1  # the padding around them
        np.savetxt(self.folder / "active", active.ravel(), fmt="%d")
        self.recover("--focus", 1, "--active", "active", "--fixed", "VALUE 0.0005",
                     files=(DEMO / "survey.mtx", DEMO / "survey.obs"))
        model = np.loadtxt(self.folder / "recover.sus").reshape(32, 32, 32)
        self.assertTrue(np.all(model[active != 1] == true[active != 1]))
        self.assertEqual(self.measure(model), 0)


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    RECOVER, PROGRAMS, DEMO = (pathlib.Path(sys.argv.pop(1)).resolve() for _ in range(3))
    unittest.main()
