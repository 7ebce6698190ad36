"""Whole commands in turn: velkrund, its load alone, the Fortran program and what the machine can do with the same file."""
import os
import statistics
import subprocess
import sys
import time
from typing import NamedTuple

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.path.join(ROOT, "build", "release", "bin")
FILES = ["velkosta.mtx", "locations.loc", "model.sus"]


class Result(NamedTuple):
    median: float  # seconds
    best: float
    peak: float  # MiB


def commands(folder):
    """Name: command, threads, whether the file is dropped from the page cache before each run."""
    velkrund = [os.path.join(BIN, "velkrund"), *FILES]
    load = [os.path.join(BIN, "load_once"), FILES[0]]
    all_commands = {
        "velkrund": (velkrund, 2, False),
        "velkrund, one thread": (velkrund, 1, False),
        "its load alone": (load, 2, False),
        "cat FILE > /dev/null": (["cat", FILES[0]], 1, False),
        "read into fresh huge pages": ([os.path.join(BIN, "read_and_keep"), FILES[0]], 1, False),
        "Fortran program": ([os.path.join(folder, "forward_run"), *FILES], 2, False),
        "velkrund, cold": (velkrund, 2, True),
        "its load alone, cold": (load, 2, True),
        "cat, cold": (["cat", FILES[0]], 1, True),
    }
    if "VELKO_BEFORE" in os.environ:
        before = [os.environ["VELKO_BEFORE"], *FILES]
        all_commands["velkrund before"] = (before, 2, False)
        all_commands["velkrund before, cold"] = (before, 2, True)
    return all_commands


def turns(mebibytes):
    return 9 if mebibytes <= 1024 else 5


def drop_from_page_cache(name):
    with open(name, "rb+") as file:
        os.fdatasync(file.fileno())
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def timed(command, threads, where):
    """Seconds, and the peak memory in MiB."""
    start = time.monotonic()
    child = subprocess.Popen(command, cwd=where, stdout=subprocess.DEVNULL,
                             env={**os.environ, "OMP_NUM_THREADS": str(threads)})
    _, status, usage = os.wait4(child.pid, 0)
    seconds = time.monotonic() - start
    if status != 0:
        raise RuntimeError(f"{command[0]} ended with status {status}")
    return seconds, usage.ru_maxrss / 1024


def check_same_result(where):
    ours, peer = (open(os.path.join(where, name), "rb").read() for name in ("velkrund.vlk", "forward_run.out"))
    if [line[:51] for line in ours.splitlines()] != [line[:51] for line in peer.splitlines()]:
        raise RuntimeError("velkrund and its peer wrote different data")
    values = [(float(a.split()[-1]), float(b.split()[-1])) for a, b in zip(ours.splitlines()[3:], peer.splitlines()[3:])]
    largest = max(abs(b) for _, b in values)
    if max(abs(a - b) for a, b in values) > 1e-6 * largest:
        raise RuntimeError("velkrund and its peer disagree")


def make_input(where, mebibytes, dense):
    if not os.path.exists(os.path.join(where, "model.sus")):
        subprocess.run([sys.executable, os.path.join(ROOT, "benchmarks", "make_large_survey.py"),
                        os.path.join(BIN, "velkmtx"), where, str(mebibytes), *(["dense"] if dense else [])], check=True)


def measure(folder, mebibytes, dense):
    """The result of every command, by its name, and the size of the file in MiB."""
    where = os.path.join(folder, f"dense-{mebibytes}" if dense else str(mebibytes))
    make_input(where, mebibytes, dense)
    file = os.path.join(where, FILES[0])
    runs = {name: [] for name in commands(folder)}
    for turn in range(turns(mebibytes) + 1):
        for name, (command, threads, cold) in commands(folder).items():
            if cold:
                drop_from_page_cache(file)
            result = timed(command, threads, where)
            if turn > 0:  # the first turn fills the page cache
                runs[name].append(result)
        if turn == 0:
            check_same_result(where)
    return {name: Result(statistics.median(s for s, _ in of), min(s for s, _ in of), max(m for _, m in of))
            for name, of in runs.items()}, os.path.getsize(file) / 2**20
