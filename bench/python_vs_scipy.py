#!/usr/bin/env python3
"""vorn3d.Delaunay against scipy.spatial.Delaunay: time, peak memory, agreement.

Every run is a child process that makes the point set, then times
``Delaunay(points).simplices`` (array conversion included) and reports its
own peak resident memory (VmHWM); the parent alternates the two libraries round by
round, keeps the median time and compares the cells of the last round; for
the degenerate sets it also counts, exactly, the facets that break the
empty-sphere property.

    make all
    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_vs_scipy.py [--runs 3] [--quick]
"""
import argparse
import json
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

SETS = {
    "10^5 uniform in a cube": 100_000,
    "10^6 uniform in a cube": 1_000_000,
    "2*10^4 on a sphere": 20_000,
    "50^3 integer grid": 50,
}
QUICK = {"10^5 uniform in a cube": 20_000, "10^6 uniform in a cube": 50_000,
         "2*10^4 on a sphere": 2_000, "50^3 integer grid": 20}


def make_points(name, size):
    rng = np.random.default_rng(12345)
    if "grid" in name:
        return np.mgrid[0:size, 0:size, 0:size].reshape(3, -1).T.astype(np.float64)
    if "sphere" in name:
        v = rng.normal(size=(size, 3))
        return v / np.linalg.norm(v, axis=1)[:, None]
    return rng.random((size, 3))


def child(library, name, size, out):
    points = make_points(name, size)
    if library == "vorn3d":
        from vorn3d import Delaunay
    else:
        from scipy.spatial import Delaunay
    start = time.perf_counter()
    tri = Delaunay(points)
    simplices = tri.simplices
    seconds = time.perf_counter() - start
    # VmHWM rather than ru_maxrss: Linux carries ru_maxrss over from the
    # forking parent, whose size would then be reported.
    status = Path("/proc/self/status").read_text()
    peak_mib = int(status.split("VmHWM:")[1].split()[0]) / 1024
    np.savez(out, simplices=simplices, neighbors=tri.neighbors)
    print(json.dumps({"seconds": seconds, "peak_mib": peak_mib}))


def run_child(library, name, size, out, limit):
    """The child's report, or None when it ran past limit seconds."""
    try:
        result = subprocess.run([sys.executable, __file__, "--child", library, name, str(size), str(out)],
                                check=True, capture_output=True, text=True, timeout=limit)
    except subprocess.TimeoutExpired:
        return None
    return json.loads(result.stdout.strip().splitlines()[-1])


def exact_coordinates(points):
    """The coordinates as integers with one common power-of-two scale: int64
    for small integer sets, Python integers (object arrays) otherwise."""
    if np.all(points == np.round(points)) and np.abs(points).max() < 2**10:
        return points.astype(np.int64)
    ratios = [v.as_integer_ratio() for v in points.ravel().tolist()]
    scale = max(den for _, den in ratios)
    return np.array([num * (scale // den) for num, den in ratios], dtype=object).reshape(points.shape)


def empty_sphere_faults(exact, simplices, neighbors, chunk=1_000_000):
    """Interior facets whose far corner lies strictly inside the circumsphere
    of the cell on the other side, decided exactly."""
    def det3(u, v, w):
        return (u * np.cross(v, w)).sum(axis=1)
    cell, facet = np.nonzero(neighbors >= 0)
    faults = 0
    for lo in range(0, len(cell), chunk):
        c = cell[lo:lo + chunk]
        n = neighbors[c, facet[lo:lo + chunk]]
        e = exact[simplices[n, (neighbors[n] == c[:, None]).argmax(axis=1)]]
        a, b, cc, d = (exact[simplices[c, j]] for j in range(4))
        orient = det3(b - a, cc - a, d - a)
        r = [p - e for p in (a, b, cc, d)]
        lift = [(x * x).sum(axis=1) for x in r]
        ins = (-lift[0] * det3(r[1], r[2], r[3]) + lift[1] * det3(r[0], r[2], r[3])
               - lift[2] * det3(r[0], r[1], r[3]) + lift[3] * det3(r[0], r[1], r[2]))
        faults += int(np.count_nonzero(ins * orient < 0))
    return faults // 2    # each facet seen from both of its cells


def agreement(points, ours, theirs):
    """Same cells as sets of sorted index quadruples; cells of zero volume
    (exactly zero for integer coordinates)."""
    def as_set(s):
        return np.unique(np.ascontiguousarray(np.sort(s, axis=1)).view(np.dtype((np.void, 16))).ravel())
    common = len(np.intersect1d(as_set(ours), as_set(theirs), assume_unique=True))
    same = common == len(ours) == len(theirs)

    def flat(s):
        p = points[s]
        return int(np.count_nonzero(np.linalg.det(p[:, 1:] - p[:, :1]) == 0))
    text = "same cells" if same else f"{len(theirs) - common} of scipy's cells not in vorn3d's"
    return text, flat(ours), flat(theirs)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--quick", action="store_true", help="small sets, to check the script")
    parser.add_argument("--limit", type=float, default=900, help="seconds after which a run is stopped")
    parser.add_argument("--only", help="run only the sets whose name contains this text")
    parser.add_argument("--child", nargs=4, help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.child:
        library, name, size, out = args.child
        return child(library, name, int(size), out)

    sets = QUICK if args.quick else SETS
    print("| set | vorn3d s | scipy s | vorn3d / scipy | vorn3d peak MiB | scipy peak MiB | cells | "
          "flat cells vorn3d / scipy | empty-sphere faults vorn3d / scipy | runs vorn3d; scipy (s) |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as tmp:
        for name, size in sets.items():
            if args.only and args.only not in name:
                continue
            runs, stopped = {"vorn3d": [], "scipy": []}, None
            for _ in range(args.runs):
                for library in runs:
                    report = run_child(library, name, size, Path(tmp) / f"{library}.npz", args.limit)
                    if report is None:
                        stopped = library
                        break
                    runs[library].append(report)
                if stopped:
                    break
            if stopped:
                print(f"| {name} | {stopped} stopped after {args.limit:.0f} s |", flush=True)
                continue
            ours, theirs = (np.load(Path(tmp) / f"{lib}.npz") for lib in ("vorn3d", "scipy"))
            points = make_points(name, size)
            same, flat_ours, flat_theirs = agreement(points, ours["simplices"], theirs["simplices"])
            faults = "not counted"
            if "uniform" not in name:
                exact = exact_coordinates(points)
                faults = " / ".join(str(empty_sphere_faults(exact, m["simplices"], m["neighbors"]))
                                    for m in (ours, theirs))
            t = {lib: statistics.median(r["seconds"] for r in runs[lib]) for lib in runs}
            m = {lib: max(r["peak_mib"] for r in runs[lib]) for lib in runs}
            each = "; ".join(", ".join(f"{r['seconds']:.2f}" for r in runs[lib]) for lib in runs)
            print(f"| {name} | {t['vorn3d']:.2f} | {t['scipy']:.2f} | {t['vorn3d'] / t['scipy']:.3f} | "
                  f"{m['vorn3d']:.0f} | {m['scipy']:.0f} | {len(ours['simplices'])} / {len(theirs['simplices'])}: "
                  f"{same} | {flat_ours} / {flat_theirs} | {faults} | {each} |", flush=True)


if __name__ == "__main__":
    main()
