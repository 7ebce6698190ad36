"""Times SciPy's product of a matrix in compressed rows, on one thread: the rows of sensitivity files, each repeated to
VELKO_BENCH_MIB (256) of r4 values and positions. SciPy wants values of the vector's type. Usage: scipy_csr.py FILE..."""
import os
import statistics
import sys
import time

import numpy as np
from scipy.sparse import csr_matrix

from make_large_survey import read_records


def rows_of(records):
    for record in records[6:-1]:
        count = int.from_bytes(record[4:8], "little")
        yield (np.frombuffer(record, dtype="<i4", count=count, offset=8) - 1,
               np.frombuffer(record, dtype="<f4", count=count, offset=8 + 4 * count).astype(float))


def matrix(name, wanted_bytes):
    records = read_records(name)
    columns = int(np.prod(np.frombuffer(records[4], dtype="<i4")[1:4]))
    idx, val = zip(*rows_of(records))
    turns = -(-wanted_bytes // (8 * sum(map(len, idx))))
    first = np.concatenate([[0], np.cumsum(np.tile([len(row) for row in idx], turns))])
    return csr_matrix((np.tile(np.concatenate(val), turns), np.tile(np.concatenate(idx), turns), first),
                      shape=(len(first) - 1, columns))


def main():
    wanted = int(os.environ.get("VELKO_BENCH_MIB", "256")) << 20
    for name in sys.argv[1:]:
        G = matrix(name, wanted)
        cube = np.random.default_rng(1).uniform(-1, 1, G.shape[1])
        seconds = []
        for _ in range(7):
            start = time.monotonic()
            G @ cube
            seconds.append(time.monotonic() - start)
        print(f"SciPy {os.path.basename(name)}  {1e3 * statistics.median(seconds):.1f} ms")


if __name__ == "__main__":
    main()
