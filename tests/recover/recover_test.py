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
import scipy.optimize
from small_survey import NDATA, NX, NY, NZ, read_grid, small_survey, write_grid

HERE = pathlib.Path(__file__).resolve().parent
EXAMPLE = HERE.parent.parent / "examples" / "recover"
EXACT, SOLVED = ("--tolerance", "1e-4"), 1e-2  # and the relative error of a model that comes of it


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
        """A status of None: the target may be out of reach, and the last model is what is looked at."""
        end = self.run_program(RECOVER, *files, *options, threads=threads)
        self.assertIn(end.returncode, (0, 1) if status is None else (status,), end.stdout + end.stderr)
        return end

    def written(self, pattern):
        return sorted(path.name for path in self.folder.glob(pattern))

    def predicted(self, name):
        return np.loadtxt(self.folder / name, skiprows=3)[:, -1]

    def rows_of_table(self, console):
        """Damping, beta, steps, misfit, model norm; the first row has no beta."""
        lines = console.splitlines()
        start = next(n for n, line in enumerate(lines) if line.split()[:1] == ["damping"])
        rows = [[float(word) for word in line.split()] for line in lines[start + 1:] if re.match(r" +\d+ ", line)]
        return [row if len(row) == 5 else [row[0], 0.0, *row[1:]] for row in rows]

    def model(self, name="recover.sus"):
        return read_grid(self.folder / name)[self.survey.below]

    def solve(self, norm, beta, active=None, lower=0.0, upper=1.0, regional=None):
        """The minimum within the bounds by SciPy, of the whole least-squares problem at once."""
        active = np.ones(self.survey.ncol, bool) if active is None else active
        A = ((self.survey.G * self.survey.wtz) / self.survey.std[:, None])[:, active]
        d = self.survey.observed / self.survey.std
        root = np.linalg.cholesky(norm[np.ix_(active, active)]).T * np.sqrt(beta)
        count = active.sum()
        if regional is not None:
            columns = regional / self.survey.std[:, None]
            A = np.hstack((A, columns))
            root = np.hstack((root, np.zeros((count, columns.shape[1]))))
        low = np.concatenate((np.full(count, lower), np.full(A.shape[1] - count, -np.inf)))
        high = np.concatenate((np.full(count, upper), np.full(A.shape[1] - count, np.inf)))
        solution = scipy.optimize.lsq_linear(np.vstack((A, root)), np.concatenate((d, np.zeros(count))), (low, high),
                                             tol=1e-14).x
        model = np.zeros(self.survey.ncol)
        model[active] = solution[:count]
        return model

    def norm(self, kind="sensitivity", lengths=(1.0, 1.0, 1.0)):
        """H of |m|^2 = m' H m over the cells below the surface, whose sides are 1, from its definition."""
        cells = np.stack(np.nonzero(self.survey.below)).T  # y, x, z
        w2 = np.ones(len(cells))
        if kind == "sensitivity":
            w2 = np.sqrt(self.survey.gdiag) * self.survey.wtz
        w2 = np.maximum(w2 / w2.max(), 0.03)
        beside = ((cells[:, 1] + 1 < self.survey.x.min()) | (cells[:, 1] > self.survey.x.max())
                  | (cells[:, 0] + 1 < self.survey.y.min()) | (cells[:, 0] > self.survey.y.max()))
        w2[beside] = 1.0
        H = np.diag(w2)
        for a, b in ((a, b) for a in range(len(cells)) for b in range(a)):
            step = np.abs(cells[a] - cells[b])
            if step.sum() == 1:
                weight = (lengths[1], lengths[0], lengths[2])[int(np.argmax(step))] ** 2 * (w2[a] + w2[b]) / 2
                H[[a, b], [a, b]] += weight
                H[[a, b], [b, a]] -= weight
        return H

    def assert_close(self, values, reference, relative):
        self.assertLessEqual(np.linalg.norm(values - reference), relative * np.linalg.norm(reference))


class the_model(recover_test):
    def test_is_the_minimum_within_its_bounds(self):
        for kind in ("sensitivity", "none"):
            self.survey.write(self.folder)
            table = self.rows_of_table(self.recover("--weighting", kind, *EXACT).stdout)
            expected = self.solve(self.norm(kind), table[-1][1])
            self.assert_close(self.model(), expected, SOLVED)
            self.assertTrue(np.all(read_grid(self.folder / "recover.sus")[~self.survey.below] == 0))
            H = self.norm(kind)
            self.assertAlmostEqual(table[-1][4] / (self.model() @ H @ self.model()), 1, places=3)

    def test_stays_within_bounds_that_matter(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--lower", "VALUE 0.45", "--upper", "VALUE 0.6", "--reference", "VALUE 0.5",
                                                "--target", 9, *EXACT).stdout)
        self.assertTrue(np.all((self.model() >= 0.45) & (self.model() <= 0.6)))
        self.assertTrue(np.any(self.model() == 0.45) and np.any(self.model() == 0.6), (self.model().min(), self.model().max()))
        reference = 0.5 * np.ones(self.survey.ncol)
        self.survey.observed = self.survey.observed - self.survey.G @ reference
        expected = self.solve(self.norm(), table[-1][1], lower=-0.05, upper=0.1) + reference
        self.assert_close(self.model(), expected, SOLVED)

    def test_is_smoother_with_longer_lengths(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--lengths", "3,0,2", *EXACT).stdout)
        self.assert_close(self.model(), self.solve(self.norm(lengths=(3, 0, 2)), table[-1][1]), SOLVED)

    def test_comes_out_as_a_model_file_holds_it_whatever_the_weights_of_the_sensitivity_file(self):
        self.survey.write(self.folder)
        self.recover("plain", *EXACT)
        weighted, weights = small_survey(), 1.0 + np.arange(self.survey.ncol) % 7
        weighted.wtz, weighted.G = weights, (weighted.G / weights).astype(np.float32)
        weighted.gdiag = np.sum(weighted.G.astype(float) ** 2, axis=0)
        weighted.write(self.folder)
        self.recover("weighted", *EXACT)
        self.assert_close(self.model("weighted.sus"), self.model("plain.sus"), SOLVED)

    def test_predicts_through_velkrund_what_the_last_numbered_file_holds(self):
        self.survey.write(self.folder)
        self.recover()
        last = self.written("recover_*.pre")[-1]
        self.run_program(PROGRAMS / "velkrund", "small.mtx", last, "recover.sus")  # that is its location file, too
        self.assert_close(self.predicted("velkrund.vlk"), self.predicted(last), 2e-6)

    def make_survey(self, mesh, name, *form):
        (self.folder / "mesh").write_text(mesh)
        places = [f"{x} {y} 15" for x in range(0, 41, 8) for y in range(0, 41, 8)]
        (self.folder / "locations").write_text("\n".join(["60 10 50000", "60 10 1", str(len(places)), *places]))
        self.run_program(PROGRAMS / "velkmtx", "make", "mesh", "null", "locations", name, *form)

    def observe(self, matrix, model):
        self.run_program(PROGRAMS / "velkrund", matrix, "locations", model)
        self.run_program(sys.executable, EXAMPLE.parent / "add_noise.py", "velkrund.vlk", "observed")

    def test_is_that_of_the_same_inversion_in_python(self):
        self.survey.write(self.folder)
        beta = self.rows_of_table(self.recover(*EXACT).stdout)[-1][1]
        end = subprocess.run(["/usr/bin/python3", EXAMPLE / "recover.py", "small.mtx", "small.obs", "python.sus", str(beta)],
                             cwd=self.folder, text=True, capture_output=True, timeout=120,
                             env={**os.environ, "PYTHONPATH": str(PROGRAMS.parent / "python")})
        self.assertEqual(end.returncode, 0, end.stderr)
        self.assert_close(self.model("python.sus"), self.model(), SOLVED)

    def test_is_the_same_from_both_forms_of_G(self):
        self.make_survey("4 4 8\n0 0 0\n4*10\n4*10\n8*10\n", "dense.mtx", "--dense")
        self.make_survey("4 4 8\n0 0 0\n4*10\n4*10\n8*10\n", "compressed.mtx", "--tolerance", "0", "--weights", "none")
        write_grid(self.folder / "true", 0.01 * (np.arange(128) % 5 == 0))
        self.observe("dense.mtx", "true")
        self.recover("dense", *EXACT, files=("dense.mtx", "observed"))
        self.recover("compressed", *EXACT, files=("compressed.mtx", "observed"))
        dense, compressed = (np.loadtxt(self.folder / f"{name}.sus") for name in ("dense", "compressed"))
        self.assert_close(compressed, dense, SOLVED)

    def test_does_not_change_when_cells_are_halved(self):
        self.make_survey("6 6 6\n-10 -10 0\n6*10\n6*10\n6*10\n", "wholes.mtx", "--dense")
        self.make_survey("12 12 12\n-10 -10 0\n12*5\n12*5\n12*5\n", "halves.mtx", "--dense")
        true = np.zeros((12, 12, 12))
        true[4:8, 4:8, 2:6] = 0.02
        write_grid(self.folder / "true", true)
        self.observe("halves.mtx", "true")

        def found(matrix, length):
            self.recover("run", "--lengths", f"{length},{length},{length}", "--weighting", "none", *EXACT,
                         files=(matrix, "observed"))
            return np.loadtxt(self.folder / "run.sus")

        wholes = found("wholes.mtx", 30).reshape(6, 6, 6)
        halves, shorter = (found("halves.mtx", length).reshape(6, 2, 6, 2, 6, 2).mean(axis=(1, 3, 5))
                           for length in (30, 15))
        self.assert_close(halves, wholes, 0.1)
        self.assertGreater(np.linalg.norm(shorter - wholes), 2 * np.linalg.norm(halves - wholes))


class the_data(recover_test):
    def test_may_stand_on_a_plane_that_is_solved_for(self):
        random = np.random.default_rng(1)
        plane = np.column_stack((np.ones(NDATA), self.survey.x, self.survey.y))
        self.survey.observed = self.survey.observed + plane @ [300.0, -40.0, 25.0]
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--regional", 1, *EXACT).stdout)
        expected = self.solve(self.norm(), table[-1][1], regional=plane)
        self.assert_close(self.model(), expected, SOLVED)
        self.assertTrue(0.95 <= table[-1][3] <= 1.05)
        last = self.predicted(self.written("recover_*.pre")[-1])
        self.assertLess(np.mean(((last - self.survey.observed) / self.survey.std) ** 2), 1.06)

    def test_that_are_wrong_do_not_bend_a_robust_model(self):
        self.survey.write(self.folder)
        self.recover("clean", "--robust", 1.5)
        self.survey.observed[[4, 11]] += [400.0, -300.0]
        self.survey.write(self.folder)
        self.recover("robust", "--robust", 1.5, "--target", 1.2)
        self.assert_close(self.model("robust.sus"), self.model("clean.sus"), 0.25)
        self.recover("plain", "--target", 1.2, *EXACT, status=None)
        off = np.linalg.norm(self.model("plain.sus") - self.model("clean.sus"))
        self.assertGreater(off, 0.4 * np.linalg.norm(self.model("clean.sus")))

    def test_need_no_deviations_where_the_command_line_tells_the_noise(self):
        self.survey.std = 0.5 + 0.02 * np.abs(self.survey.observed)
        self.survey.write(self.folder)
        self.recover("told")
        text = (self.folder / "small.obs").read_text().splitlines()
        (self.folder / "bare").write_text("\n".join(text[:3] + [" ".join(line.split()[:4]) for line in text[3:]]) + "\n")
        self.recover("given", "--noise-floor", 0.5, "--noise-share", 0.02, files=("small.mtx", "bare"))
        self.assert_close(self.model("given.sus"), self.model("told.sus"), 1e-3)

    def test_that_are_left_out_do_not_matter_and_are_judged(self):
        self.survey.write(self.folder)
        console = self.recover("thinned", "--every", 2).stdout
        self.assertRegex(console, r"misfit of the data that were left out \d+\.\d+")
        self.survey.observed[1::2] += 1000.0
        self.survey.write(self.folder)
        self.recover("spoilt", "--every", 2)
        self.assertEqual((self.folder / "spoilt.sus").read_bytes(), (self.folder / "thinned.sus").read_bytes())


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
        table = self.rows_of_table(self.recover("--active", "active", "--fixed", "fixed", status=None).stdout)
        model = read_grid(self.folder / "recover.sus")
        self.assertTrue(np.array_equal(model[self.survey.below][~self.active], self.fixed[self.survey.below][~self.active]))
        self.assertTrue(np.all(model[~self.survey.below] == 0))
        data = self.survey.G @ (self.survey.wtz * model[self.survey.below])
        self.assert_close(self.predicted(self.written("recover_*.pre")[-1]), data, 2e-6)
        misfit = np.mean(((data - self.survey.observed) / self.survey.std) ** 2)
        self.assertAlmostEqual(table[-1][3] / misfit, 1, places=3)

    def test_are_0_without_values_of_their_own(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--active", "active", "--weighting", "none", "--target", 4, *EXACT, status=None).stdout)
        model = read_grid(self.folder / "recover.sus")
        self.assertTrue(np.all(model[self.kinds != 1] == 0))
        self.assert_close(self.model(), self.solve(self.norm_of_active(), table[-1][1], self.active), SOLVED)

    def norm_of_active(self):
        """Bonds to cells that are not active do not count."""
        whole, H = self.survey.below, self.norm("none")
        for c in np.flatnonzero(~self.active):
            for b in np.flatnonzero(H[c]):
                if b != c:
                    H[b, b] += H[c, b]
        self.assertEqual(whole.sum(), len(H))
        return H

    def test_take_a_value_from_the_command_line(self):
        self.survey.write(self.folder)
        self.recover("--active", "active", "--fixed", "VALUE 0.125", status=None)
        model = read_grid(self.folder / "recover.sus")
        self.assertTrue(np.all(model[self.survey.below & (self.kinds != 1)] == 0.125))


class the_run(recover_test):
    def test_ends_with_the_misfit_at_its_target(self):
        self.survey.write(self.folder)
        for target in (1, 0.7):
            table = self.rows_of_table(self.recover("--target", target).stdout)
            self.assertTrue(0.95 * target <= table[-1][3] <= 1.05 * target, table)
            self.assertEqual([row[0] for row in table], list(range(len(table))))

    def test_tells_the_conditions_of_the_minimum_that_it_found(self):
        self.survey.write(self.folder)
        console = self.recover().stdout
        free, inward = re.search(r"gradient of \d+ free cells (\S+); pointing inward at \d+ cells on a bound (\S+)\n",
                                 console).groups()
        self.assertLess(float(free), 0.02)
        self.assertLess(float(inward), 0.02)

    def test_ends_at_the_corner_of_the_trade_off_curve(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("--target", "corner").stdout)
        cooled, chosen = np.array(table[1:-1]), table[-1]
        fit, size = (np.log(cooled[:, n]) for n in (3, 4))
        farthest = np.argmax((fit - fit[0]) / (fit[-1] - fit[0]) - (size - size[0]) / (size[-1] - size[0]))
        self.assertEqual(chosen[1], cooled[farthest][1])
        self.assertAlmostEqual(chosen[3] / cooled[farthest][3], 1, delta=0.1)

    def test_writes_the_curve_of_its_table(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover().stdout)
        np.testing.assert_allclose(np.loadtxt(self.folder / "recover.curve", comments="!"),
                                   np.array(table)[:, [0, 1, 3, 4, 2]], rtol=1e-4, atol=1e-4)

    def test_goes_on_where_it_was_interrupted(self):
        self.survey.write(self.folder)
        whole = self.rows_of_table(self.recover("whole").stdout)
        self.recover("parts", "--iterations", 2, status=1)
        parts = self.rows_of_table(self.recover("parts", "--resume").stdout)
        self.assertEqual([row[:4] for row in parts[:3]], [row[:4] for row in whole[:3]])
        self.assertTrue(0.95 <= parts[-1][3] <= 1.05)
        self.assert_close(self.model("parts.sus"), self.model("whole.sus"), 0.1)
        self.assertEqual(self.rows_of_table(self.recover("fresh", "--resume").stdout), whole)

    def test_tells_of_each_damping_and_numbers_its_predicted_data(self):
        self.survey.write(self.folder)
        table = self.rows_of_table(self.recover("run").stdout)
        numbered = [f"run_{n:03d}.pre" for n in range(1, len(table))]
        self.assertEqual(self.written("run*"), ["run.curve", "run.log", "run.state", "run.sus", *numbered])
        for row in table[1:]:
            residual = (self.predicted(f"run_{int(row[0]):03d}.pre") - self.survey.observed) / self.survey.std
            self.assertAlmostEqual(row[3], np.mean(residual**2), delta=1e-3 * row[3])

    def test_keeps_the_table_and_what_was_read_in_its_log(self):
        self.survey.write(self.folder)
        console = self.recover().stdout
        log = (self.folder / "recover.log").read_text()
        self.assertIn(console[console.index("  damping"):].rstrip("\n"), log)
        self.assertRegex(log, r"(?s)recover .*# of cells: 5 x 4 x 6.*fixed values was set to:  0.0000E\+00")

    def test_has_nothing_to_find_where_the_data_are_noise(self):
        self.survey.observed = 0.9 * self.survey.std * (-1.0) ** np.arange(NDATA)
        self.survey.write(self.folder)
        self.assertEqual(len(self.rows_of_table(self.recover().stdout)), 1)
        self.assertTrue(np.all(read_grid(self.folder / "recover.sus") == 0))
        self.assertEqual(self.written("*.pre"), [])

    def test_gives_the_same_bytes_for_every_number_of_threads(self):
        self.survey.write(self.folder)
        for threads in (1, 2, 3):
            self.recover(f"run{threads}", threads=threads)
        self.assertEqual(len({(self.folder / f"run{threads}.sus").read_bytes() for threads in (1, 2, 3)}), 1)


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
        self.assert_fails("recover: the misfit has not come to 1 in 2 dampings; it is ", "--iterations", 2)
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

    def test_is_bounds_that_cross(self):
        self.survey.write(self.folder)
        self.assert_fails("recover: a lower bound is above its upper bound\n", "--lower", "VALUE 0.2", "--upper", "VALUE 0.1")

    def test_is_a_datum_without_a_value(self):
        self.survey.write(self.folder)
        lines = (self.folder / "small.obs").read_text().splitlines()
        (self.folder / "bare").write_text("\n".join(lines[:3] + [" ".join(line.split()[:3]) for line in lines[3:]]) + "\n")
        self.assert_fails("recover: datum 1 has no value\n", "--noise-floor", 1, files=("small.mtx", "bare"))

    def test_is_the_state_of_another_problem(self):
        self.survey.write(self.folder)
        self.recover("--iterations", 2, status=1)
        self.assert_fails("recover: recover.state is of another problem", "--resume", "--robust", 2)
        state = (self.folder / "recover.state").read_text()
        (self.folder / "recover.state").write_text(state[:len(state) // 2])
        self.assert_fails("recover: recover.state does not fit together\n", "--resume")

    def test_is_an_output_that_cannot_be_written(self):
        self.survey.write(self.folder)
        self.assert_fails("missing/run.log", "missing/run")

    def test_of_the_command_line_names_the_usage(self):
        for words in ([], ["a.mtx"], ["a.mtx", "b.obs", "a base of more than 22 characters"],
                      ["a.mtx", "b.obs", "--target", "0"], ["a.mtx", "b.obs", "--target", "nan"],
                      ["a.mtx", "b.obs", "--iterations", "0"], ["a.mtx", "b.obs", "--iterations", "1000"],
                      ["a.mtx", "b.obs", "--weighting", "much"], ["a.mtx", "b.obs", "--lengths", "1,2"],
                      ["a.mtx", "b.obs", "--regional", "3"], ["a.mtx", "b.obs", "--every", "0"], ["a.mtx", "b.obs", "--robust", "0"],
                      ["a.mtx", "b.obs", "--noise-floor", "-1"], ["a.mtx", "b.obs", "--target", "edge"]):
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

    def test_is_not_met_by_a_model_without_weights(self):
        self.recover("--weighting", "none", files=(DEMO / "survey.mtx", DEMO / "survey.obs"))
        self.assertNotEqual(self.measure(np.loadtxt(self.folder / "recover.sus")), 0)

    def test_is_met_with_cells_taken_out_that_hold_no_body(self):
        true = np.loadtxt(DEMO / "survey.sus").reshape(32, 32, 32)
        active = np.ones((32, 32, 32), int)
        active[:, :, 24:] = 0  # below all bodies
        active[:4], active[-4:], active[:, :4], active[:, -4:] = -1, -1, -1, -1  # the padding around them
        np.savetxt(self.folder / "active", active.ravel(), fmt="%d")
        self.recover("--active", "active", "--fixed", "VALUE 0.0005",
                     files=(DEMO / "survey.mtx", DEMO / "survey.obs"))
        model = np.loadtxt(self.folder / "recover.sus").reshape(32, 32, 32)
        self.assertTrue(np.all(model[active != 1] == true[active != 1]))
        self.assertEqual(self.measure(model), 0)


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    RECOVER, PROGRAMS, DEMO = (pathlib.Path(sys.argv.pop(1)).resolve() for _ in range(3))
    unittest.main()
