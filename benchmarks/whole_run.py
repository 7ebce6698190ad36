"""The measurements of benchmarks/whole_run: commands in turn, medians, ratios to velkrund, a table and a picture.
Usage: whole_run.py FOLDER MiB..."""
import os
import statistics
import subprocess
import sys
import time

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.path.join(ROOT, "build", "release", "bin")
FILES = ["velkosta.mtx", "locations.loc", "model.sus"]


def commands(folder):
    """Name, command, whether the file is dropped from the page cache before each run."""
    velkrund = [os.path.join(BIN, "velkrund"), *FILES]
    return [("velkrund", velkrund, False),
            ("cat FILE > /dev/null", ["cat", FILES[0]], False),
            ("read into fresh huge pages", [os.path.join(BIN, "read_and_keep"), FILES[0]], False),
            ("Fortran program", [os.path.join(folder, "forward_run"), *FILES], False),
            ("velkrund, cold", velkrund, True),
            ("cat, cold", ["cat", FILES[0]], True)]


def turns(mebibytes):
    return 9 if mebibytes <= 1024 else 5


def drop_from_page_cache(name):
    with open(name, "rb+") as file:
        os.fdatasync(file.fileno())
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def timed(command, where):
    """Seconds, and the peak memory in MiB."""
    start = time.monotonic()
    child = subprocess.Popen(command, cwd=where, stdout=subprocess.DEVNULL)
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


def measure(folder, mebibytes):
    where = os.path.join(folder, str(mebibytes))
    if not os.path.exists(os.path.join(where, "model.sus")):
        subprocess.run([sys.executable, os.path.join(ROOT, "benchmarks", "make_large_survey.py"),
                        os.path.join(BIN, "velkmtx"), where, str(mebibytes)], check=True)
    file = os.path.join(where, FILES[0])
    runs = {name: [] for name, _, _ in commands(folder)}
    for turn in range(turns(mebibytes) + 1):
        for name, command, cold in commands(folder):
            if cold:
                drop_from_page_cache(file)
            result = timed(command, where)
            if turn > 0:  # the first turn fills the page cache
                runs[name].append(result)
        if turn == 0:
            check_same_result(where)
    return {name: (statistics.median(s for s, _ in of), min(s for s, _ in of), max(m for _, m in of))
            for name, of in runs.items()}, os.path.getsize(file) / 2**20


def rows(sizes, results):
    yield f"{'MiB':>6}  {'':28}{'median s':>9}{'best s':>8}{'/ velkrund':>11}{'peak MiB':>10}"
    for mebibytes in sizes:
        table, size = results[mebibytes]
        for name, (median, best, peak) in table.items():
            reference = table["velkrund, cold" if name.endswith("cold") else "velkrund"][0]
            yield f"{size:6.0f}  {name:28}{median:9.3f}{best:8.3f}{median / reference:11.2f}{peak:10.0f}"


def draw(name, sizes, results):
    figure, axes = plt.subplots(figsize=(7, 4.5), layout="constrained")
    for command in results[sizes[0]][0]:
        axes.plot([results[m][1] for m in sizes], [results[m][0][command][0] for m in sizes], "o-", label=command)
    axes.set(xscale="log", yscale="log", xlabel="size of G (MiB)", ylabel="median time (s)",
             title="Whole runs, rows of a real survey")
    axes.grid(alpha=0.3)
    axes.legend(fontsize=8)
    figure.savefig(name, dpi=120)


def main():
    folder, sizes = os.path.abspath(sys.argv[1]), [int(argument) for argument in sys.argv[2:]]
    results = {mebibytes: measure(folder, mebibytes) for mebibytes in sizes}
    table = "\n".join(rows(sizes, results)) + "\n"
    print(table, end="")
    with open(os.path.join(folder, "whole_run.txt"), "w") as out:
        out.write(table)
    draw(os.path.join(folder, "whole_run.png"), sizes, results)


if __name__ == "__main__":
    main()
