#!/usr/bin/python3
"""arrays.py [--points N] [--runs N] [--scipy] [--program PATH]: the module for Python beside numpy.

Arrays of points in random order over 800 x 800 cells, two threads: mean heights against two numpy.bincount, medians
against numpy.lexsort; and a file against the program. Prints the quickest of some runs each, and the ratios.
Run with PYTHONPATH=build/release/python.
"""

import argparse
import resource
import subprocess
import tempfile
import time
from pathlib import Path

import numpy as np

import tilewright

SIDE = 800


def numbers_of_cells(x, y):
    return (SIDE - 1 - y.astype(np.int64)) * SIDE + x.astype(np.int64)


def numpy_means(x, y, z):
    cells = numbers_of_cells(x, y)
    with np.errstate(invalid="ignore"):
        return np.bincount(cells, z, SIDE * SIDE) / np.bincount(cells, minlength=SIDE * SIDE)


def numpy_medians(x, y, z):
    cells = numbers_of_cells(x, y)
    order = np.lexsort((z, cells))
    counts = np.bincount(cells, minlength=SIDE * SIDE)
    starts = np.cumsum(counts) - counts
    there = counts > 0
    low, high = (starts + (counts - 1) // 2)[there], (starts + counts // 2)[there]
    medians = np.full(SIDE * SIDE, np.nan)
    medians[there] = (z[order[low]] + z[order[high]]) / 2
    return medians


def quickest(runs, call, *arguments):
    """The result, and the least time."""
    times = []
    for _ in range(runs):
        begin = time.perf_counter()
        result = call(*arguments)
        times.append(time.perf_counter() - begin)
    return result, min(times)


def compare(name, theirs, x, y, z, runs, wanted):
    points = {"X": x, "Y": y, "Z": z}

    def ours(band):
        return tilewright.raster(points, 1.0, band, bounds=(0, 0, SIDE, SIDE), threads=2, type="Float64")

    made, our_time = quickest(runs, ours, f"Height:{name}")
    expected, their_time = quickest(runs, theirs, x, y, z)
    np.testing.assert_allclose(made[f"Height:{name}"].values.ravel(), expected, rtol=1e-9)
    print(f"{name:8} tilewright {our_time:.3f} s, numpy {their_time:.3f} s: {their_time / our_time:.2f} times as fast "
          f"(at least {wanted})")  # fmt: skip


def compare_scipy(x, y, z):
    from scipy.stats import binned_statistic_2d

    edges = np.arange(SIDE + 1)
    _, mean_time = quickest(1, lambda: binned_statistic_2d(x, y, z, "mean", bins=[edges, edges]))
    print(f"scipy's mean {mean_time:.2f} s")


def compare_program(program, points, runs):
    with tempfile.TemporaryDirectory() as folder:
        scan, output = Path(folder, "scan.las"), Path(folder, "out.tif")
        subprocess.run([program.parent / "tilewright-makescan", scan, "--points", str(points)], check=True)
        words = [program, "raster", scan, output, "-q", "--overwrite", "--threads", "2"]
        tilewright.write(scan, output, 1.0, threads=2)
        ours, theirs = [], []
        # In turns, so that neither has the quieter machine.
        for _ in range(runs):
            ours.append(quickest(1, lambda: tilewright.write(scan, output, 1.0, overwrite=True, threads=2))[1])
            theirs.append(quickest(1, lambda: subprocess.run(words, check=True))[1])
    print(f"file     module {min(ours):.3f} s, program {min(theirs):.3f} s: {min(ours) / min(theirs):.2f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--points", type=int, default=5_000_000)
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--scipy", action="store_true")
    parser.add_argument("--program", type=Path)
    options = parser.parse_args()
    chance = np.random.default_rng(1)
    x, y = chance.uniform(0, SIDE, (2, options.points))
    z = chance.normal(100, 20, options.points)
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    tilewright.raster({"X": x, "Y": y, "Z": z}, 1.0, "Height:Median", threads=2, memory="256M")
    after = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    print(f"memory   {(after - before) / 1024:.0f} MiB of 256 beside the arrays of {3 * x.nbytes / 2**20:.0f} MiB")
    compare("Mean", numpy_means, x, y, z, options.runs, 0.5)
    compare("Median", numpy_medians, x, y, z, options.runs, 4)
    if options.scipy:
        compare_scipy(x, y, z)
    if options.program:
        compare_program(options.program, options.points, options.runs)


if __name__ == "__main__":
    main()
