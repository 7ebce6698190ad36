"""Times PyWavelets' fully separable transform of a cube, on one thread, with the levels of WTN: a dimension of n goes through
steps of n, n/2, ..., 4. Usage: pywavelets.py [NZ NX NY]"""
import statistics
import sys
import time

import numpy as np
import pywt


def main():
    shape = [int(n) for n in sys.argv[1:]] or [128, 256, 256]
    cube = np.random.default_rng(1).uniform(-1, 1, shape[::-1])  # last index fastest here
    levels = [n.bit_length() - 2 for n in cube.shape]
    for coefficients in (4, 8, 12):
        seconds = []
        for _ in range(5):
            start = time.process_time()
            pywt.fswavedecn(cube, f"db{coefficients // 2}", mode="periodization", levels=levels)
            seconds.append(time.process_time() - start)
        print(f"PyWavelets {'/'.join(map(str, shape))}/{coefficients}  {1e3 * statistics.median(seconds):.0f} ms")


if __name__ == "__main__":
    main()
