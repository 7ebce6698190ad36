"""The measurements of benchmarks/whole_run: whole commands, the parts of a run, and how both stand to the ratios that
velkrund aims at; a table of each and a picture. Usage: whole_run.py FOLDER MiB..."""
import os
import sys
from typing import NamedTuple

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt

import parts_of_a_run
import whole_commands


class Aim(NamedTuple):
    """`ours` at most `most` times `reference`, in the same unit."""
    what: str
    ours: float
    reference: float
    most: float

    def ratio(self):
        return self.ours / self.reference

    def within(self):
        return self.ratio() <= self.most


def at_least(what, times_faster, ours, reference):
    return Aim(what, ours, reference, 1 / times_faster)


def aims_of_runs(runs, size, cube_bytes, dense):
    time = {name: result.median for name, result in runs.items()}
    what = f"{size:.0f} MiB{' dense' if dense else ''}"
    allowed = 1.02 * size + 4 * cube_bytes / 2**20 + 64
    yield Aim(f"{what}: load / read into huge pages", time["its load alone"], time["read into fresh huge pages"], 1.25)
    yield Aim(f"{what}: cold load / cat", time["its load alone, cold"], time["cat, cold"], 1.1)
    yield Aim(f"{what}: peak memory / allowed", runs["velkrund"].peak, allowed, 1)
    if not dense:
        yield at_least(f"{what}: whole run / Fortran", 4, time["velkrund"], time["Fortran program"])


def aims_of_products(rows, dense, scatter):
    for cube in parts_of_a_run.CUBES:
        at = lambda name: rows[f"{cube}/{name}"]
        best_peer = min(at("CSR"), at("Eigen"), at("SciPy"))
        yield at_least(f"product, cube {cube}: / parallel pass", 0.7, at("CALC_GV"), at("parallel_pass"))
        yield at_least(f"product, cube {cube}: / best CSR", 1.5, at("CALC_GV"), best_peer)
        yield Aim(f"adjoint, cube {cube}: / forward", at("CALC_GTV"), at("CALC_GV"), 1.5)
        yield Aim(f"normal, cube {cube}: / forward", at("CALC_GTGV_1LOOP"), at("CALC_GV"), 1.7)
    matrix = "30000/2000"
    yield at_least("dense product / parallel pass", 0.9, dense[f"BM_CALC_FULL_GV/{matrix}"],
                   dense[f"BM_read_the_dense_matrix/{matrix}"])
    for name, most in (("adjoint", 1.5), ("normal", 1.7)):
        yield Aim(f"dense {name} / forward", scatter[f"BM_dense/{name}/{matrix}"], scatter[f"BM_dense/forward/{matrix}"], most)


def aims_of_transform(transform):
    for coefficients in (4, 8, 12):
        at = lambda name: transform[f"{name}/128/256/256/{coefficients}"]
        yield at_least(f"WTN, {coefficients}: / GSL", 5, at("BM_WTN/avx2"), at("BM_GSL_lines"))
        yield at_least(f"WTN, {coefficients}: / PyWavelets", 5, at("BM_WTN/avx2"), at("PyWavelets"))
        yield Aim(f"WTN, {coefficients}: / three copies", at("BM_WTN/avx2"), at("BM_three_copies"), 3)


def aims_of_text(text):
    for i, form in enumerate(("%.4f", "%.6E", "%.18e")):
        ours = text[f"BM_read_model/{i}"]
        yield at_least(f"model {form} / Fortran", 10, ours, text[f"BM_model_Fortran/{i}"])
        yield Aim(f"model {form} / fast_float", ours, text[f"BM_model_fast_float/{i}"], 1.5)
    yield at_least("locations / Fortran", 10, text["BM_read_data_file/3"], text["BM_data_Fortran"])
    yield Aim("locations / fast_float", text["BM_read_data_file/3"], text["BM_data_fast_float/3"], 1.5)
    yield at_least("predicted data / Fortran", 10, text["BM_write_predicted_data"], text["BM_write_Fortran"])
    yield Aim("predicted data / fmt", text["BM_write_predicted_data"], text["BM_write_fmt"], 1.5)


def table_of_runs(problems):
    yield f"{'MiB':>6}  {'':28}{'median s':>9}{'best s':>8}{'/ velkrund':>11}{'peak MiB':>10}"
    for (_, dense), (runs, size) in problems.items():
        for name, (median, best, peak) in runs.items():
            reference = runs["velkrund, cold" if name.endswith("cold") else "velkrund"].median
            form = " dense" if dense else ""
            yield f"{size:6.0f}  {name + form:28}{median:9.3f}{best:8.3f}{median / reference:11.2f}{peak:10.0f}"


def table_of_parts(parts):
    for part, times in parts.items():
        yield f"{part}, median ms"
        for name, ms in times.items():
            yield f"  {name:44}{ms:10.2f}"


def table_of_aims(aims):
    yield f"{'':44}{'ratio':>8}{'at most':>9}"
    for aim in aims:
        yield f"{aim.what:44}{aim.ratio():8.3f}{aim.most:9.3f}  {'' if aim.within() else 'missed'}".rstrip()


def draw(name, problems, aims):
    figure, (left, right) = plt.subplots(1, 2, figsize=(14, 9), layout="constrained")
    compressed = [problem for (_, dense), problem in problems.items() if not dense]
    for command in compressed[0][0]:
        left.plot([size for _, size in compressed], [runs[command].median for runs, _ in compressed], "o-", label=command)
    left.set(xscale="log", yscale="log", xlabel="size of G (MiB)", ylabel="median time (s)",
             title="Whole runs, rows of a real survey")
    left.grid(alpha=0.3)
    left.legend(fontsize=8)
    right.barh([aim.what for aim in aims], [aim.ratio() / aim.most for aim in aims],
               color=["tab:blue" if aim.within() else "tab:red" for aim in aims])
    right.axvline(1, color="black", linewidth=1)
    right.set(xscale="log", xlabel="ratio / what it may be", title="Ratios: to the left of the line is within the aim")
    right.invert_yaxis()
    right.tick_params(axis="y", labelsize=8)
    right.grid(axis="x", alpha=0.3)
    figure.savefig(name, dpi=110)


def main():
    folder, sizes = os.path.abspath(sys.argv[1]), [int(argument) for argument in sys.argv[2:]]
    problems = {(mebibytes, dense): whole_commands.measure(folder, mebibytes, dense)
                for mebibytes, dense in [(size, False) for size in sizes] + [(min(1024, max(sizes)), True)]}
    parts = parts_of_a_run.all_parts()
    aims = [aim for (_, dense), (runs, size) in problems.items()
            for aim in aims_of_runs(runs, size, 0 if dense else 8 * 2**20, dense)]
    aims += [*aims_of_products(parts["rows"], parts["dense"], parts["dense scatter"]),
             *aims_of_transform(parts["transform"]), *aims_of_text(parts["text"])]
    text = "\n".join([*table_of_runs(problems), "", *table_of_parts(parts), "", *table_of_aims(aims)]) + "\n"
    print(text, end="")
    with open(os.path.join(folder, "whole_run.txt"), "w") as out:
        out.write(text)
    draw(os.path.join(folder, "whole_run.png"), problems, aims)


if __name__ == "__main__":
    main()
