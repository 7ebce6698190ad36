#!/usr/bin/env python3
"""Says how far one file of predicted data is from another, taken as the reference.

    compare_predictions.py FILE REFERENCE LIMIT

Both files have the layout of velkrund.vlk and the same stations. The exit status is 0 when the relative difference, in
the 2-norm, is at most LIMIT.
"""

import math
import sys


def predicted(name):
    with open(name) as lines:
        data = list(lines)[3:]
    return [float(line.split()[-1]) for line in data]


def relative_difference(apart, reference):
    """Against a reference of zeros every difference is infinitely large."""
    size, norm = math.hypot(*apart), math.hypot(*reference)
    if norm == 0.0:
        return math.inf if size > 0.0 else size
    return size / norm


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    values, reference = (predicted(name) for name in sys.argv[1:3])
    limit = float(sys.argv[3])
    if len(values) != len(reference):
        sys.exit(f"{sys.argv[1]} has {len(values)} data, {sys.argv[2]} has {len(reference)}")
    if not reference:
        sys.exit(f"{sys.argv[2]} has no data")
    apart = [a - b for a, b in zip(values, reference)]
    relative = relative_difference(apart, reference)
    print(f"data from {min(reference):.1f} to {max(reference):.1f} nT; "
          f"relative difference {relative:.1e} (2-norm), largest difference {max(map(abs, apart)):.2f} nT")
    if not relative <= limit:  # true for a NaN too
        sys.exit(f"the relative difference {relative:.1e} is above the limit of {limit:g}")


if __name__ == "__main__":
    main()
