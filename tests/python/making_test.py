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
    for wrong in ({"wavelet": "d5"}, {"tolerance": 2}, {"weights": "x"}, {"beta": -1}, {"z0": -1.0}, {"threads": -1}):
        with pytest.raises(ValueError):
            velko.make("a.mtx", *INPUTS, **wrong)
    all_air = velko.read_mesh("survey.mesh").with_surface(np.full((16, 16), 8))
    with pytest.raises(velko.Error, match="no cell of the mesh lies below the surface"):
        velko.make("a.mtx", all_air, "survey.loc")


def test_data_in_the_ground_are_warned_of():
    survey = velko.Survey([50.0], [50], [0], 62, 4, 5e4)
    with pytest.warns(velko.LibraryWarning, match="1 of 1 data lie in or on a cell below the surface"):
        velko.make("a.mtx", "survey.mesh", survey)


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
