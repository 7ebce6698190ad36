#!/usr/bin/env python3
"""Says how far one file of predicted data is from another, taken as the reference.

    compare_predictions.py FILE REFERENCE

Both files have the layout of velkrund.vlk and the same stations.
"""

import math
import sys


def predicted(name):
    with open(name) as lines:
        data = list(lines)[3:]
    return [float(line.split()[-1]) for line in data]


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    values, reference = (predicted(name) for name in sys.argv[1:])
    if len(values) != len(reference):
        sys.exit(f"{len(values)} data against {len(reference)}")
    apart = [a - b for a, b in zip(values, reference)]
    relative = math.hypot(*apart) / math.hypot(*reference)
    print(f"data from {min(reference):.1f} to {max(reference):.1f} nT; "
          f"relative difference {relative:.1e} (2-norm), largest {max(map(abs, apart)):.2f} nT")


if __name__ == "__main__":
    main()
