"""Whether velkmtx check finds a flipped bit wherever it is, and tells of no fault where none is.

    flip_bits.py VELKMTX [EVERY]      flips one bit after the other, or every so manieth, of a small compressed, a dense file, and a part
"""

import pathlib
import subprocess
import sys
import tempfile

MESH = "3 3 4\n0 0 0\n3*10\n3*10\n4*5\n"
LOCATIONS = "62 -4 52000\n62 -4 1\n4\n5 5 8\n15 12 9\n25 20 7\n8 24 9\n"
FORMS = {"compressed": "--tolerance 0.05 --wavelet haar", "dense": "--dense", "a part": "--rows 2:3 --tolerance 0.05"}


def velkmtx(program, folder, *words):
    return subprocess.run([program, *words], cwd=folder, capture_output=True, text=True)


def missed_flips(program, folder, every):
    """(bits tried, those that were not found) of g.mtx."""
    file = folder / "g.mtx"
    good = file.read_bytes()
    bits = range(0, 8 * len(good), every)
    missed = []
    for bit in bits:
        bad = bytearray(good)
        bad[bit // 8] ^= 1 << bit % 8
        file.write_bytes(bad)
        if velkmtx(program, folder, "check", "g.mtx").returncode != 1:
            missed.append(bit)
    file.write_bytes(good)
    return len(bits), missed


def main():
    program, every = pathlib.Path(sys.argv[1]).resolve(), int(sys.argv[2]) if len(sys.argv) > 2 else 1
    faults = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "mesh").write_text(MESH)
        (folder / "loc").write_text(LOCATIONS)
        for form, options in FORMS.items():
            made = velkmtx(program, folder, "make", "mesh", "null", "loc", "g.mtx", *options.split())
            if made.returncode != 0 or velkmtx(program, folder, "check", "g.mtx").returncode != 0:
                sys.exit(f"{form}: {made.stderr or 'a good file has faults'}")
            tried, missed = missed_flips(program, folder, every)
            size = (folder / "g.mtx").stat().st_size
            print(f"{form}, {size} bytes: {tried} bits flipped one by one, {tried - len(missed)} found; missed {missed[:8]}")
            faults += len(missed)
    sys.exit(faults != 0)


if __name__ == "__main__":
    main()
