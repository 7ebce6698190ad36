"""Sensitivity files as the package makes them: the bytes of velkmtx, progress, interruption, rows of the caller's own."""

import os
import pathlib
import signal
import subprocess
import threading

import numpy as np
import pytest
import scipy.sparse

import velko

INPUTS = ["survey.mesh", "survey.loc"]


def bytes_by_velkmtx(*options):
    velkmtx = pathlib.Path(os.environ["VELKO_BIN"]) / "velkmtx"
    subprocess.run([velkmtx, "make", "survey.mesh", "survey.topography", "survey.loc", "theirs.mtx", "--quiet", *options], check=True)
    return pathlib.Path("theirs.mtx").read_bytes()


@pytest.mark.parametrize("options, arguments", [
    ([], {}), (["--dense"], {"dense": True}), (["--wavelet", "s8", "--tolerance", "0.01"], {"wavelet": "s8", "tolerance": 0.01}),
    (["--weights", "depth", "--beta", "2", "--z0", "30"], {"weights": "depth", "beta": 2, "z0": 30, "threads": 3})])
def test_bytes_are_those_of_velkmtx(options, arguments):
    velko.make("mine.mtx", *INPUTS, topography="survey.topography", **arguments)
    assert pathlib.Path("mine.mtx").read_bytes() == bytes_by_velkmtx(*options)


def test_objects_do_as_well_as_files():
    mesh = velko.topography(velko.read_mesh("survey.mesh"), "survey.topography")
    made = velko.make("mine.mtx", mesh, velko.read_survey("survey.loc"))
    whole = pathlib.Path("mine.mtx").read_bytes()
    assert whole == bytes_by_velkmtx() and made.bytes == len(whole)
    assert made.least <= made.median <= made.most


def test_progress_goes_up_to_the_last_row(capfd):
    seen = []
    velko.make("a.mtx", *INPUTS, progress=lambda done, rows: seen.append((done, rows)))
    assert seen[-1] == (36, 36) and sorted(seen) == seen
    velko.make("a.mtx", *INPUTS, progress=True)
    assert "36/36" in capfd.readouterr().err


def test_exception_of_the_callback_ends_the_work_and_nothing_is_written():
    def fail(done, rows):
        raise RuntimeError("enough")

    with pytest.raises(RuntimeError, match="enough"):
        velko.make("a.mtx", *INPUTS, progress=fail)
    assert not [name for name in os.listdir() if name.startswith("a.mtx")]


def test_ctrl_c_ends_the_work_and_nothing_is_written():
    """The signal comes from the callback, so it comes during the work."""
    with pytest.raises(KeyboardInterrupt):
        velko.make("a.mtx", *INPUTS, progress=lambda done, rows: os.kill(os.getpid(), signal.SIGINT))
    assert not [name for name in os.listdir() if name.startswith("a.mtx")]
    assert velko.make("a.mtx", *INPUTS).cells == 2048


def test_ctrl_c_ends_products_and_leaves_the_operator_right():
    G = velko.open("survey.mtx")
    m = np.ones(G.shape[1])
    d = G @ m
    caught = threading.Event()

    def press():
        while not caught.wait(0.02):
            os.kill(os.getpid(), signal.SIGINT)

    thread = threading.Thread(target=press)
    try:
        thread.start()
        while True:
            G @ np.ones((G.shape[1], 200))
    except KeyboardInterrupt:
        caught.set()
    while True:  # one more may be on its way
        try:
            thread.join()
            break
        except KeyboardInterrupt:
            pass
    np.testing.assert_array_equal(G @ m, d)


def test_handler_of_python_stands_again_after_a_call():
    before = signal.getsignal(signal.SIGINT)
    seen = []
    signal.signal(signal.SIGINT, lambda *_: seen.append(1))
    try:
        velko.open("survey.mtx") @ np.ones(1057)
        os.kill(os.getpid(), signal.SIGINT)
        assert seen == [1]
    finally:
        signal.signal(signal.SIGINT, before)


def test_inputs_that_do_not_fit_are_refused():
    for wrong in ({"wavelet": "d5"}, {"tolerance": 2}, {"weights": "x"}, {"beta": -1}, {"z0": -1.0}, {"threads": -1},
                  {"accuracy": 0}, {"largest": -1}, {"accuracy": 1, "tolerance": 0.1}, {"dense": True, "accuracy": 1},
                  {"rows": range(0)}, {"rows": range(30, 37)}, {"rows": range(0, 9, 2)}, {"verify": -1}, {"note_every": -1}):
        with pytest.raises(ValueError):
            velko.make("a.mtx", *INPUTS, **wrong)
    all_air = velko.read_mesh("survey.mesh").with_surface(np.full((16, 16), 8))
    with pytest.raises(velko.Error, match="no cell of the mesh lies below the surface"):
        velko.make("a.mtx", all_air, "survey.loc")


def test_stations_in_the_ground_are_refused_unless_they_are_meant():
    survey = velko.Survey([50.0], [50], [0], 62, 4, 5e4)
    with pytest.raises(velko.FileError, match="1 of 1 data lie in or on a cell below the surface, the first is datum 1"):
        velko.make("a.mtx", "survey.mesh", survey)
    with pytest.warns(velko.LibraryWarning, match="1 of 1 data lie in or on a cell below the surface"):
        velko.make("a.mtx", "survey.mesh", survey, allow_buried=True)


def test_likely_mistakes_are_warned_of():
    with pytest.warns(velko.LibraryWarning, match="1 of 1 stations lie beside the mesh"):
        velko.make("a.mtx", "survey.mesh", velko.Survey([5000.0], [50], [60], 62, 4, 5e4))


def test_made_tells_what_velkmtx_tells():
    """Of rows, losses and trial models, beside its summary."""
    made = velko.make("mine.mtx", *INPUTS, topography="survey.topography", accuracy=2, largest=0.05, verify=7)
    assert made.written and made.bytes == os.path.getsize("mine.mtx")
    assert pathlib.Path("mine.mtx").read_bytes() == bytes_by_velkmtx("--accuracy", "2", "--largest", "0.05")
    said = said_by_velkmtx("make", *with_topography(), "theirs.mtx", "--accuracy", "2", "--largest", "0.05", "--verify", "7")
    for words in (f"{made.least} to {made.most} coefficients in a row, median {made.median}", "7 rows verified",
                  f"{made.off * 0.05:.3g} nT for models up to 0.05", f"relative error of a row {made.loss:.1e}",
                  f"weights {made.weights}, tolerance {made.tolerance:g}"):
        assert words in said
    for name, error in made.trials.items():
        assert f"{name} {100 * error:.2g} %" in said
    assert made.verified.rows == 7 and made.verified.beyond < 1e-6 and made.off * 0.05 <= 2
    assert (made.rows, made.cells, made.dense_bytes) == (36, 1057, 4 * 36 * 1057) and made.seconds > 0


def with_topography():
    return "survey.mesh", "survey.topography", "survey.loc"


def said_by_velkmtx(*arguments):
    velkmtx = pathlib.Path(os.environ["VELKO_BIN"]) / "velkmtx"
    return subprocess.run([velkmtx, *arguments], check=True, capture_output=True, text=True).stdout


def test_dry_run_writes_nothing_and_tells_what_would_come():
    before = set(os.listdir())
    tried = velko.make("a.mtx", *INPUTS, topography="survey.topography", tolerance=0.01, dry_run=True)
    assert set(os.listdir()) == before and not tried.written
    made = velko.make("a.mtx", *INPUTS, topography="survey.topography", tolerance=0.01)
    assert tried.rows > 0 and tried.memory > 1e6 and tried.bytes == pytest.approx(made.bytes, rel=0.2)
    assert tried.cells == made.cells and tried.wavelet == "d4"
    dense = velko.make("a.mtx", *INPUTS, dense=True, dry_run=True)
    assert dense.wavelet is None and dense.bytes == dense.dense_bytes + 16 * 2048


def test_joined_parts_have_the_bytes_of_one_run():
    stretches = {"c.mtx": range(30, 36), "a.mtx": range(0, 10), "b.mtx": range(10, 30)}
    for name, rows in stretches.items():
        assert velko.make(name, *INPUTS, topography="survey.topography", rows=rows).rows == len(rows)
    seen = []
    joined = velko.join("whole.mtx", stretches, progress=lambda done, rows: seen.append((done, rows)))
    assert joined.rows == 36 and seen[-1] == (36, 36)
    assert pathlib.Path("whole.mtx").read_bytes() == bytes_by_velkmtx()
    with pytest.raises(velko.FileError, match="b.mtx"):
        velko.join("twice.mtx", ["a.mtx", "b.mtx", "b.mtx", "c.mtx"])
    assert not os.path.exists("twice.mtx")


def test_run_that_ended_is_resumed_where_it_stood():
    x, y = (n.ravel() for n in np.mgrid[0:160:30j, 0:160:30j])
    survey = velko.Survey(x, y, np.full(x.size, 60.0), 62, 4, 5e4)
    options = {"tolerance": 0.01, "resume": True, "note_every": 0.0}

    def end_behind_a_note(done, rows):
        assert done < rows
        if os.path.exists("a.mtx.notes"):
            raise RuntimeError("the machine fails")

    with pytest.raises(RuntimeError, match="the machine fails"):
        velko.make("a.mtx", "survey.mesh", survey, progress=end_behind_a_note, **options)
    assert os.path.exists("a.mtx.unfinished") and not os.path.exists("a.mtx")
    assert 0 < velko.make("a.mtx", "survey.mesh", survey, **options).rows < x.size
    assert not [name for name in os.listdir() if name.startswith("a.mtx.")]
    velko.make("b.mtx", "survey.mesh", survey, tolerance=0.01)
    assert pathlib.Path("a.mtx").read_bytes() == pathlib.Path("b.mtx").read_bytes()


def test_check_tells_faults_and_the_survey_of_a_file():
    good = velko.check("survey.mtx", "survey.loc")
    assert good.good and good.has_provenance and good.memory > 0
    whole = bytearray(pathlib.Path("survey.mtx").read_bytes())
    whole[len(whole) // 2] ^= 1
    pathlib.Path("bad.mtx").write_bytes(whole)
    assert not velko.check("bad.mtx").good
    shifted = velko.read_locations("survey.loc")
    other = velko.check("survey.mtx", velko.Survey(shifted.x + 1, shifted.y, shifted.z, 62, 4, 5e4))
    assert other.faults == [] and other.differences and not other.good
    pathlib.Path("cut.mtx").write_bytes(bytes(whole[:500]))
    assert velko.check("cut.mtx").memory is None
    with pytest.raises(velko.FileError, match="not found"):
        velko.check("none.mtx")


def test_rows_of_the_caller_s_own():
    mesh, rng = velko.read_mesh("survey.mtx"), np.random.default_rng(3)
    rows, weights = rng.normal(size=(5, mesh.nbelow)).astype(np.float32), rng.uniform(1, 2, mesh.nbelow)
    velko.write_sensitivity("a.mtx", mesh, rows, weights=weights)
    G = velko.open("a.mtx")
    np.testing.assert_array_equal(G.unweighted.to_dense(), rows)
    np.testing.assert_array_equal(G.weights, weights)
    np.testing.assert_allclose(G.diagonal, (rows.astype(float) ** 2).sum(axis=0))
    assert G.mesh == mesh
    for wrong in ({"rows": rows[:, 1:]}, {"rows": rows, "weights": weights[1:]}, {"rows": rows, "filter": "haar"},
                  {"rows": scipy.sparse.csr_matrix(rows)}, {"rows": scipy.sparse.csr_matrix(rows), "filter": "haar"},
                  {"rows": scipy.sparse.csr_matrix((1, 27)), "filter": "haar", "cube": (3, 3, 3)}):
        with pytest.raises(ValueError):
            velko.write_sensitivity("a.mtx", mesh, **wrong)


def test_sparse_rows_of_the_caller_s_own_pass_the_check():
    G = velko.open("survey.mtx")
    velko.write_sensitivity("a.mtx", G.mesh, G.to_scipy(), weights=G.weights, filter=G.filter, diagonal=G.diagonal)
    said = subprocess.run([pathlib.Path(os.environ["VELKO_BIN"]) / "velkmtx", "check", "a.mtx"], check=True, capture_output=True,
                          text=True).stdout
    assert said.startswith("a.mtx: no faults")
