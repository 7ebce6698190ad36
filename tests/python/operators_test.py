"""G as a linear operator: SciPy's rules, velkrund's bits, threads, processes, and an operator that is closed."""

import gc
import multiprocessing
import os
import pathlib
import pickle
import signal
import subprocess
import sys
import threading

import numpy as np
import pytest
import scipy.sparse.linalg
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import velko

FILES = ["survey.mtx", "dense.mtx"]
SEEDED = settings(max_examples=20, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
BOTH = pytest.mark.parametrize("name", FILES)


@pytest.fixture
def rng():
    return np.random.default_rng(7)


def kinds(G, rng):
    """The operator and its kin."""
    return [G, G.unweighted, G.scaled(rng.uniform(1, 2, G.shape[0])), G.restrict(rng.uniform(size=G.shape[1]) < 0.3),
            G.unweighted.restrict(G.mesh.below).scaled(3.0)]


def records_of(name):
    """Payloads, as the format has them: a length on either side."""
    contents, at = pathlib.Path(name).read_bytes(), 0
    while at < len(contents):
        (length,) = np.frombuffer(contents, "<i4", 1, at)
        yield contents[at + 4 : at + 4 + length]
        at += length + 8


@BOTH
def test_operator_has_what_its_file_holds(name):
    G = velko.open(name)
    header, edges, surface, filter, cube, weights, *rows = records_of(name)
    ndata, ncol, ny, nx, nz = np.frombuffer(header, "<i4")
    assert (G.shape, G.dtype, G.mesh.shape) == ((ndata, ncol), np.float64, (ny, nx, nz))
    y, x, depth, top = np.split(np.frombuffer(edges, "<f8"), np.cumsum([ny + 1, nx + 1, nz + 1]))
    for found, expected in ((G.mesh.y, y), (G.mesh.x, x), (G.mesh.depth, depth), (G.mesh.z, top - depth),
                            (G.surface, np.frombuffer(surface, "<i4").reshape(nx, ny).T), (G.filter, np.frombuffer(filter[4:], "<f8")),
                            (G.cube, np.frombuffer(cube, "<i4")), (G.weights, np.frombuffer(weights[4:], "<f8")),
                            (G.diagonal, np.frombuffer(rows[ndata], "<f8"))):
        np.testing.assert_array_equal(found, expected)
    assert G.compressed == (len(filter) > 4)
    for n in range(ndata):
        if G.compressed:
            (nnz,) = np.frombuffer(rows[n], "<i4", 1)
            positions, values = G.stored_row(n)
            np.testing.assert_array_equal(positions, np.frombuffer(rows[n], "<i4", nnz, 4))
            np.testing.assert_array_equal(values, np.frombuffer(rows[n], "<f4", nnz, 4 + 4 * nnz))
        else:
            np.testing.assert_array_equal(G.stored_row(n), np.frombuffer(rows[n], "<f4"))


@BOTH
def test_products_have_the_bits_of_velkrund(name, rng):
    """Read from its file, to the digits that it writes: velkrund reads the model from a file, and weights it."""
    G = velko.open(name)
    mesh, survey = G.mesh, velko.read_locations("survey.loc")
    for n in range(5):
        m = rng.uniform(-1, 1, G.shape[1])
        velko.write_model("m.sus", m, mesh)
        subprocess.run([pathlib.Path(os.environ["VELKO_BIN"]) / "velkrund", name, "survey.loc", "m.sus"], check=True,
                       stdout=subprocess.DEVNULL)
        velko.write_predicted("mine.vlk", survey, G @ m)
        assert pathlib.Path("mine.vlk").read_bytes() == pathlib.Path("velkrund.vlk").read_bytes()


@BOTH
def test_every_form_of_a_product_agrees_with_the_dense_matrix(name, rng):
    for A in kinds(velko.open(name), rng):
        D = A.to_dense()
        m, d = rng.normal(size=A.shape[1]), rng.normal(size=A.shape[0])
        M, E = rng.normal(size=(A.shape[1], 5)), rng.normal(size=(A.shape[0], 3))
        for found, expected in ((A @ m, D @ m), (A.T @ d, D.T @ d), (A.H @ d, D.T @ d), (A @ M, D @ M), (A.T @ E, D.T @ E),
                                (A.normal(m), D.T @ (D @ m)), (A.T.T @ m, D @ m), (A.row(3), D[3]), (A.row(-1), D[-1]),
                                (A.matvec(m[:, None])[:, 0], D @ m), ((2 * A) @ m, 2 * (D @ m)), ((A.T @ A) @ m, D.T @ (D @ m))):
            np.testing.assert_allclose(found, expected, rtol=1e-9, atol=1e-9 * np.abs(expected).max())


@BOTH
@SEEDED
@given(st.integers(0, 2**32 - 1))
def test_adjoint_is_the_transpose(name, seed):
    rng = np.random.default_rng(seed)
    for A in kinds(velko.open(name), rng):
        m, d = rng.normal(size=A.shape[1]), rng.normal(size=A.shape[0])
        Am, ATd = A @ m, A.T @ d
        assert abs(Am @ d - m @ ATd) <= 1e-11 * np.linalg.norm(Am) * np.linalg.norm(d)


@BOTH
def test_each_column_of_a_block_has_the_bits_that_it_has_alone(name, rng):
    G = velko.open(name)
    M, D = rng.normal(size=(G.shape[1], 7)), rng.normal(size=(G.shape[0], 7))
    unaligned = np.frombuffer(b"." + M.tobytes(), np.uint8)[1:].view(float).reshape(M.shape)
    wide = rng.normal(size=(G.shape[1], 20))
    for A, X in ((G, M), (G.T, D), (G, np.asfortranarray(M)), (G, M[:, ::2]), (G, M[:, ::-1]), (G, wide), (G, M.astype(np.float32)),
                 (G, unaligned), (G.unweighted, M), (G.unweighted, np.asfortranarray(M)), (G.T, np.asfortranarray(D)), (G.T, D[:, ::-2]),
                 (G.unweighted.T, D), (G.restrict(G.mesh.below), M), (G.scaled(3.0), M)):
        product = A @ X
        assert product.shape == (A.shape[0], X.shape[1])
        for n in range(X.shape[1]):
            np.testing.assert_array_equal(product[:, n], A @ np.ascontiguousarray(X[:, n]))
    np.testing.assert_array_equal(G @ M[::-1, 0], G @ np.ascontiguousarray(M[::-1, 0]))
    assert (G @ np.empty((G.shape[1], 0))).shape == (G.shape[0], 0)


def test_solvers_of_scipy_take_it_as_it_is(rng):
    G = velko.open("survey.mtx")
    d = G @ rng.uniform(0, 0.05, G.shape[1])
    for solve in (scipy.sparse.linalg.lsqr, scipy.sparse.linalg.lsmr):
        assert np.linalg.norm(G @ solve(G, d)[0] - d) < 1e-3 * np.linalg.norm(d)
    singular = scipy.sparse.linalg.svds(G, k=3, return_singular_vectors=False, random_state=0)
    np.testing.assert_allclose(np.sort(singular)[::-1], np.linalg.svd(G.to_dense(), compute_uv=False)[:3], rtol=1e-6)


def test_what_does_not_fit_is_refused(rng):
    G = velko.open("survey.mtx")
    for wrong in (np.zeros(5), np.zeros((5, 2)), np.zeros((2, 2, 2))):
        with pytest.raises(ValueError):
            G @ wrong
    with pytest.raises(TypeError, match="G is real"):
        G @ (1j * np.ones(G.shape[1]))
    with pytest.raises(ValueError, match="active cells have shape"):
        G.restrict(np.ones(3, bool))
    with pytest.raises(ValueError, match="no cell is active"):
        G.restrict(np.zeros(G.shape[1], bool))
    with pytest.raises(ValueError, match="not above 0"):
        G.scaled(0.0)
    with pytest.raises(IndexError):
        G.row(36)
    with pytest.raises(ValueError, match="a dense G has no sparse rows"):
        velko.open("dense.mtx").to_scipy()


def test_restricted_models_are_zero_elsewhere(rng):
    G = velko.open("survey.mtx")
    active = np.where(rng.uniform(size=G.mesh.shape) < 0.5, 1, -1)
    A = G.restrict(active)
    m = rng.normal(size=A.shape[1])
    np.testing.assert_array_equal(A @ m, G @ G.vector(A.array(m)))
    np.testing.assert_array_equal(A.vector(A.array(m)), m)
    once_more = A.restrict(np.arange(A.shape[1]) % 2 == 0)
    np.testing.assert_array_equal(once_more @ m[::2], A @ np.where(np.arange(m.size) % 2 == 0, m, 0))


def test_arrays_are_no_copies_and_read_only():
    G = velko.open("survey.mtx")
    for array in (G.weights, G.diagonal, G.filter, *G.stored_row(0)):
        assert not array.flags.owndata and not array.flags.writeable
    assert G.weights.ctypes.data == G.weights.ctypes.data
    norms = [np.linalg.norm(G.unweighted.to_dense(), axis=0) ** 2]
    np.testing.assert_allclose(G.diagonal, norms[0], rtol=1e-6)


def mapped(name):
    return os.path.abspath(name) in pathlib.Path("/proc/self/maps").read_text()


def test_closed_operators_say_so_and_the_mapping_is_gone():
    G = velko.open("survey.mtx")
    kin, transpose = G.unweighted, G.T
    assert mapped("survey.mtx")
    with G:
        values = G.stored_row(0)[1]
        first = values[0]
    assert G.closed and kin.closed
    assert mapped("survey.mtx") and values[0] == first  # an array that was taken lives on
    del values
    gc.collect()
    assert not mapped("survey.mtx")
    for use in (lambda: G @ np.zeros(1057), lambda: kin @ np.zeros(1057), lambda: transpose @ np.zeros(36), lambda: G.mesh,
                lambda: G.__enter__()):
        with pytest.raises(ValueError, match="survey.mtx is closed"):
            use()


def test_a_second_problem_lives_beside_the_first(rng):
    G, H = (velko.open(name) for name in FILES)
    m = rng.normal(size=G.shape[1])
    g, h = G @ m, H @ m
    for _ in range(3):
        np.testing.assert_array_equal(G @ m, g)
        np.testing.assert_array_equal(H @ m, h)
    assert 0 < np.linalg.norm(g - h) < 0.05 * np.linalg.norm(h)


def test_two_operators_in_two_threads_are_right(rng):
    operators = [velko.open(name) for name in FILES]
    models = [rng.normal(size=G.shape[1]) for G in operators]
    expected = [(G @ m, G.T @ (G @ m)) for G, m in zip(operators, models)]
    wrong = []

    def work(G, m, right):
        for _ in range(100):
            if not (np.array_equal(G @ m, right[0]) and np.allclose(G.T @ right[0], right[1], rtol=1e-12)):
                wrong.append(G)

    threads = [threading.Thread(target=work, args=each) for each in list(zip(operators, models, expected)) * 2]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []


def product_in_a_child(G, m, results):
    results.put(G @ m)


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_processes_get_the_same_bits(method, rng):
    G = velko.open("survey.mtx")
    m = rng.normal(size=G.shape[1])
    d = G @ m  # the threads of OpenMP have run before the fork
    context = multiprocessing.get_context(method)
    results = context.Queue()
    children = [context.Process(target=product_in_a_child, args=(G, m, results)) for _ in range(2)]
    for child in children:
        child.start()
    for _ in children:
        np.testing.assert_array_equal(results.get(timeout=60), d)
    for child in children:
        child.join(60)
        assert child.exitcode == 0
    np.testing.assert_array_equal(G @ m, d)


def test_fork_waits_for_a_product_of_another_thread(rng):
    G = velko.open("survey.mtx")
    m = rng.normal(size=G.shape[1])
    d, done = G @ m, threading.Event()

    def work():
        while not done.is_set():
            G @ m

    thread = threading.Thread(target=work)
    thread.start()
    for _ in range(20):
        child = os.fork()
        if child == 0:
            os._exit(0 if np.array_equal(G @ m, d) else 1)
        assert os.waitpid(child, 0)[1] == 0
    done.set()
    thread.join()


def test_operators_are_pickled_by_the_name_of_their_file(rng):
    A = velko.open("survey.mtx").restrict(np.arange(1057) % 3 == 0).scaled(2.0)
    m = rng.normal(size=A.shape[1])
    np.testing.assert_array_equal(pickle.loads(pickle.dumps(A)) @ m, A @ m)


def test_flush_to_zero_is_the_call_s_own():
    tiny = np.array([1e-310])
    velko.open("survey.mtx") @ np.ones(1057)
    assert (tiny * 1.0)[0] == 1e-310 and (tiny / 2)[0] > 0


def test_interpreter_is_free_during_a_product():
    """A thread counts while products run; if they held the interpreter it could not."""
    program = """if True:
        import threading, time, numpy, velko
        G = velko.open("survey.mtx")
        M = numpy.ones((1057, 3000))
        during, running = 0, threading.Event()
        def count():
            global during
            running.wait()
            while running.is_set():
                during += 1
                time.sleep(0)
        thread = threading.Thread(target=count)
        thread.start()
        _ = G @ numpy.ones(1057)
        running.set()
        before = during
        G @ M
        counted = during - before
        running.clear()
        thread.join()
        print(counted)
    """
    done = subprocess.run([sys.executable, "-B", "-c", program], capture_output=True, text=True, check=True)
    assert int(done.stdout) > 10


def test_file_that_is_changed_under_an_operator_is_told():
    G = velko.open("survey.mtx")
    os.truncate("survey.mtx", 4096)
    with pytest.raises(velko.FileError, match="ERROR reading sensitivity file survey.mtx"):
        G @ np.ones(1057)
