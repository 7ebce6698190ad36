#!/usr/bin/env python3
"""Makes observed data of predicted ones: adds normally distributed noise and writes its standard deviations.

    add_noise.py PREDICTED OBSERVED [--part 0.02] [--floor 1] [--seed 1]

The standard deviation of a datum is PART times its size plus FLOOR, in the unit of the data. PREDICTED has the layout
of velkrund.vlk; OBSERVED is a data file with an observed value and a standard deviation on each line.
"""

import argparse
import pathlib
import random


def with_noise(line, part, floor, generator):
    *position, value = line.split()
    value = float(value)
    deviation = part * abs(value) + floor
    return " ".join(position + [f"{generator.gauss(value, deviation):.6e}", f"{deviation:.6e}"])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("predicted", type=pathlib.Path)
    parser.add_argument("observed", type=pathlib.Path)
    parser.add_argument("--part", type=float, default=0.02)
    parser.add_argument("--floor", type=float, default=1.0)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    generator = random.Random(options.seed)
    lines = options.predicted.read_text().splitlines()
    noisy = [with_noise(line, options.part, options.floor, generator) for line in lines[3:]]
    options.observed.write_text("\n".join(lines[:3] + noisy) + "\n")


if __name__ == "__main__":
    main()
