"""Makes a sensitivity file of a given size with its location file and model, to time whole runs with: rows as velkmtx makes
them for a survey over 128 x 128 x 64 cells, or 64 x 64 x 32 where G is dense, repeated until the size is reached.
Usage: make_large_survey.py VELKMTX FOLDER [MiB] [dense]"""
import os
import subprocess
import sys

import numpy as np

CELLS = {False: (128, 128, 64), True: (64, 64, 32)}  # dense or not: along x, y, z
STATIONS = 20  # along each side: so many squared are the rows that differ
WIDTH, HEIGHT = 25.0, 12.5


def write_mesh(name, cells):
    nx, ny, nz = cells
    with open(name, "w") as out:
        out.write(f"{nx} {ny} {nz}\n0 0 0\n{nx}*{WIDTH}\n{ny}*{WIDTH}\n{nz}*{HEIGHT}\n")


def write_locations(name, cells, count):
    """So many data, over the same stations again and again."""
    step = (cells[0] * WIDTH - 200.0) / (STATIONS - 1)
    axis = [100.0 + step * i for i in range(STATIONS)]
    lines = ["%.3f %.3f 30.0\n" % (x, y) for y in axis for x in axis]
    repeats, rest = divmod(count, len(lines))
    with open(name, "w") as out:
        out.write("65.0 -12.5 54321.0\n65.0 -12.5 1\n%d\n" % count)
        out.writelines(lines * repeats + lines[:rest])


def write_model(name, cells):
    rng = np.random.default_rng(7)
    np.savetxt(name, rng.random(np.prod(cells)) * 0.05, fmt="%.6f")


def read_records(name):
    """The file's records, framing words included."""
    data = open(name, "rb").read()
    records, at = [], 0
    while at < len(data):
        length = 8 + int.from_bytes(data[at:at + 4], "little")
        records.append(data[at:at + length])
        at += length
    return records


def repeat_rows(source, target, size):
    """Writes `source` with its rows repeated in their order until `target` has the size; gives their number."""
    records = read_records(source)  # behind gdiag: the provenance of the source, which the target has not
    ndata = int.from_bytes(records[0][4:8], "little")
    head, rows, gdiag = records[:6], records[6:6 + ndata], records[6 + ndata]
    count = size // (sum(map(len, rows)) // len(rows))
    sizes = np.frombuffer(head[0][4:-4], dtype="<i4").copy()
    sizes[0] = count
    head[0] = head[0][:4] + sizes.tobytes() + head[0][-4:]
    whole = b"".join(rows)
    repeats, rest = divmod(count, len(rows))
    with open(target, "wb") as out:
        out.write(b"".join(head))
        for _ in range(repeats):
            out.write(whole)
        out.write(b"".join(rows[:rest]) + gdiag)
    return count


def main():
    velkmtx, folder = sys.argv[1], sys.argv[2]
    mebibytes = int(sys.argv[3]) if len(sys.argv) > 3 else 1024
    dense = "dense" in sys.argv[4:]
    cells = CELLS[dense]
    form = ["--dense"] if dense else ["--wavelet", "d4", "--tolerance", "1e-2"]
    os.makedirs(folder, exist_ok=True)
    at = lambda name: os.path.join(folder, name)
    few = os.path.join(os.path.dirname(folder), "few_dense_rows.mtx" if dense else "few_rows.mtx")  # serves every size
    if not os.path.exists(few):
        write_mesh(at("survey.mesh"), cells)
        write_locations(at("few.loc"), cells, STATIONS**2)
        subprocess.run([velkmtx, "make", at("survey.mesh"), "null", at("few.loc"), few, *form], check=True)
    count = repeat_rows(few, at("velkosta.mtx"), mebibytes << 20)
    write_locations(at("locations.loc"), cells, count)
    write_model(at("model.sus"), cells)


if __name__ == "__main__":
    main()
