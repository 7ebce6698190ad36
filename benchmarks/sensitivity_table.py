"""What velkmtx make takes and what its files are worth, as a table: mesh x data x tolerance.

    /usr/bin/python3 benchmarks/sensitivity_table.py [FOLDER]        (default build/sensitivity_table)

Hills, a survey draped over them, two bodies. The error is that of velkrund's data with the compressed file against data
with a dense one, at 64 of the stations: a dense file for all would not fit. Everything is made below FOLDER; a file is
removed once it is measured.
"""
import math
import os
import re
import subprocess
import sys
import time

BIN = os.path.join(os.path.dirname(__file__), "..", "build", "release", "bin")
CASES = [  # cells along x, y, z; stations along x and y; options
    ((32, 32, 32), 32, "--tolerance 1e-2"),
    ((32, 32, 32), 32, "--tolerance 1e-3"),
    ((64, 64, 32), 48, "--tolerance 1e-2"),
    ((64, 64, 32), 48, "--tolerance 1e-3"),
    ((128, 128, 64), 64, "--tolerance 1e-2"),
    ((128, 128, 64), 64, "--tolerance 1e-3"),
    ((128, 128, 64), 64, "--tolerance 1e-3 --weights depth"),
    ((128, 128, 64), 64, "--tolerance 1e-3 --wavelet s8"),
]
WIDTH, HEIGHT, CLEARANCE = 25.0, 12.5, 30.0


def ground(x, y):
    return 60 * math.sin(x / 180) * math.cos(y / 150) - 60


def run(folder, program, *words):
    """Seconds and peak memory in bytes."""
    start = time.perf_counter()
    with open(os.path.join(folder, "run.log"), "w") as log:
        child = subprocess.Popen([os.path.join(BIN, program), *words], cwd=folder, stdout=log, stderr=log)
        _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        sys.exit(f"{program} {' '.join(words)}: {open(log.name).read()}")
    return time.perf_counter() - start, usage.ru_maxrss * 1024, usage.ru_utime


def write(folder, name, lines):
    with open(os.path.join(folder, name), "w") as out:
        out.write("\n".join(lines) + "\n")


def stations(extent, n):
    places = [extent * (p + 0.37) / n for p in range(n)]
    return [(x, y) for y in places for x in places]


def write_locations(folder, name, places):
    write(folder, name, ["62 4 50000", "62 4 1", str(len(places))] +
          [f"{x:.3f} {y:.3f} {ground(x, y) + CLEARANCE:.3f}" for x, y in places])


def write_inputs(folder, cells, n):
    nx, ny, nz = cells
    extent = WIDTH * nx
    write(folder, "mesh", [f"{nx} {ny} {nz}", "0 0 0", f"{nx}*{WIDTH}", f"{ny}*{WIDTH}", f"{nz}*{HEIGHT}"])
    grid = [-WIDTH + (extent + 2 * WIDTH) * p / 100 for p in range(101)]
    points = [(x + 1e-3 * math.sin(3 * y), y) for x in grid for y in grid]  # no four of them on a circle
    write(folder, "topo", [str(len(points))] + [f"{x:.6f} {y:.6f} {ground(x, y):.3f}" for x, y in points])
    places = stations(extent, n)
    write_locations(folder, "loc", places)
    write_locations(folder, "few.loc", places[:: len(places) // 64][:64])
    middle, deep = extent / 2, -HEIGHT * nz / 2
    run(folder, "velkmtx", "model", "mesh", "model", "--background", "0.0005",
        "--body", f"sphere {middle} {middle} {deep} {-deep / 2} 0.05",
        "--body", f"dyke {middle / 2} {middle} -80 20 60 {middle} 60 {middle / 2} 0.03")


def predicted(folder, matrix, locations):
    run(folder, "velkrund", matrix, locations, "model")
    with open(os.path.join(folder, "velkrund.vlk")) as file:
        rows = [line.split() for line in file.readlines()[3:]]
    return {(row[0], row[1]): float(row[3]) for row in rows}


def difference(compressed, dense):
    """Relative, in the 2-norm, at the stations of the dense one."""
    off = sum((compressed[place] - value) ** 2 for place, value in dense.items())
    return math.sqrt(off / sum(value**2 for value in dense.values()))


def measure(folder, cells, n, options, dense):
    seconds, memory, cpu = run(folder, "velkmtx", "make", "mesh", "topo", "loc", "g.mtx", *options.split())
    said = open(os.path.join(folder, "run.log")).read()
    ratio = said.split("compression ratio ")[1].split(";")[0]
    row = said.split("error of a row ")[1].split()[0]
    trials = said.split("errors of the data of trial models")[1].split("\n")[0]
    worst = max(float(word) for word in re.findall(r"([0-9.e+-]+) %", trials)) / 100
    size = os.path.getsize(os.path.join(folder, "g.mtx"))
    error = difference(predicted(folder, "g.mtx", "loc"), dense)
    os.remove(os.path.join(folder, "g.mtx"))
    print(f"| {' x '.join(map(str, cells))} | {n * n} | {options.replace('--', '')} | {ratio} | {error:.1e} | {row}, {worst:.1e} "
          f"| {size / 1e6:.0f} | {seconds:.0f} | {cpu:.0f} | {n * n / cpu:.0f} | {memory / 2**20:.0f} |", flush=True)


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join("build", "sensitivity_table")
    os.makedirs(folder, exist_ok=True)
    print("| mesh | data | options | compression ratio | error of the prediction | that of rows and the worst of trial models, as velkmtx tells | file, MB | s | CPU s "
          "| rows a second and core | peak memory, MiB |\n|---|---|---|---|---|---|---|---|---|---|---|")
    before, dense = None, None
    for cells, n, options in CASES:
        if (cells, n) != before:
            write_inputs(folder, cells, n)
            run(folder, "velkmtx", "make", "mesh", "topo", "few.loc", "few.mtx", "--dense")
            dense = predicted(folder, "few.mtx", "few.loc")
            os.remove(os.path.join(folder, "few.mtx"))
            before = (cells, n)
        measure(folder, cells, n, options, dense)


if __name__ == "__main__":
    main()
