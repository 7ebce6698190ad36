"""The parts of a run, each beside its peers and limits in one run of its benchmark program, shuffled: medians in ms."""
import json
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.path.join(ROOT, "build", "release", "bin")
CUBES = ("2_16", "2_20", "2_24")


def benchmark(program, filter_of_names, threads=2, **environment):
    """Median wall times in ms, by the names of the benchmarks."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run([os.path.join(BIN, program), f"--benchmark_filter={filter_of_names}", "--benchmark_repetitions=5",
                        "--benchmark_min_time=0.1", "--benchmark_enable_random_interleaving=true",
                        "--benchmark_report_aggregates_only=true", f"--benchmark_out={out.name}"],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=ROOT,
                       env={**os.environ, "OMP_NUM_THREADS": str(threads), "OPENBLAS_NUM_THREADS": str(threads), **environment})
        results = json.load(open(out.name))["benchmarks"]
    failed = [b["name"] for b in results if b.get("error_occurred")]
    if failed:
        raise RuntimeError(f"{program}: {failed}")
    scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0}
    return {b["run_name"].removesuffix("/real_time").replace(".mtx", ""): b["real_time"] * scale[b["time_unit"]]
            for b in results if b.get("aggregate_name") == "median"}


def by_script(script, *arguments):
    """Times in ms that a script prints behind names."""
    printed = subprocess.run([sys.executable, os.path.join(ROOT, "benchmarks", script), *arguments], check=True,
                             capture_output=True, text=True).stdout
    return {name.replace(" ", "/"): float(ms) for name, ms in re.findall(r"^(\S.*?)\s+([\d.]+) ms$", printed, re.M)}


def survey_products(threads=2):
    """Products with the rows of surveys: one file at a time, as each fills its caches."""
    times = {}
    for cube in CUBES:
        file = os.path.join(ROOT, "build", "survey_rows", f"{cube}.mtx")
        times.update(benchmark("bench_rows", ".", threads, VELKO_BENCH_ROWS=file))
        if threads > 1:
            times[f"{cube}/SciPy"] = by_script("scipy_csr.py", file)[f"SciPy/{cube}.mtx"]
    return times


def all_parts():
    return {"rows": survey_products(),
            "rows, one thread": survey_products(1),
            "dense": benchmark("bench_products", "^BM_(CALC_FULL_GV|read_the_dense_matrix|dgemv|sgemv)/30000"),
            "dense scatter": benchmark("bench_adjoint", "^BM_dense/.*/30000"),
            "transform": {**benchmark("bench_transform", "^BM_(WTN/avx2|WTN/avx2_inverse|GSL_lines|three_copies)/128/256/256"),
                          **by_script("pywavelets.py")},
            "text": benchmark("bench_text", "^BM_(read_model|model_fast_float|model_Fortran|read_data_file/3|"
                                            "data_fast_float/3|data_Fortran|write_predicted_data|write_fmt|write_Fortran)")}
